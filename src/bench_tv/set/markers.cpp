#include "set/markers.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "set/owned_fd.h"
#include "set/refusal.h"

namespace benchtv {
namespace {

constexpr const char* kPaths[] = {kBizReadyMarker, kEnableMarker, kDisableMarker,
                                  kDaemonReadyMarker};

void checkPath(const std::string& path) {
  std::string known;
  for (const char* marker : kPaths) {
    if (path == marker) {
      return;
    }
    known += (known.empty() ? "" : ", ") + std::string(marker);
  }
  throw Refusal("no marker file \"" + path + "\": there are " + known);
}

bool exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

[[noreturn]] void fail(const char* what, const std::string& path) {
  throw Refusal(path + what + std::strerror(errno));
}

}  // namespace

void Markers::set(const std::string& path, bool present) {
  checkPath(path);
  if (exists(path) == present) {
    return;
  }
  if (present) {
    const OwnedFd file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file) {
      fail(" cannot be made: ", path);
    }
    made.insert(path);
  } else {
    if (unlink(path.c_str()) != 0) {
      fail(" cannot be removed: ", path);
    }
    made.erase(path);
  }
  journal.write(kind::kMarker, {{"path", path}, {"present", present}});
}

void Markers::removeMade() {
  for (const std::string& path : std::exchange(made, {})) {
    set(path, false);
  }
}

}  // namespace benchtv
