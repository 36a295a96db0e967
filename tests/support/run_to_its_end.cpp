#include "run_to_its_end.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <stdexcept>

#include "history.h"
#include "virtual_libc.h"

namespace {

constexpr unsigned kDeadlineSeconds = 20;

// A frame that no history entry can be: how the body ended when it did not end the process.
constexpr char kEndMark[] =
    "\x01"
    "end ";

[[noreturn]] void runInChild(const std::function<void()>& body, int historyPipe, int errorPipe) {
  ::dup2(errorPipe, STDERR_FILENO);
  ::alarm(kDeadlineSeconds);
  mirrorHistoriesTo(historyPipe);

  History end;
  try {
    body();
    end.add(std::string(kEndMark) + "returned");
  } catch (const ScriptOver&) {
    end.add(std::string(kEndMark) + "over");
  } catch (const std::exception& exception) {
    end.add(std::string(kEndMark) + "threw " + exception.what());
  } catch (...) {
    end.add(std::string(kEndMark) + "threw something that is no std::exception");
  }
  // Not _exit(): a coverage build writes its counters at quick_exit().
  std::quick_exit(0);
}

// Reads both pipes until the child has closed them.
void readToEnd(int historyPipe, int errorPipe, std::string& frames, std::string& errors) {
  pollfd pipes[] = {{historyPipe, POLLIN, 0}, {errorPipe, POLLIN, 0}};
  std::string* const into[] = {&frames, &errors};
  int open = 2;
  while (open > 0) {
    (void)::poll(pipes, 2, -1);
    for (int i = 0; i < 2; ++i) {
      if (pipes[i].fd < 0 || pipes[i].revents == 0) {
        continue;
      }
      char buffer[65536];
      const ssize_t size = ::read(pipes[i].fd, buffer, sizeof buffer);
      if (size > 0) {
        into[i]->append(buffer, static_cast<std::size_t>(size));
      } else {
        pipes[i].fd = -1;
        --open;
      }
    }
  }
}

std::vector<std::string> entriesOf(const std::string& frames) {
  std::vector<std::string> entries;
  std::size_t at = 0;
  std::uint32_t size = 0;
  while (at + sizeof size <= frames.size()) {
    std::memcpy(&size, frames.data() + at, sizeof size);
    at += sizeof size;
    entries.push_back(frames.substr(at, size));
    at += size;
  }
  return entries;
}

bool startsWith(const std::string& text, std::string_view start) {
  return std::string_view(text).substr(0, start.size()) == start;
}

// Takes the end mark, if there is one, out of the history.
void readEndMark(Ending& ending) {
  if (ending.history.empty() || !startsWith(ending.history.back(), kEndMark)) {
    return;
  }
  const std::string mark = ending.history.back().substr(std::strlen(kEndMark));
  ending.history.pop_back();
  if (mark == "returned") {
    ending.how = Ending::kReturned;
  } else if (mark == "over") {
    ending.how = Ending::kScriptOver;
  } else {
    ending.how = Ending::kThrew;
    ending.exception = mark.substr(std::strlen("threw "));
  }
}

bool isLog(const std::string& entry) {
  return startsWith(entry, "log ") || startsWith(entry, "ERR ") || startsWith(entry, "verbose ");
}

bool isTrace(const std::string& entry) {
  return startsWith(entry, "IN ") || startsWith(entry, "OUT ");
}

}  // namespace

std::vector<std::string> Ending::calls() const {
  std::vector<std::string> found;
  for (const std::string& entry : history) {
    if (!isLog(entry) && !isTrace(entry)) {
      found.push_back(entry);
    }
  }
  return found;
}

std::vector<std::string> Ending::log() const {
  std::vector<std::string> found;
  for (const std::string& entry : history) {
    if (isLog(entry)) {
      found.push_back(entry);
    }
  }
  return found;
}

Ending runToItsEnd(const std::function<void()>& body) {
  int historyPipe[2];
  int errorPipe[2];
  if (::pipe(historyPipe) != 0 || ::pipe(errorPipe) != 0) {
    throw std::runtime_error("runToItsEnd: no pipe");
  }
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child < 0) {
    throw std::runtime_error("runToItsEnd: no process");
  }
  if (child == 0) {
    ::close(historyPipe[0]);
    ::close(errorPipe[0]);
    runInChild(body, historyPipe[1], errorPipe[1]);
  }
  ::close(historyPipe[1]);
  ::close(errorPipe[1]);

  Ending ending;
  std::string frames;
  readToEnd(historyPipe[0], errorPipe[0], frames, ending.errorOutput);
  ::close(historyPipe[0]);
  ::close(errorPipe[0]);

  int status = 0;
  (void)::waitpid(child, &status, 0);
  ending.history = entriesOf(frames);
  if (WIFSIGNALED(status)) {
    ending.how = Ending::kKilled;
    ending.status = WTERMSIG(status);
  } else {
    ending.how = Ending::kExited;
    ending.status = WEXITSTATUS(status);
    readEndMark(ending);
  }
  return ending;
}
