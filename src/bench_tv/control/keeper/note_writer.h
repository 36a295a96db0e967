// NoteWriter: has the set write into its journal what the keeper sees.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace benchtv {

// Never blocks the keeper: notes wait in a queue, and a thread hands them to the set in order, as
// soon as there is a set. Those that no set took are lost with the keeper. The thread has no end,
// so the object must not have one either.
class NoteWriter {
 public:
  using Fields = std::map<std::string, std::string>;  // field name to value as JSON

  // |whenReachable| is an eventfd that is raised when the set has taken all notes for the first
  // time.
  NoteWriter(std::string busAddress, int whenReachable);

  void note(std::string kind, Fields fields);

  // Waits until the set has taken all, but no longer than |patience|.
  bool flush(std::chrono::milliseconds patience);

 private:
  struct Note {
    std::string kind;
    Fields fields;
  };

  void run();
  void deliver();

  const std::string address;
  const int reachableEvent;
  bool reachable = false;  // of the thread alone
  std::mutex mutex;        // for the queue
  std::condition_variable changed;
  std::deque<Note> queue;
};

}  // namespace benchtv
