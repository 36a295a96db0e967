// The base utilities, on Linux's /proc.
#include "norvale_base.h"

#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string_view>

namespace {

constexpr std::size_t kKernelNameChars = 15;
constexpr std::intptr_t kBeingMade = 1;

// The content of a small file in |directory|, cut to the buffer; empty when it can't be read.
template <std::size_t kSize>
std::string_view readFile(int directory, const char* path, char (&buffer)[kSize]) {
  const int file = openat(directory, path, O_RDONLY | O_CLOEXEC);
  if (file < 0) {
    return {};
  }
  const ssize_t size = read(file, buffer, kSize);
  close(file);
  return size > 0 ? std::string_view(buffer, static_cast<std::size_t>(size)) : std::string_view();
}

bool hasName(int proc, const char* pid, std::string_view kernelName) {
  char path[sizeof(dirent::d_name) + sizeof "/comm"];
  char buffer[64];
  std::snprintf(path, sizeof path, "%s/comm", pid);
  std::string_view name = readFile(proc, path, buffer);
  if (!name.empty() && name.back() == '\n') {
    name.remove_suffix(1);
  }
  return name == kernelName;
}

// The dead keep their name until their parent asks for them.
bool isAlive(int proc, const char* pid) {
  char path[sizeof(dirent::d_name) + sizeof "/comm"];
  char buffer[256];
  std::snprintf(path, sizeof path, "%s/stat", pid);
  const std::string_view stat = readFile(proc, path, buffer);
  const std::size_t nameEnd = stat.rfind(')');  // a name may hold parentheses
  if (nameEnd == std::string_view::npos || nameEnd + 2 >= stat.size()) {
    return false;
  }
  const char state = stat[nameEnd + 2];
  return state != 'Z' && state != 'X';
}

}  // namespace

namespace norvale::base::utils {

int processUtils_GetPidOf(const std::string& name) {
  if (name.empty()) {
    return 0;
  }
  const std::unique_ptr<DIR, int (*)(DIR*)> proc(opendir("/proc"), &closedir);
  if (!proc) {
    return 0;
  }
  const int procFd = dirfd(proc.get());
  const std::string_view kernelName = std::string_view(name).substr(0, kKernelNameChars);
  while (const dirent* entry = readdir(proc.get())) {
    if (entry->d_name[0] < '1' || entry->d_name[0] > '9') {
      continue;
    }
    // The name first: the kernel tells the state at three times the cost.
    if (hasName(procFd, entry->d_name, kernelName) && isAlive(procFd, entry->d_name)) {
      return std::atoi(entry->d_name);
    }
  }
  return 0;
}

}  // namespace norvale::base::utils

namespace norvale::base::internal {

std::intptr_t WaitForInstance(const std::atomic<std::intptr_t>* instance) {
  constexpr int kYields = 100;
  constexpr timespec kPause{0, 100'000};
  for (int attempt = 0;; ++attempt) {
    const std::intptr_t value = instance->load(std::memory_order_acquire);
    if (value != kBeingMade) {
      return value;
    }
    if (attempt < kYields) {
      sched_yield();
    } else {
      nanosleep(&kPause, nullptr);
    }
  }
}

}  // namespace norvale::base::internal
