#include "control/journal.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "model/journal_line.h"

namespace benchtv {

Journal::Journal(std::filesystem::path where) : path(std::move(where)) {
  // Watched before the first read, so that nothing can be appended unseen. The folder and not the
  // file, which may not exist yet.
  watch = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  if (watch < 0 ||
      inotify_add_watch(watch, path.parent_path().c_str(), IN_MODIFY | IN_CREATE) < 0) {
    const std::error_code why(errno, std::generic_category());
    if (watch >= 0) {
      close(watch);
    }
    throw std::system_error(why, "cannot watch " + path.parent_path().native());
  }
}

Journal::~Journal() {
  close(watch);
  if (file >= 0) {
    close(file);
  }
}

std::vector<Json::Value> Journal::readNew() {
  std::vector<Json::Value> events;
  if (file < 0) {
    file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  }
  if (file < 0) {
    return events;
  }

  std::array<char, 65536> part;
  for (ssize_t got; (got = read(file, part.data(), part.size())) > 0;) {
    unfinished.append(part.data(), static_cast<std::size_t>(got));
  }

  std::size_t begin = 0;
  for (std::size_t end; (end = unfinished.find('\n', begin)) != std::string::npos;
       begin = end + 1) {
    ++lines;
    auto entry = parseJournalLine(unfinished.substr(begin, end - begin));
    if (!entry) {
      throw std::runtime_error(path.native() + ":" + std::to_string(lines) + ": not an event");
    }
    events.push_back(std::move(entry->object));
  }
  unfinished.erase(0, begin);
  return events;
}

Journal::Wake Journal::waitForMore(std::chrono::steady_clock::time_point deadline, int other) {
  using std::chrono::milliseconds;
  const auto left = std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now());
  const int timeout = left.count() <= 0        ? 0
                      : left.count() > INT_MAX ? INT_MAX
                                               : static_cast<int>(left.count());

  std::array<pollfd, 2> waitFor{{{watch, POLLIN, 0}, {other, POLLIN, 0}}};
  const int ready = poll(waitFor.data(), waitFor.size(), timeout);
  if (ready == 0) {
    return Wake::kDeadline;
  }
  if (waitFor[0].revents != 0) {
    std::array<char, 4096> notices;
    while (read(watch, notices.data(), notices.size()) > 0) {
    }
    return Wake::kGrown;
  }
  // An interrupting signal counts as growth: the caller looks, and waits again.
  return ready < 0 ? Wake::kGrown : Wake::kOtherReadable;
}

}  // namespace benchtv
