// CallbackQueue: the callback thread of one closed library, in a test.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

// On which thread the in-memory platform calls the service back.
enum class Delivery {
  kInline,   // the test's own, within the call that asks for it: goes with virtual time
  kThreads,  // one of its own for each library, as on a set: real time
};

// Runs what is posted, one at a time, in the order of the posts. Any thread may post, also from
// within a callback.
class CallbackQueue {
 public:
  using Callback = std::function<void()>;

  // |name| names the library in complaints.
  CallbackQueue(Delivery way, const char* name);

  // What has not begun is dropped.
  ~CallbackQueue();
  CallbackQueue(const CallbackQueue&) = delete;
  CallbackQueue& operator=(const CallbackQueue&) = delete;

  void post(Callback callback);

  // Inline: runs what is queued, on the calling thread; within a callback of this queue it returns
  // at once, and the callback's end goes on with the rest. Threads: waits until all that is queued
  // has ended; not from within a callback.
  void drain();

  // There is something that drain() would run or wait for.
  bool hasWork();

  // Returns when no callback is under way, unless called within one.
  void waitForCurrent();

 private:
  void runOnThread();
  bool isHere() const { return isRunning && runner == std::this_thread::get_id(); }

  const Delivery delivery;
  const char* const library;

  std::mutex mutex;
  std::condition_variable changed;
  std::deque<Callback> queue;
  bool isRunning = false;
  std::thread::id runner;
  bool isOver = false;
  std::thread thread;
};
