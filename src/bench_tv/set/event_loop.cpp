#include "set/event_loop.h"

#include <poll.h>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "set/clock.h"

namespace benchtv {
namespace {

constexpr int kReconnectMillis = 250;
constexpr int kForEver = -1;

OwnedFd openSignals() {
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGTERM);
  sigaddset(&ends, SIGINT);
  return OwnedFd(signalfd(-1, &ends, SFD_CLOEXEC | SFD_NONBLOCK));
}

void drain(int fd) {
  std::array<char, 4096> bytes;
  while (read(fd, bytes.data(), bytes.size()) > 0) {
  }
}

int sooner(int a, int b) {
  if (a == kForEver || b == kForEver) {
    return std::max(a, b);
  }
  return std::min(a, b);
}

}  // namespace

EventLoop::EventLoop(TvSet& tvSet, BusFront& busFront)
    : set(tvSet),
      front(busFront),
      signals(openSignals()),
      logChanges(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
  if (!signals || !logChanges ||
      inotify_add_watch(logChanges.get(), set.journal.serviceLog().c_str(), IN_MODIFY) < 0) {
    throw std::system_error(errno, std::generic_category(), "event loop");
  }
}

void EventLoop::run() {
  for (;;) {
    if (front.isConnected()) {
      front.process();
    } else {
      reconnect();
    }

    std::vector<pollfd> waits = {{signals.get(), POLLIN, 0}, {logChanges.get(), POLLIN, 0}};
    for (const int fd : set.manager.descriptors()) {
      waits.push_back({fd, POLLIN, 0});
    }
    int millis = millisToWait();
    if (front.isConnected()) {
      const BusFront::Wait bus = front.wait();
      waits.push_back({bus.descriptor, bus.events, 0});
      millis = sooner(millis, bus.millis);
    } else {
      millis = sooner(millis, kReconnectMillis);
    }
    poll(waits.data(), waits.size(), millis);

    if (waits[0].revents != 0) {
      return;
    }
    drain(logChanges.get());
    set.journal.takeServiceLog();
    set.check();
  }
}

int EventLoop::millisToWait() const {
  const auto deadline = set.deadline();
  if (!deadline) {
    return kForEver;
  }
  const auto left = (*deadline - monotonicMicros() + 999) / 1000;
  return static_cast<int>(std::clamp<std::int64_t>(left, 0, 60'000));
}

void EventLoop::reconnect() {
  try {
    front.connect(set);
    std::fprintf(stderr, "benchtv_set: on the bus again\n");
  } catch (const std::runtime_error&) {
    // Tried again shortly.
  }
}

}  // namespace benchtv
