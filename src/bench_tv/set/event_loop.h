// EventLoop: the set's one thread.
#pragma once

#include "set/bus_front.h"
#include "set/owned_fd.h"
#include "set/tv_set.h"

namespace benchtv {

// Waits for the bus, the service's log, the processes of the set and its times, until SIGTERM or
// SIGINT comes. Those must be blocked before. A bus that has gone is looked for four times a
// second.
class EventLoop {
 public:
  // Throws std::system_error.
  EventLoop(TvSet& set, BusFront& front);

  void run();

 private:
  int millisToWait() const;
  void reconnect();

  TvSet& set;
  BusFront& front;
  OwnedFd signals;
  OwnedFd logChanges;
};

}  // namespace benchtv
