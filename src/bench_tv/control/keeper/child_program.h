// ChildProgram: one of the three programs that the keeper starts, and what became of it.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace benchtv {

class ChildProgram {
 public:
  // |role| is "bus", "set" or "service"; |log| gets standard output and error, appended.
  ChildProgram(std::string role, std::vector<std::string> command, std::filesystem::path log);

  // Starts it. |listening| is -1 or a socket that the program gets as its file descriptor 3, in the
  // way of systemd's socket activation. |announce| is called with its pid before it is executed, so
  // before it can do anything. Throws std::runtime_error when it runs already or cannot be
  // executed; in the latter case it has been announced, and counts as ended with status 127.
  void start(int listening, const std::function<void(pid_t)>& announce);

  // To be told of every process that was reaped. |waitStatus| as from waitpid(). True if it was
  // this.
  bool reaped(pid_t pid, int waitStatus);

  const std::string& role() const { return name; }
  bool runs() const { return process > 0; }
  pid_t pid() const { return process; }

  // Exit status, or the negated signal, of its last end; nothing when it has not ended since its
  // last start.
  std::optional<int> ended() const { return status; }

 private:
  [[noreturn]] void become(int listening, int go, int failure) const;

  std::string name;
  std::vector<std::string> arguments;
  std::filesystem::path logFile;
  pid_t process = -1;
  std::optional<int> status;
};

}  // namespace benchtv
