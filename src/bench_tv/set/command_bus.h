// CommandBus: hands records from one named client of the set to another.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "set/faults.h"
#include "set/journal.h"
#include "set/outlet.h"
#include "set/record.h"

namespace benchtv {

// The name under which the set's application manager is on the bus.
inline constexpr char kAppManagerName[] = "am";

// A status is 0 or a negated errno, or what a fault says.
class CommandBus {
 public:
  CommandBus(const Faults& faults, Journal& journal, IOutlet& outlet);

  // -EBUSY for the application manager's name, -EINVAL for an empty one.
  int join(const std::string& name, const std::string& client);
  void leave(const std::string& name);

  // The addressee is dest, or where that is absent ack. -ENOTCONN when |client| has not joined.
  int send(const std::string& client, int type, bool synchronous, const Record& record);

  // The same without a client: no fault applies.
  int sendAsBench(int type, bool synchronous, const Record& record);

  // |event| is the input event of 76 bytes. The key goes nowhere but into the journal.
  int inject(const std::string& client, const std::string& event);

  void clientGone(const std::string& client);

  // Gets what is addressed to the application manager.
  void whenForAppManager(std::function<void(const Record&)> handler) {
    forAppManager = std::move(handler);
  }

  std::vector<std::string> names() const;

 private:
  bool hasJoined(const std::string& client) const;
  void deliver(int type, bool synchronous, const Record& record, const std::string& addressee);
  int send(int type, bool synchronous, const Record& record, int refusal);

  std::map<std::string, std::string> holders;  // client by name
  const Faults& faults;
  Journal& journal;
  IOutlet& outlet;
  std::function<void(const Record&)> forAppManager = [](const Record&) {};
};

}  // namespace benchtv
