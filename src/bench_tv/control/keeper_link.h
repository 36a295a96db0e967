// KeeperLink: a connection to the keeper of a bench TV.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>

#include "control/file_descriptor.h"
#include "control/run_folder.h"

namespace benchtv {

class KeeperLink {
 public:
  // Nothing when no keeper listens there.
  static std::optional<KeeperLink> connect(const RunFolder& run);

  // Sends one command and returns what the keeper answered after "ok", without the blank. Throws
  // std::runtime_error with the keeper's words when it answered "error: ...", or when it gave no
  // answer in time.
  std::string ask(const std::string& command, std::chrono::milliseconds timeout);

  // As this machine sees it.
  pid_t keeperPid() const;

  // Readable once the keeper is gone.
  int descriptor() const { return socket.get(); }

 private:
  explicit KeeperLink(FileDescriptor connected) : socket(std::move(connected)) {}

  FileDescriptor socket;
};

}  // namespace benchtv
