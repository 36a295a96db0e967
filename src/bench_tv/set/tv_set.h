// TvSet: the simulated set, whole but for its D-Bus front.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "model/product.h"
#include "set/app_clients.h"
#include "set/app_manager.h"
#include "set/command_bus.h"
#include "set/faults.h"
#include "set/journal.h"
#include "set/markers.h"
#include "set/outlet.h"
#include "set/set_options.h"
#include "set/settings.h"
#include "set/settings_store.h"

namespace benchtv {

// The process and the application that is the TV's UI.
inline constexpr char kUiName[] = "launcher";

// One thread. The parts are public: the front calls each one as its interface says, and this class
// only wires them and keeps their common time.
class TvSet {
 public:
  // Throws ProductError, StoreError or Refusal, each with a text that says what to do. |outlet|
  // must outlive the set.
  TvSet(const SetOptions& options, IOutlet& outlet);

  // Switches the set on: puts the options' faults and markers into force, takes over its processes,
  // and has the business layer come up. Throws Refusal for options that make no sense.
  void start();

  // Ends what the set has started and removes the markers that it has made.
  void end();

  // To be called when a descriptor of the application manager is readable, and at deadline().
  void check();
  std::optional<std::int64_t> deadline() const;

  void clientGone(const std::string& client);

  // Suspend and resume tell every registered application, with |reason|; standby and on write the
  // power use case and the screen state. Throws Refusal for any other |state|, and where there is
  // no application manager.
  void power(const std::string& state, int reason);

  // Has the remote control's key arrive at the service, and answers the callback's id. Throws
  // Refusal.
  std::uint64_t pressKey(const std::string& key);

  // Writes a line on behalf of somebody else. Throws Refusal for a kind that the set itself writes
  // and for fields that are no JSON.
  void note(const std::string& lineKind, const std::map<std::string, std::string>& fields);

  // One JSON object; see Control1.
  std::string status() const;

  const SetOptions options;
  const Product product;
  Journal journal;
  Faults faults;
  Markers markers;
  SettingsStore store;
  Settings settings;
  CommandBus bus;
  AppClients apps;
  AppManager manager;

 private:
  void place(const std::string& application, Place place);
  void tellApps(const char* operation, int reason);
  void setPower(int useCase, int screen);

  std::string appBehind = kUiName;  // what comes forward when the one in front leaves
  std::optional<std::int64_t> bizReadyAt;
};

}  // namespace benchtv
