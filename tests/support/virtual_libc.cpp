#include "virtual_libc.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "history.h"

namespace {

std::atomic<VirtualLibc*> living{nullptr};

[[noreturn]] void die(const char* complaint) {
  std::fprintf(stderr, "VirtualLibc: %s\n", complaint);
  std::abort();
}

}  // namespace

VirtualLibc::VirtualLibc(History* recorder) : history(recorder) {
  if (living.exchange(this) != nullptr) {
    die("there is already one; a test has one");
  }
}

VirtualLibc::~VirtualLibc() { living = nullptr; }

VirtualLibc::Time VirtualLibc::now() const {
  const std::lock_guard lock(mutex);
  return current;
}

void VirtualLibc::startAt(Time uptime) {
  const std::lock_guard lock(mutex);
  if (current != Time{0}) {
    die("startAt() after time has begun to pass");
  }
  realtimeAhead -= uptime;
  current = uptime;
}

void VirtualLibc::startRealtimeAt(Time sinceEpoch) {
  const std::lock_guard lock(mutex);
  realtimeAhead = sinceEpoch - current;
}

void VirtualLibc::pass(Time duration) {
  const std::lock_guard lock(mutex);
  current += duration;
}

void VirtualLibc::readingAClockTakes(Time duration) {
  const std::lock_guard lock(mutex);
  readingTakes = duration;
}

void VirtualLibc::at(Time when, std::function<void()> event) {
  const std::lock_guard lock(mutex);
  events.emplace(when, std::move(event));
}

void VirtualLibc::after(Time delay, std::function<void()> event) {
  at(now() + delay, std::move(event));
}

void VirtualLibc::endAt(Time when) {
  const std::lock_guard lock(mutex);
  end = when;
}

void VirtualLibc::createFile(const std::string& path) {
  const std::lock_guard lock(mutex);
  files.insert(path);
}

void VirtualLibc::removeFile(const std::string& path) {
  const std::lock_guard lock(mutex);
  files.erase(path);
}

void VirtualLibc::breakClock(clockid_t clock) {
  const std::lock_guard lock(mutex);
  brokenClocks.insert(clock);
}

void VirtualLibc::fixClock(clockid_t clock) {
  const std::lock_guard lock(mutex);
  brokenClocks.erase(clock);
}

void VirtualLibc::presetEnvironment(const std::string& name, const std::string& value) {
  const std::lock_guard lock(mutex);
  variables[name] = value;
}

std::optional<std::string> VirtualLibc::environment(const std::string& name) const {
  const std::lock_guard lock(mutex);
  const auto found = variables.find(name);
  return found == variables.end() ? std::nullopt : std::optional(found->second);
}

void VirtualLibc::sleep(Time duration) {
  record("sleep " + std::to_string(duration.count()));

  std::unique_lock lock(mutex);
  const Time wakeUp = current + duration;
  const Time reach = end ? std::min(wakeUp, *end) : wakeUp;
  while (!events.empty() && events.begin()->first <= reach) {
    auto due = events.extract(events.begin());
    current = std::max(current, due.key());
    lock.unlock();
    due.mapped()();  // may itself sleep: time only moves forward
    lock.lock();
  }
  current = std::max(current, reach);
  if (end && wakeUp > *end) {
    throw ScriptOver{};
  }
}

std::optional<VirtualLibc::Time> VirtualLibc::read(clockid_t clock) {
  const std::lock_guard lock(mutex);
  if (brokenClocks.count(clock) != 0) {
    return std::nullopt;
  }
  const Time reading = clock == CLOCK_REALTIME ? current + realtimeAhead : current;
  current += readingTakes;
  return reading;
}

bool VirtualLibc::fileExists(const std::string& path) {
  std::unique_lock lock(mutex);
  const bool exists = files.count(path) != 0;
  lock.unlock();
  record("access " + path + (exists ? " -> there" : " -> missing"));
  return exists;
}

void VirtualLibc::setEnvironment(const std::string& name, const std::string& value, bool replace) {
  record("setenv " + name + "=" + value + (replace ? " replace" : " keep"));
  const std::lock_guard lock(mutex);
  if (replace) {
    variables[name] = value;
  } else {
    variables.emplace(name, value);
  }
}

void VirtualLibc::record(const std::string& entry) {
  if (history != nullptr) {
    history->add(entry);
  }
}

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names.

// The linker's --wrap changes only the objects and static libraries of the test program; the shared
// libraries keep the real functions.
extern "C" {

int __real_usleep(useconds_t micros);
int __real_clock_gettime(clockid_t clock, timespec* now) noexcept;
int __real_access(const char* path, int mode) noexcept;
int __real_setenv(const char* name, const char* value, int replace) noexcept;

int __wrap_usleep(useconds_t micros);
int __wrap_clock_gettime(clockid_t clock, timespec* now) noexcept;
int __wrap_access(const char* path, int mode) noexcept;
int __wrap_setenv(const char* name, const char* value, int replace) noexcept;

int __wrap_usleep(useconds_t micros) {
  VirtualLibc* libc = living;
  if (libc == nullptr) {
    return __real_usleep(micros);
  }
  libc->sleep(VirtualLibc::Time{micros});
  return 0;
}

int __wrap_clock_gettime(clockid_t clock, timespec* now) noexcept {
  VirtualLibc* libc = living;
  if (libc == nullptr || (clock != CLOCK_MONOTONIC && clock != CLOCK_REALTIME)) {
    return __real_clock_gettime(clock, now);
  }
  const std::optional<VirtualLibc::Time> reading = libc->read(clock);
  if (!reading) {
    errno = EINVAL;
    return -1;
  }
  now->tv_sec = static_cast<time_t>(reading->count() / 1'000'000);
  now->tv_nsec = static_cast<long>(reading->count() % 1'000'000 * 1000);
  return 0;
}

int __wrap_access(const char* path, int mode) noexcept {
  VirtualLibc* libc = living;
  if (libc == nullptr) {
    return __real_access(path, mode);
  }
  if (mode != F_OK) {
    die("access() with a mode other than F_OK");
  }
  if (libc->fileExists(path)) {
    return 0;
  }
  errno = ENOENT;
  return -1;
}

int __wrap_setenv(const char* name, const char* value, int replace) noexcept {
  VirtualLibc* libc = living;
  if (libc == nullptr) {
    return __real_setenv(name, value, replace);
  }
  libc->setEnvironment(name, value, replace != 0);
  return 0;
}

}  // extern "C"

// NOLINTEND(bugprone-reserved-identifier)
