// The service's log as the set takes it in: one line taken apart, and a file read as it grows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "model/journal_line.h"
#include "set/owned_fd.h"

namespace benchtv {

// The fields of a journal line of kind "log". A line with the common prefix gives level, file,
// line, function and the message; a trace its level and the rest; any other line its whole text
// alone.
JournalFields serviceLogFields(const std::string& line);

// Reads the finished lines of a file that only grows.
class LogTail {
 public:
  // Longer lines are cut, with a note of their length.
  static constexpr std::size_t kLongestLine = 64 * 1024;

  // Makes the file when it is not there. Throws Refusal.
  explicit LogTail(const std::filesystem::path& path);

  const std::filesystem::path& path() const { return file; }

  // Hands over every line that is finished by now, without its line feed; what is still being
  // written while this runs waits for the next call. Answers false when the file has shrunk, and
  // then begins at its start again.
  bool read(const std::function<void(const std::string& line)>& take);

  // The first |lines| finished lines are not handed over: they have been taken in before.
  void skip(std::uint64_t lines) { toSkip = lines; }

 private:
  void append(const char* bytes, std::size_t count);
  std::string finishedLine();

  std::filesystem::path file;
  OwnedFd fd;
  std::int64_t offset = 0;
  std::string unfinished;    // at most kLongestLine of it
  std::size_t lineSize = 0;  // all of it
  std::uint64_t toSkip = 0;
};

}  // namespace benchtv
