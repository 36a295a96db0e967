// FileDescriptor: owns one, and closes it.
#pragma once

#include <unistd.h>

#include <utility>

namespace benchtv {

class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) : held(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept : held(std::exchange(other.held, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(held, other.held);
    return *this;
  }
  ~FileDescriptor() { reset(); }

  int get() const { return held; }
  bool isOpen() const { return held >= 0; }

  void reset() {
    if (held >= 0) {
      close(std::exchange(held, -1));
    }
  }

 private:
  int held = -1;
};

}  // namespace benchtv
