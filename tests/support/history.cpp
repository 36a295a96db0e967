#include "history.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <utility>

namespace {

std::atomic<int> mirror{-1};

// Length, then text: entries may hold line feeds.
void writeToMirror(const std::string& entry) {
  const int fd = mirror;
  if (fd < 0) {
    return;
  }
  const auto size = static_cast<std::uint32_t>(entry.size());
  std::string frame(reinterpret_cast<const char*>(&size), sizeof size);
  frame += entry;
  for (std::size_t done = 0; done < frame.size();) {
    const ssize_t written = ::write(fd, frame.data() + done, frame.size() - done);
    if (written <= 0) {
      return;
    }
    done += static_cast<std::size_t>(written);
  }
}

bool isOfKind(std::string_view entry, std::string_view kind) {
  if (entry.substr(0, kind.size()) != kind) {
    return false;
  }
  const std::string_view rest = entry.substr(kind.size());
  return rest.empty() || rest.front() == ' ' || rest.front() == '.';
}

}  // namespace

void mirrorHistoriesTo(int fd) { mirror = fd; }

void History::add(std::string entry) {
  const std::lock_guard lock(mutex);
  writeToMirror(entry);
  entries.push_back(std::move(entry));
}

History::Entries History::take() {
  const std::lock_guard lock(mutex);
  return std::exchange(entries, {});
}

History::Entries History::takeOnly(const std::vector<std::string_view>& kinds) {
  return takeSome(kinds, Pick::kNamed);
}

History::Entries History::takeWithout(const std::vector<std::string_view>& kinds) {
  return takeSome(kinds, Pick::kOthers);
}

History::Entries History::takeSome(const std::vector<std::string_view>& kinds, Pick pick) {
  const std::lock_guard lock(mutex);
  Entries taken;
  Entries left;
  for (std::string& entry : entries) {
    const bool isNamed = std::any_of(kinds.begin(), kinds.end(),
                                     [&](std::string_view kind) { return isOfKind(entry, kind); });
    (isNamed == (pick == Pick::kNamed) ? taken : left).push_back(std::move(entry));
  }
  entries = std::move(left);
  return taken;
}
