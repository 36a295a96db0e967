#include "control/keeper_link.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace benchtv {

std::optional<KeeperLink> KeeperLink::connect(const RunFolder& run) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = run.keeperSocket();
  if (path.size() >= sizeof(address.sun_path)) {
    return std::nullopt;
  }
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);

  FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!socket.isOpen()) {
    throw std::system_error(errno, std::generic_category(), "cannot make a socket");
  }
  if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
    return std::nullopt;
  }
  return KeeperLink(std::move(socket));
}

std::string KeeperLink::ask(const std::string& command, std::chrono::milliseconds timeout) {
  const std::string line = command + "\n";
  if (send(socket.get(), line.data(), line.size(), MSG_NOSIGNAL) !=
      static_cast<ssize_t>(line.size())) {
    throw std::runtime_error("the keeper is gone");
  }

  const auto deadline = std::chrono::steady_clock::now() + timeout;
  std::string answer;
  while (answer.find('\n') == std::string::npos) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd readable{socket.get(), POLLIN, 0};
    const int ready = left.count() > 0 ? poll(&readable, 1, static_cast<int>(left.count())) : 0;
    if (ready < 0 && errno == EINTR) {
      continue;
    }
    if (ready <= 0) {
      throw std::runtime_error("the keeper did not answer \"" + command + "\" in time");
    }
    std::array<char, 4096> part;
    const ssize_t got = recv(socket.get(), part.data(), part.size(), 0);
    if (got <= 0) {
      throw std::runtime_error("the keeper went away while it was asked \"" + command + "\"");
    }
    answer.append(part.data(), static_cast<std::size_t>(got));
  }

  answer.erase(answer.find('\n'));
  if (answer.compare(0, 2, "ok") != 0) {
    throw std::runtime_error(answer.compare(0, 7, "error: ") == 0 ? answer.substr(7) : answer);
  }
  return answer.size() > 3 ? answer.substr(3) : std::string();
}

pid_t KeeperLink::keeperPid() const {
  // The kernel translates the pid of the process that listens into this process's namespace.
  ucred peer{};
  socklen_t size = sizeof(peer);
  if (getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
    throw std::system_error(errno, std::generic_category(), "cannot ask who the keeper is");
  }
  return peer.pid;
}

}  // namespace benchtv
