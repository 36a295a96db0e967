// CallbackThread: where one library calls the service, one call at a time, in order.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace host_platform {

// Starts with its construction and runs for the life of the process; it is never destroyed. A task
// may block: the others wait in a queue without bound. What a task throws ends the process, as it
// would on the set: the service counts on that.
class CallbackThread {
 public:
  // |name|: at most 15 characters, shown by the usual tools.
  explicit CallbackThread(const char* name);
  CallbackThread(const CallbackThread&) = delete;
  CallbackThread& operator=(const CallbackThread&) = delete;

  // Has |task| run after all posted before. |owner| is only compared, never followed. Any thread;
  // never blocks.
  void post(const void* owner, std::function<void()> task);

  // Drops the tasks of |owner| that have not begun, and waits for the end of one that has; but a
  // task that calls it does not wait for itself. The caller sees to it that none is posted later.
  void cancel(const void* owner);

 private:
  struct Task {
    const void* owner;
    std::function<void()> call;
  };

  [[noreturn]] void run();

  std::mutex mutex;
  std::condition_variable posted;
  std::condition_variable ended;
  std::deque<Task> waiting;
  const void* runningFor = nullptr;
  std::thread thread;
};

}  // namespace host_platform
