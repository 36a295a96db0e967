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
  std::optional<std::int64_t> bizReadyAt;
};

}  // namespace benchtv
