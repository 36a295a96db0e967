// What cases wait with: conditions with a deadline, never a pause.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace contract {

inline constexpr std::chrono::seconds kDeadline{10};

// More bytes than a socket takes at once.
inline constexpr std::size_t kBig = 256 * 1024UL;

// What callbacks brought, with the thread that brought it. Any thread.
template <class T>
class Seen {
 public:
  void add(T what) {
    const std::lock_guard lock(mutex);
    items.push_back(std::move(what));
    threads.push_back(std::this_thread::get_id());
    changed.notify_all();  // under the lock: who has seen the last item may destroy this
  }

  // All that was seen, as soon as it is |count| or more; less than that when the deadline passes.
  std::vector<T> waitFor(std::size_t count) {
    std::unique_lock lock(mutex);
    changed.wait_for(lock, kDeadline, [&] { return items.size() >= count; });
    return items;
  }

  // |what| is among what was seen, or comes before the deadline.
  bool waitUntil(const T& what) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, kDeadline, [&] {
      return std::find(items.begin(), items.end(), what) != items.end();
    });
  }

  std::vector<T> all() {
    const std::lock_guard lock(mutex);
    return items;
  }

  // One thread brought everything, and it is not the caller.
  bool cameOnOneOtherThread() {
    const std::lock_guard lock(mutex);
    for (const std::thread::id& id : threads) {
      if (id != threads.front() || id == std::this_thread::get_id()) {
        return false;
      }
    }
    return !threads.empty();
  }

 private:
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<T> items;
  std::vector<std::thread::id> threads;
};

// Where callbacks can be held: closed from the start, open for good once opened.
class Gate {
 public:
  // Opens when the case leaves early, so that no callback stays behind.
  ~Gate() { open(); }

  void open() {
    const std::lock_guard lock(state->mutex);
    state->isOpen = true;
    state->changed.notify_all();
  }

  // What a callback calls to go through; it may outlive the gate.
  std::function<void()> passage() const {
    return [state = state] {
      std::unique_lock lock(state->mutex);
      state->hasSomeone = true;
      state->changed.notify_all();
      state->changed.wait(lock, [&] { return state->isOpen; });
    };
  }

  // A callback stands before the gate.
  bool waitForSomeone() {
    std::unique_lock lock(state->mutex);
    return state->changed.wait_for(lock, kDeadline, [this] { return state->hasSomeone; });
  }

 private:
  struct State {
    std::mutex mutex;
    std::condition_variable changed;
    bool isOpen = false;
    bool hasSomeone = false;
  };
  const std::shared_ptr<State> state = std::make_shared<State>();
};

// Tries |condition| again and again until it holds.
inline bool eventually(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + kDeadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

// Runs |action|, which gets a number from 0, on that many threads at once, to their ends.
inline void inThreads(int count, const std::function<void(int)>& action) {
  std::vector<std::thread> threads;
  threads.reserve(static_cast<std::size_t>(count));
  for (int number = 0; number < count; ++number) {
    threads.emplace_back(action, number);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

// How long |action| takes.
inline std::chrono::steady_clock::duration durationOf(const std::function<void()>& action) {
  const auto start = std::chrono::steady_clock::now();
  action();
  return std::chrono::steady_clock::now() - start;
}

}  // namespace contract
