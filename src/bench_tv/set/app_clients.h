// AppClients: the application manager's side towards the applications that have registered with it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "set/faults.h"
#include "set/journal.h"
#include "set/outlet.h"

namespace benchtv {

// The set's input event for a key: 76 bytes, with the code at byte 24.
std::string keyEvent(std::int32_t code);

// A status is 0 or a negated errno: -ENODEV while there is no application manager, -ENOENT for an
// application that has not registered.
class AppClients {
 public:
  AppClients(const Faults& faults, Journal& journal, IOutlet& outlet);

  // Answers whether there is an application manager now.
  bool attach(const std::string& client);

  int registerApp(const std::string& app, const std::string& client);
  int unregisterApp(const std::string& app);
  int setAppStatus(const std::string& app, int appStatus);
  int sendMessage(const std::string& source, const std::string& target, const std::string& message);

  // What a callback returned. Throws Refusal for an id that is not awaited.
  void answer(std::uint64_t id, int result);

  // Calls |operation| of the callback interface on |app| and answers the call's id. Throws Refusal
  // when there is no such operation or application, or |texts| do not fit.
  std::uint64_t call(const std::string& app, const std::string& operation, const Texts& texts,
                     int reason);

  void clientGone(const std::string& client);

  // To be called when the fault that takes the application manager away may have changed.
  void tellAvailable();

  // The last status of each registered application; 0 where it has set none.
  std::map<std::string, int> apps() const;

 private:
  struct App {
    std::string client;
    int status = 0;
  };
  struct Awaited {
    std::string app;
    std::string client;
  };

  bool isAvailable() const { return faults.value(fault::kApmMissing) == 0; }
  std::uint64_t callBack(const std::string& app, const std::string& operation, const Texts& texts,
                         int reason);

  std::map<std::string, App> registered;
  std::vector<std::string> attached;
  std::map<std::uint64_t, Awaited> awaited;
  std::uint64_t lastId = 0;
  bool toldAvailable = true;
  const Faults& faults;
  Journal& journal;
  IOutlet& outlet;
};

}  // namespace benchtv
