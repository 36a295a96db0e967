#include "control/keeper/child_program.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "control/file_descriptor.h"

namespace benchtv {

namespace {

constexpr int kNotExecuted = 127;  // as a shell says it

std::pair<FileDescriptor, FileDescriptor> makePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
  }
  return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

}  // namespace

ChildProgram::ChildProgram(std::string role, std::vector<std::string> command,
                           std::filesystem::path log)
    : name(std::move(role)), arguments(std::move(command)), logFile(std::move(log)) {}

void ChildProgram::start(int listening, const std::function<void(pid_t)>& announce) {
  if (arguments.empty()) {
    throw std::runtime_error("this bench TV was brought up without a " + name);
  }
  if (runs()) {
    throw std::runtime_error("the " + name + " runs already, as process " +
                             std::to_string(process));
  }

  // Closed by a successful exec; carries errno when there is none.
  auto [outcome, failure] = makePipe();
  // Closed when the child may go on.
  auto [go, hold] = makePipe();

  const pid_t child = fork();
  if (child < 0) {
    throw std::system_error(errno, std::generic_category(), "cannot start the " + name);
  }
  if (child == 0) {
    hold.reset();
    become(listening, go.get(), failure.get());
  }

  failure.reset();
  status.reset();
  announce(child);
  hold.reset();
  int error = 0;
  if (read(outcome.get(), &error, sizeof(error)) == sizeof(error)) {
    waitpid(child, nullptr, 0);
    status = kNotExecuted;
    throw std::runtime_error("cannot execute " + arguments.front() + ": " + strerror(error));
  }
  process = child;
}

bool ChildProgram::reaped(pid_t pid, int waitStatus) {
  if (pid != process) {
    return false;
  }
  process = -1;
  status = WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : -WTERMSIG(waitStatus);
  return true;
}

void ChildProgram::become(int listening, int go, int failure) const {
  // Without a process namespace nothing else ends the children of a keeper that was killed.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  setpgid(0, 0);

  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);

  // Nothing is ever written to it.
  char nothing = 0;
  (void)!read(go, &nothing, 1);

  const int log = open(logFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (log >= 0) {
    dup2(log, STDOUT_FILENO);
    dup2(log, STDERR_FILENO);
  }
  if (listening >= 0) {
    static constexpr int kFirstPassed = 3;
    if (failure == kFirstPassed) {
      failure = fcntl(failure, F_DUPFD_CLOEXEC, kFirstPassed + 1);
    }
    if (listening == kFirstPassed) {
      fcntl(listening, F_SETFD, 0);
    } else {
      dup2(listening, kFirstPassed);
    }
    setenv("LISTEN_FDS", "1", 1);
    setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
  }

  std::vector<char*> words;
  for (const std::string& argument : arguments) {
    words.push_back(const_cast<char*>(argument.c_str()));
  }
  words.push_back(nullptr);
  execvp(words.front(), words.data());

  const int error = errno;
  // The keeper learns of it by the pipe; should that fail too, the exit status tells.
  (void)!write(failure, &error, sizeof(error));
  _exit(kNotExecuted);
}

}  // namespace benchtv
