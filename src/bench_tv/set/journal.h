// Journal: the one numbered account of everything that happens on the set.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <set>
#include <string>

#include "model/journal_line.h"
#include "set/owned_fd.h"
#include "set/service_log.h"

namespace benchtv {

// Kinds of line; see docs/architecture.md for the fields of each.
namespace kind {
inline constexpr char kSetting[] = "setting";
inline constexpr char kBus[] = "bus";
inline constexpr char kApm[] = "apm";
inline constexpr char kProcess[] = "process";
inline constexpr char kKey[] = "key";
inline constexpr char kAction[] = "action";
inline constexpr char kLog[] = "log";
inline constexpr char kFault[] = "fault";
inline constexpr char kMarker[] = "marker";
inline constexpr char kPower[] = "power";
inline constexpr char kError[] = "error";
}  // namespace kind

// Every line is one write, so that a reader sees whole lines only. A set that was killed and
// started again goes on where its journal ends: with the next number, no earlier time, and the next
// line of the service's log.
class Journal {
 public:
  // Opens or makes the journal in |runFolder|, and the service's log, which must only ever grow.
  // Throws Refusal, also when another set has them.
  explicit Journal(const std::filesystem::path& runFolder);

  // Takes in the service's log first. Never throws for a full disk: then the line goes to standard
  // error.
  void write(const std::string& lineKind, const JournalFields& fields);

  // Something is wrong with the bench itself.
  void error(const std::string& source, const std::string& text);

  // Writes what the service has logged since.
  void takeServiceLog();

  const std::filesystem::path& serviceLog() const { return log.path(); }
  std::uint64_t errors() const { return errorCount; }

  // The names of the processes that were running when an earlier set ended.
  const std::set<std::string>& leftRunning() const { return running; }

 private:
  void resume();
  void followProcess(const std::string& line);
  void append(const std::string& lineKind, const JournalFields& fields);

  OwnedFd fd;
  LogTail log;
  std::uint64_t lastSeq = 0;
  std::int64_t lastMicros = 0;
  std::uint64_t errorCount = 0;
  std::set<std::string> running;
};

}  // namespace benchtv
