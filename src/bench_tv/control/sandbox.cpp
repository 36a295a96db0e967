#include "control/sandbox.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "control/file_descriptor.h"

#ifndef CLONE_NEWTIME
#define CLONE_NEWTIME 0x00000080
#endif

namespace benchtv {

namespace {

namespace fs = std::filesystem;

// Both ends of the pair have an address and stand in one namespace: a sender hears itself, which is
// all that a responder and who asks it need.
constexpr const char* kNetworkCommands[] = {
    "link set lo up",
    "link add bench0 type veth peer name bench1",
    "address add 10.77.0.1/24 dev bench0",
    "address add 10.77.0.2/24 dev bench1",
    "link set bench0 up",
    "link set bench1 up",
    "route add 224.0.0.0/4 dev bench0",
};

// Private in the sandbox: what the service looks for by absolute path lies here.
std::vector<std::string> privateFolders() {
  std::vector<std::string> folders{"/tmp", "/run", "/var/local"};
  if (!fs::is_symlink("/var/run")) {
    folders.emplace_back("/var/run");
  }
  return folders;
}

bool liesIn(const fs::path& path, const fs::path& folder) {
  const fs::path relative = path.lexically_relative(folder);
  return !relative.empty() && *relative.begin() != "..";
}

std::vector<std::string> bwrapCommand(const SandboxPlan& plan, bool network) {
  std::vector<std::string> words{"bwrap", "--unshare-pid", "--as-pid-1", "--bind", "/",
                                 "/",     "--dev",         "/dev",       "--proc", "/proc"};
  const std::vector<std::string> folders = privateFolders();
  for (const std::string& folder : folders) {
    words.insert(words.end(), {"--tmpfs", folder});
  }
  for (const fs::path& path : plan.visible) {
    for (const std::string& folder : folders) {
      if (liesIn(path, folder)) {
        words.insert(words.end(), {"--bind", path, path});
        break;
      }
    }
  }
  words.insert(words.end(), {"--chdir", "/", "--"});
  words.insert(words.end(), plan.command.begin(), plan.command.end());
  if (network) {
    words.insert(words.end(), plan.networkArguments.begin(), plan.networkArguments.end());
  }
  return words;
}

[[noreturn]] void execute(const std::vector<std::string>& command) {
  std::vector<char*> words;
  for (const std::string& word : command) {
    words.push_back(const_cast<char*>(word.c_str()));
  }
  words.push_back(nullptr);
  execvp(words.front(), words.data());
  throw std::system_error(errno, std::generic_category(), "cannot execute " + command.front());
}

void writeFile(const char* path, const std::string& text) {
  const FileDescriptor file(open(path, O_WRONLY | O_CLOEXEC));
  if (!file.isOpen() ||
      ::write(file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    throw std::system_error(errno, std::generic_category(), std::string("cannot write ") + path);
  }
}

void enter(int namespaces, const char* what) {
  if (unshare(namespaces) != 0) {
    throw std::system_error(errno, std::generic_category(), what);
  }
}

void enterUserAndNetwork() {
  const std::string user = std::to_string(geteuid());
  const std::string group = std::to_string(getegid());
  enter(CLONE_NEWUSER | CLONE_NEWNET, "no user and network namespace");
  writeFile("/proc/self/setgroups", "deny");
  writeFile("/proc/self/uid_map", "0 " + user + " 1");
  writeFile("/proc/self/gid_map", "0 " + group + " 1");
}

// The clocks can be set until the first process enters the namespace, which is bwrap's child: so
// this comes last, and after it no process may be started here.
void enterTime(double uptime) {
  enter(CLONE_NEWTIME, "no time namespace");
  std::string offsets;
  for (const auto& [clock, name] :
       {std::pair(CLOCK_MONOTONIC, "monotonic"), std::pair(CLOCK_BOOTTIME, "boottime")}) {
    timespec now{};
    clock_gettime(clock, &now);
    const double whole = std::floor(uptime);
    auto seconds = static_cast<long long>(whole) - now.tv_sec;
    auto nanoseconds = static_cast<long long>((uptime - whole) * 1e9) - now.tv_nsec;
    if (nanoseconds < 0) {
      nanoseconds += 1'000'000'000;
      --seconds;
    }
    offsets += std::string(name) + " " + std::to_string(seconds) + " " +
               std::to_string(nanoseconds) + "\n";
  }
  writeFile("/proc/self/timens_offsets", offsets);
}

// Empty when the network is up, else what stood in the way.
std::string setUpNetwork() {
  for (const char* command : kNetworkCommands) {
    const std::string line = std::string("ip ") + command + " 2>&1";
    FILE* output = popen(line.c_str(), "re");
    if (!output) {
      return "cannot execute ip";
    }
    std::array<char, 256> text{};
    if (!std::fgets(text.data(), text.size(), output)) {
      text[0] = '\0';
    }
    if (pclose(output) != 0) {
      std::string why = std::string("ip ") + command + ": " + text.data();
      return why.substr(0, why.find('\n'));
    }
  }
  return "";
}

void redirect(const fs::path& log) {
  const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
  const int out = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (null < 0 || out < 0) {
    throw std::system_error(errno, std::generic_category(), "cannot write " + log.native());
  }
  dup2(null, STDIN_FILENO);
  dup2(out, STDOUT_FILENO);
  dup2(out, STDERR_FILENO);
}

// ip stands in sbin, which is not in everybody's path.
void widenPath() {
  const char* path = std::getenv("PATH");
  const std::string known = path ? path : "/usr/local/bin:/usr/bin:/bin";
  setenv("PATH", (known + ":/usr/local/sbin:/usr/sbin:/sbin").c_str(), 1);
}

// Runs |body|, which ends in an exec, in a new process. What it says and throws comes back here by
// a pipe that the exec closes.
pid_t startProcess(const SandboxPlan& plan, const std::function<void(int saying)>& body) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
  }
  FileDescriptor hearing(ends[0]);
  FileDescriptor saying(ends[1]);

