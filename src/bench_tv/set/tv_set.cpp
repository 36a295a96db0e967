#include "set/tv_set.h"

#include <algorithm>

#include "bus_protocol/bus_names.h"
#include "model/setting_keys.h"
#include "set/clock.h"
#include "set/launch_plan.h"
#include "set/refusal.h"

namespace benchtv {
namespace {

bool isWord(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
  });
}

// Notes of these kinds would pass for the set's own.
bool isOwnKind(const std::string& lineKind) {
  constexpr const char* kOwn[] = {kind::kSetting, kind::kBus, kind::kApm,   kind::kKey,
                                  kind::kAction,  kind::kLog, kind::kFault, kind::kMarker};
  return std::find(std::begin(kOwn), std::end(kOwn), lineKind) != std::end(kOwn);
}

}  // namespace

TvSet::TvSet(const SetOptions& setOptions, IOutlet& outlet)
    : options(setOptions),
      product(loadProduct(options.product)),
      journal(options.runFolder),
      faults(journal),
      markers(journal),
      store(options.stateFolder, product.name),
      settings(product, store, faults, journal, outlet),
      bus(faults, journal, outlet),
      apps(faults, journal, outlet),
      manager(
          [this](const std::string& process) {
            return planLaunch(process, options, product, faults);
          },
          [this](const std::string& report) {
            settings.write(kAppStatusKey, report, Writer::kSet);
          },
          std::string(kBusAddressVariable) + "=" + options.busAddress, journal) {
  bus.whenForAppManager([this](const Record& record) { manager.command(record); });
  settings.whenObserved([this](const std::string& key) {
    if (key == kAppStatusKey) manager.reportsObserved();
  });
  faults.whenChanged([this] { apps.tellAvailable(); });
}

void TvSet::start() {
  for (const std::string& fault : options.faults) faults.setFromText(fault);
  for (const std::string& path : options.markers) markers.set(path, true);
  manager.adopt();
  if (options.bizReady)
    bizReadyAt = monotonicMicros() + static_cast<std::int64_t>(*options.bizReady * 1e6);
  check();
}

void TvSet::end() {
  manager.endAll();
  markers.removeMade();
}

void TvSet::check() {
  try {
    manager.check();
    if (bizReadyAt && monotonicMicros() >= *bizReadyAt) {
      bizReadyAt.reset();
      markers.set(kBizReadyMarker, true);
    }
  } catch (const std::exception& wrong) {
    journal.error("set", wrong.what());
  }
}

std::optional<std::int64_t> TvSet::deadline() const {
  const auto first = manager.deadline();
  if (!first || !bizReadyAt) return first ? first : bizReadyAt;
  return std::min(*first, *bizReadyAt);
}

void TvSet::clientGone(const std::string& client) {
  settings.clientGone(client);
  bus.clientGone(client);
  apps.clientGone(client);
}

void TvSet::note(const std::string& lineKind, const std::map<std::string, std::string>& fields) {
  if (!isWord(lineKind) || isOwnKind(lineKind))
    throw Refusal("a note of kind \"" + lineKind +
                  "\" is not taken: the kind is one word, and none that the set writes itself");
  JournalFields parsed;
  for (const auto& [name, json] : fields) {
    if (!isWord(name) || name == "seq" || name == "t" || name == "kind")
      throw Refusal("a note has no field \"" + name + "\": it is one word, not seq, t or kind");
    try {
      parsed.emplace_back(name, parseJson(json));
    } catch (const std::invalid_argument& wrong) {
      throw Refusal("the field \"" + name + "\" is " + wrong.what());
    }
  }
  journal.write(lineKind, parsed);
}

std::string TvSet::status() const {
  Json::Value all(Json::objectValue);
  all["product"] = product.name;
  all["uptime"] = static_cast<double>(monotonicMicros()) / 1e6;
  all["errors"] = static_cast<Json::UInt64>(journal.errors());
  all["joined"] = toJson(bus.names());
  all["apps"] = Json::Value(Json::arrayValue);
  for (const auto& [name, appStatus] : apps.apps()) {
    Json::Value app(Json::objectValue);
    app["name"] = name;
    app["status"] = appStatus;
    all["apps"].append(app);
  }
  all["processes"] = Json::Value(Json::arrayValue);
  for (const auto& [name, pid] : manager.processes()) {
    Json::Value process(Json::objectValue);
    process["name"] = name;
    process["pid"] = pid > 0 ? Json::Value(pid) : Json::Value();
    all["processes"].append(process);
  }
  all["faults"] = Json::Value(Json::arrayValue);
  for (const auto& [name, target, value] : faults.list()) {
    Json::Value fault(Json::objectValue);
    fault["fault"] = name;
    fault["target"] = target;
    fault["value"] = value;
    all["faults"].append(fault);
  }
  return jsonText(all);
}

}  // namespace benchtv
