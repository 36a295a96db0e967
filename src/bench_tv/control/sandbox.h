// Sandbox: namespaces of its own around the keeper and all that it starts.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace benchtv {

// The network interface inside that carries multicast.
inline constexpr char kInterface[] = "bench0";

struct SandboxPlan {
  std::vector<std::string> command;

  // Appended to the command when the private network has kInterface.
  std::vector<std::string> networkArguments;

  // Files and folders that stay visible under their own path where the sandbox has private folders.
  std::vector<std::filesystem::path> visible;

  // Seconds on the monotonic and the boot-time clock as the command starts.
  double uptime = 0;

  // Gets standard output and error, appended.
  std::filesystem::path log;

  // Called, possibly, with a line about what this machine does not allow.
  std::function<void(const std::string&)> say;
};

// Why this machine allows no sandbox, by trying one; empty when it does.
std::string sandboxObstacle();

// Starts the command in the background, in a session of its own, as process 1 of its namespace. The
// command ends when its process 1 does. Returns the process outside that waits for it. Throws
// std::runtime_error.
pid_t startInSandbox(const SandboxPlan& plan);

// The same in the open: only |command| and |log| of the plan count.
pid_t startInTheOpen(const SandboxPlan& plan);

}  // namespace benchtv
