// Processes: what /proc says of the processes below one process.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace benchtv {

struct ProcessInfo {
  pid_t pid = 0;        // as this machine sees it
  pid_t insidePid = 0;  // as its own process namespace sees it
  pid_t parent = 0;
  std::string name;  // of the executed file, 15 characters at most
  char state = '?';  // as in ps: R, S, D, T, Z, ...

  // A zombie keeps its name and does not run.
  bool runs() const { return state != 'Z' && state != 'X'; }
};

// From the text of a /proc/PID/status; nothing when it is not one.
std::optional<ProcessInfo> parseProcessStatus(const std::string& text);

// Those of |all| that are |root| or descend from it, ordered by pid.
std::vector<ProcessInfo> treeBelow(const std::vector<ProcessInfo>& all, pid_t root);

// The running tree below |root|, with it. Empty when there is no such process.
std::vector<ProcessInfo> processTree(pid_t root);

// Accepts "KILL", "SIGKILL", "kill" and "9". Throws std::runtime_error for what is no signal.
int signalNumber(const std::string& text);

}  // namespace benchtv
