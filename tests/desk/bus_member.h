// BusMember: one who has joined the command bus of a bench TV beside the service.
#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <deque>
#include <memory>
#include <ostream>
#include <string>

#include "control/bench_tv.h"

namespace desk {

// A record and how it came.
struct Delivery {
  int type = 0;
  bool synchronous = false;
  benchtv::BusRecord record;
};

bool operator==(const Delivery& a, const Delivery& b);
void PrintTo(const Delivery& delivery, std::ostream* out);

// One thread. Throws sdbus::Error for a bus that is gone, std::runtime_error for a name refused.
class BusMember {
 public:
  BusMember(const benchtv::RunFolder& run, const std::string& name);
  ~BusMember();
  BusMember(const BusMember&) = delete;
  BusMember& operator=(const BusMember&) = delete;

  // The status that the sender gets.
  int sends(const benchtv::BusRecord& record, int type = 0, bool synchronous = false);

  // The next record for this member; blocks until there is one.
  Delivery receives();

 private:
  class Proxy;

  std::deque<Delivery> received;
  std::unique_ptr<sdbus::IConnection> connection;
  std::unique_ptr<Proxy> proxy;
};

}  // namespace desk
