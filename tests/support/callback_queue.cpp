#include "callback_queue.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

CallbackQueue::CallbackQueue(Delivery way, const char* name) : delivery(way), library(name) {
  if (delivery == Delivery::kThreads) {
    thread = std::thread([this] { runOnThread(); });
  }
}

CallbackQueue::~CallbackQueue() {
  {
    const std::lock_guard lock(mutex);
    isOver = true;
    queue.clear();
  }
  changed.notify_all();
  if (thread.joinable()) {
    thread.join();
  }
}

void CallbackQueue::post(Callback callback) {
  {
    const std::lock_guard lock(mutex);
    queue.push_back(std::move(callback));
  }
  changed.notify_all();
}

void CallbackQueue::drain() {
  std::unique_lock lock(mutex);
  if (isHere()) {
    if (delivery == Delivery::kInline) {
      return;
    }
    std::fprintf(stderr, "InMemoryTv: a %s callback waits for its own end\n", library);
    std::abort();
  }
  if (delivery == Delivery::kThreads) {
    changed.wait(lock, [this] { return queue.empty() && !isRunning; });
    return;
  }

  // A callback that throws leaves the rest queued.
  struct Turn {
    CallbackQueue& self;
    std::unique_lock<std::mutex>& lock;
    ~Turn() {
      if (!lock.owns_lock()) {
        lock.lock();
      }
      self.isRunning = false;
      self.changed.notify_all();
    }
  };
  changed.wait(lock, [this] { return !isRunning; });
  while (!queue.empty()) {
    Callback callback = std::move(queue.front());
    queue.pop_front();
    isRunning = true;
    runner = std::this_thread::get_id();
    const Turn turn{*this, lock};
    lock.unlock();
    callback();
  }
}

bool CallbackQueue::hasWork() {
  const std::lock_guard lock(mutex);
  return !isHere() && (isRunning || !queue.empty());
}

void CallbackQueue::waitForCurrent() {
  std::unique_lock lock(mutex);
  if (!isHere()) {
    changed.wait(lock, [this] { return !isRunning; });
  }
}

void CallbackQueue::runOnThread() {
  std::unique_lock lock(mutex);
  runner = std::this_thread::get_id();
  while (true) {
    changed.wait(lock, [this] { return isOver || !queue.empty(); });
    if (isOver) {
      return;
    }
    Callback callback = std::move(queue.front());
    queue.pop_front();
    isRunning = true;
    lock.unlock();
    callback();
    callback = nullptr;  // what it holds must be gone before anyone sees the queue at rest
    lock.lock();
    isRunning = false;
    changed.notify_all();
  }
}
