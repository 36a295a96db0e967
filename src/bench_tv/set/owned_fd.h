// OwnedFd: a file descriptor that is closed by its owner's end.
#pragma once

#include <unistd.h>

#include <utility>

namespace benchtv {

class OwnedFd {
 public:
  OwnedFd() = default;
  explicit OwnedFd(int descriptor) : fd(descriptor) {}
  OwnedFd(OwnedFd&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
  OwnedFd& operator=(OwnedFd&& other) noexcept {
    std::swap(fd, other.fd);
    return *this;
  }
  ~OwnedFd() {
    if (fd >= 0) {
      close(fd);
    }
  }

  int get() const { return fd; }
  explicit operator bool() const { return fd >= 0; }

 private:
  int fd = -1;
};

}  // namespace benchtv
