// Journal: reads a bench TV's journal while the set appends to it.
#pragma once

#include <json/value.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace benchtv {

// Not for several threads at once.
class Journal {
 public:
  // The file need not exist yet, its folder must. Throws std::runtime_error.
  explicit Journal(std::filesystem::path where);
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  // The events appended since the last call, all of them at the first. A line that is not complete
  // yet comes with a later call. Throws std::runtime_error for a line that is no JSON object.
  std::vector<Json::Value> readNew();

  enum class Wake { kGrown, kOtherReadable, kDeadline };

  // Blocks until the journal may have grown, until |other|, a file descriptor or -1, is readable,
  // or until the deadline.
  Wake waitForMore(std::chrono::steady_clock::time_point deadline, int other);

 private:
  std::filesystem::path path;
  int watch = -1;
  int file = -1;
  std::string unfinished;
  std::size_t lines = 0;
};

// The number of an event in its journal.
inline std::uint64_t seqOf(const Json::Value& event) { return event["seq"].asUInt64(); }

}  // namespace benchtv