  const pid_t child = fork();
  if (child < 0) {
    throw std::system_error(errno, std::generic_category(), "cannot start a process");
  }
  if (child == 0) {
    try {
      setsid();
      body(saying.get());
    } catch (const std::exception& why) {
      dprintf(saying.get(), "!%s\n", why.what());
    }
    _exit(127);
  }

  saying.reset();
  std::string heard;
  std::array<char, 512> part{};
  for (ssize_t got; (got = read(hearing.get(), part.data(), part.size())) > 0;) {
    heard.append(part.data(), static_cast<std::size_t>(got));
  }
  while (!heard.empty()) {
    const std::string line = heard.substr(0, heard.find('\n'));
    heard.erase(0, line.size() + 1);
    if (line.front() == '!') {
      waitpid(child, nullptr, 0);
      throw std::runtime_error(line.substr(1));
    }
    if (plan.say) {
      plan.say(line);
    }
  }
  return child;
}

}  // namespace

std::string sandboxObstacle() {
  SandboxPlan trial;
  trial.command = {"true"};
  trial.uptime = 1;
  std::string log = "/tmp/benchtv-trial-XXXXXX";
  const FileDescriptor made(mkstemp(log.data()));
  if (!made.isOpen()) {
    return std::string("cannot write to /tmp: ") + strerror(errno);
  }
  trial.log = log;

  std::string obstacle;
  try {
    // Without a network: that has a way out of its own.
    const pid_t child = startProcess(trial, [&trial](int) {
      redirect(trial.log);
      enterUserAndNetwork();
      enterTime(trial.uptime);
      execute(bwrapCommand(trial, false));
    });
    int status = 0;
    if (waitpid(child, &status, 0) != child || status != 0) {
      std::ifstream in(trial.log);
      std::getline(in, obstacle);
      if (obstacle.empty()) {
        obstacle = "bwrap failed without a word";
      }
    }
  } catch (const std::exception& why) {
    obstacle = why.what();
  }
  fs::remove(trial.log);
  return obstacle;
}

pid_t startInSandbox(const SandboxPlan& plan) {
  return startProcess(plan, [&plan](int saying) {
    redirect(plan.log);
    widenPath();
    enterUserAndNetwork();
    const std::string noNetwork = setUpNetwork();
    if (!noNetwork.empty()) {
      dprintf(saying, "no private network with multicast, so mdnsd is a stand-in: %s\n",
              noNetwork.c_str());
    }
    enterTime(plan.uptime);
    execute(bwrapCommand(plan, noNetwork.empty()));
  });
}

pid_t startInTheOpen(const SandboxPlan& plan) {
  return startProcess(plan, [&plan](int) {
    redirect(plan.log);
    widenPath();
    execute(plan.command);
  });
}

}  // namespace benchtv
