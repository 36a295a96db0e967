#include "set/process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <iterator>
#include <system_error>

namespace benchtv {
namespace {

constexpr std::size_t kLongestName = 15;  // of what the kernel keeps

[[noreturn]] void fail(int error, const std::string& what) {
  throw std::system_error(error, std::generic_category(), what);
}

void check(int error, const std::string& what) {
  if (error != 0) {
    fail(error, what);
  }
}

OwnedFd openPidfd(pid_t id) { return OwnedFd(static_cast<int>(syscall(SYS_pidfd_open, id, 0))); }

std::vector<std::string> environmentOf(const LaunchPlan& plan) {
  std::vector<std::string> variables;
  for (char** variable = environ; *variable; ++variable) {
    const std::string text = *variable;
    if (plan.environment.count(text.substr(0, text.find('='))) == 0) {
      variables.push_back(text);
    }
  }
  for (const auto& [name, value] : plan.environment) {
    variables.push_back(name + "=" + value);
  }
  return variables;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> all;
  for (std::string& text : texts) {
    all.push_back(text.data());
  }
  all.push_back(nullptr);
  return all;
}

std::string contents(const std::filesystem::path& file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), {}};
}

bool hasLine(const std::string& environment, const std::string& mark) {
  const std::string all = '\0' + environment;
  return all.find('\0' + mark + '\0') != std::string::npos;
}

// Releases what posix_spawn() was given, whatever happens in between.
struct SpawnSettings {
  SpawnSettings() {
    posix_spawn_file_actions_init(&files);
    posix_spawnattr_init(&attributes);
  }
  ~SpawnSettings() {
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;

  posix_spawn_file_actions_t files;
  posix_spawnattr_t attributes;
};

}  // namespace

Process Process::start(const LaunchPlan& plan) {
  const std::string program = plan.program.string();
  SpawnSettings settings;
  check(posix_spawn_file_actions_addopen(&settings.files, 0, "/dev/null", O_RDONLY, 0), program);
  check(posix_spawn_file_actions_addopen(&settings.files, 1, plan.log.c_str(),
                                         O_WRONLY | O_CREAT | O_APPEND, 0600),
        program);
  check(posix_spawn_file_actions_adddup2(&settings.files, 1, 2), program);

  // The set keeps some signals to itself, and they must reach its children again. A session of
  // their own keeps a terminal's interrupt away from them.
  sigset_t none;
  sigset_t all;
  sigemptyset(&none);
  sigfillset(&all);
  posix_spawnattr_setsigmask(&settings.attributes, &none);
  posix_spawnattr_setsigdefault(&settings.attributes, &all);
  posix_spawnattr_setflags(
      &settings.attributes,
      static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID));

  std::vector<std::string> arguments = plan.arguments;
  arguments.insert(arguments.begin(), program);
  std::vector<std::string> variables = environmentOf(plan);
  pid_t id = 0;
  check(posix_spawn(&id, program.c_str(), &settings.files, &settings.attributes,
                    pointers(arguments).data(), pointers(variables).data()),
        program);
  OwnedFd pidfd = openPidfd(id);
  if (!pidfd) {
    const int error = errno;
    kill(id, SIGKILL);
    waitpid(id, nullptr, 0);
    fail(error, "pidfd_open of " + program);
  }
  return {id, std::move(pidfd)};
}

std::optional<Process> Process::find(const std::string& name, const std::string& mark) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
    const std::string number = entry.path().filename();
    if (number.find_first_not_of("0123456789") != std::string::npos) {
      continue;
    }
    const auto id = static_cast<pid_t>(std::stol(number));
    // The descriptor comes first: what is read afterwards is of this process, if it still lives.
    OwnedFd pidfd = openPidfd(id);
    if (!pidfd || contents(entry.path() / "comm") != name.substr(0, kLongestName) + "\n") {
      continue;
    }
    if (!hasLine(contents(entry.path() / "environ"), mark)) {
      continue;
    }
    Process found(id, std::move(pidfd));
    if (!found.hasEnded()) {
      return found;
    }
  }
  return std::nullopt;
}

bool Process::hasEnded() const {
  pollfd wait{fd.get(), POLLIN, 0};
  return poll(&wait, 1, 0) > 0;
}

std::optional<int> Process::reap() {
  siginfo_t end{};
  if (waitid(P_PIDFD, static_cast<id_t>(fd.get()), &end, WEXITED | WNOHANG) != 0 ||
      end.si_pid == 0) {
    return std::nullopt;
  }
  return end.si_code == CLD_EXITED ? end.si_status : -end.si_status;
}

void Process::signal(int number) const { syscall(SYS_pidfd_send_signal, fd.get(), number, 0, 0); }

}  // namespace benchtv
