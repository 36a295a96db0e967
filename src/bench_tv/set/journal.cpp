#include "set/journal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "set/clock.h"
#include "set/refusal.h"

namespace benchtv {
namespace {

bool writeWhole(int fd, const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t count = write(fd, text.data() + done, text.size() - done);
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count <= 0) {
      return false;
    }
    done += static_cast<std::size_t>(count);
  }
  return true;
}

bool isOfKind(const std::string& line, const char* lineKind) {
  const std::string mark = std::string(R"("kind":")") + lineKind + "\"";
  // "kind" is the third field, so it begins before any text from outside.
  return line.substr(0, 80).find(mark) != std::string::npos;
}

}  // namespace

Journal::Journal(const std::filesystem::path& runFolder)
    : fd(open((runFolder / kJournalFile).c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0600)),
      log(runFolder / "service.log") {
  if (!fd) {
    throw Refusal((runFolder / kJournalFile).string() +
                  " cannot be opened: " + std::strerror(errno));
  }
  // Two sets in one run folder would write one journal; the lock goes with the process.
  if (flock(fd.get(), LOCK_EX | LOCK_NB) != 0) {
    throw Refusal("the run folder " + runFolder.string() + " is in use by another set");
  }
  resume();
}

void Journal::resume() {
  std::ifstream earlier("/proc/self/fd/" + std::to_string(fd.get()));
  std::uint64_t logLines = 0;
  std::streamoff end = 0;
  std::string line;
  std::string last;
  while (std::getline(earlier, line)) {
    // What an earlier set was killed in the middle of writing never became a line.
    if (earlier.eof()) {
      break;
    }
    end += static_cast<std::streamoff>(line.size()) + 1;
    if (isOfKind(line, kind::kLog)) {
      ++logLines;
    }
    if (isOfKind(line, kind::kError)) {
      ++errorCount;
    }
    if (isOfKind(line, kind::kProcess)) {
      followProcess(line);
    }
    last = line;
  }
  if (const auto entry = parseJournalLine(last)) {
    lastSeq = entry->seq;
    lastMicros = entry->micros;
  }
  if (ftruncate(fd.get(), end) != 0) {
    std::perror("journal");
  }
  log.skip(logLines);
}

void Journal::followProcess(const std::string& line) {
  const auto entry = parseJournalLine(line);
  if (!entry || !entry->object["name"].isString()) {
    return;
  }
  const std::string name = entry->object["name"].asString();
  const Json::Value& op = entry->object["op"];
  if (op == "end") {
    running.erase(name);
  } else if (op == "start" || op == "adopt") {
    running.insert(name);
  }
}

void Journal::write(const std::string& lineKind, const JournalFields& fields) {
  takeServiceLog();
  append(lineKind, fields);
}

void Journal::error(const std::string& source, const std::string& text) {
  write(kind::kError, {{"source", source}, {"text", text}});
}

void Journal::takeServiceLog() {
  const bool whole =
      log.read([this](const std::string& line) { append(kind::kLog, serviceLogFields(line)); });
  if (!whole) {
    append(kind::kError, {{"source", "set"}, {"text", "service.log was shortened"}});
  }
}

void Journal::append(const std::string& lineKind, const JournalFields& fields) {
  const std::int64_t micros = std::max(lastMicros, monotonicMicros());
  const std::string line = journalLine(lastSeq + 1, micros, lineKind, fields);
  if (lineKind == kind::kError) {
    ++errorCount;
  }

  struct stat before {};
  fstat(fd.get(), &before);
  if (!writeWhole(fd.get(), line)) {
    std::fprintf(stderr, "journal: %s: %s", std::strerror(errno), line.c_str());
    // No half line may stand before the next one.
    if (ftruncate(fd.get(), before.st_size) != 0) {
      std::perror("journal");
    }
    return;
  }
  lastSeq += 1;
  lastMicros = micros;
}

}  // namespace benchtv
