// Process: one process of the set, started by it or found running.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "set/owned_fd.h"

namespace benchtv {

// How to start a program.
struct LaunchPlan {
  std::filesystem::path program;
  std::vector<std::string> arguments;              // without the program itself
  std::map<std::string, std::string> environment;  // on top of the set's own
  std::filesystem::path log;                       // gets standard output and error
};

class Process {
 public:
  // Throws std::system_error when the program cannot be started.
  static Process start(const LaunchPlan& plan);

  // The living process of that name that has |mark|, "NAME=VALUE", in its environment: the
  // processes of a set survive it, and are told from others of the same name by the set's bus.
  static std::optional<Process> find(const std::string& name, const std::string& mark);

  pid_t pid() const { return id; }

  // Readable when the process has ended.
  int descriptor() const { return fd.get(); }
  bool hasEnded() const;

  // After its end: the exit status, or the negated signal. Nothing where only the process that
  // started it knows. Reaps it.
  std::optional<int> reap();

  void signal(int number) const;

 private:
  Process(pid_t number, OwnedFd pidfd) : id(number), fd(std::move(pidfd)) {}

  pid_t id;
  OwnedFd fd;
};

}  // namespace benchtv
