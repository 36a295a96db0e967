#include "callback_thread.h"

#include <pthread.h>

#include <utility>

namespace host_platform {

CallbackThread::CallbackThread(const char* name) : thread([this] { run(); }) {
  pthread_setname_np(thread.native_handle(), name);
}

void CallbackThread::post(const void* owner, std::function<void()> task) {
  {
    const std::lock_guard<std::mutex> lock(mutex);
    waiting.push_back({owner, std::move(task)});
  }
  posted.notify_one();
}

void CallbackThread::cancel(const void* owner) {
  std::deque<Task> others;
  std::deque<Task> dropped;  // destroyed without the lock: a task may hold the last of something
  std::unique_lock<std::mutex> lock(mutex);
  for (Task& task : waiting) {
    (task.owner == owner ? dropped : others).push_back(std::move(task));
  }
  waiting = std::move(others);
  if (std::this_thread::get_id() != thread.get_id()) {
    ended.wait(lock, [&] { return runningFor != owner; });
  }
  lock.unlock();
}

void CallbackThread::run() {
  for (;;) {
    Task task;
    {
      std::unique_lock<std::mutex> lock(mutex);
      posted.wait(lock, [this] { return !waiting.empty(); });
      task = std::move(waiting.front());
      waiting.pop_front();
      runningFor = task.owner;
    }
    task.call();
    task.call = nullptr;  // what it holds goes before anybody is told that it has ended
    {
      const std::lock_guard<std::mutex> lock(mutex);
      runningFor = nullptr;
    }
    ended.notify_all();
  }
}

}  // namespace host_platform
