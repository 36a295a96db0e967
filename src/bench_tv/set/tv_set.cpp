#include "set/tv_set.h"

#include <algorithm>

#include "bus_protocol/bus_names.h"
#include "model/key_codes.h"
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

// The application whose keys the remote control's are while it is registered.
constexpr char kKeyApp[] = "AirPlayBridge";

constexpr int kUseCaseStandby = 0;
constexpr int kUseCaseOn = 1;
constexpr int kScreenOff = 0;
constexpr int kScreenOn = 1;

// Notes of these kinds would pass for the set's own.
bool isOwnKind(const std::string& lineKind) {
  constexpr const char* kOwn[] = {kind::kSetting, kind::kBus,    kind::kApm,
                                  kind::kKey,     kind::kAction, kind::kLog,
                                  kind::kFault,   kind::kMarker, kind::kPower};
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
          [this](const std::string& application, Place where) { place(application, where); },
          std::string(kBusAddressVariable) + "=" + options.busAddress, journal) {
  bus.whenForAppManager([this](const Record& record) { manager.command(record); });
  settings.whenObserved([this](const std::string& key) {
    if (key == kAppStatusKey) {
      manager.reportsObserved();
    }
  });
  faults.whenChanged([this] { apps.tellAvailable(); });
}

void TvSet::start() {
  for (const std::string& fault : options.faults) {
    faults.setFromText(fault);
  }
  for (const std::string& path : options.markers) {
    markers.set(path, true);
  }
  manager.adopt();
  if (options.bizReady) {
    bizReadyAt = monotonicMicros() + static_cast<std::int64_t>(*options.bizReady * 1e6);
  }
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
      manager.startUi();
    }
  } catch (const std::exception& wrong) {
    journal.error("set", wrong.what());
  }
}

std::optional<std::int64_t> TvSet::deadline() const {
  const auto first = manager.deadline();
  if (!first || !bizReadyAt) {
    return first ? first : bizReadyAt;
  }
  return std::min(*first, *bizReadyAt);
}

void TvSet::clientGone(const std::string& client) {
  settings.clientGone(client);
  bus.clientGone(client);
  apps.clientGone(client);
}

void TvSet::place(const std::string& application, Place where) {
  const Value* current = settings.find(kCurrentAppKey);
  if (!current) {
    return;
  }
  const bool isInFront = std::get<std::string>(*current) == application;
  if (where == Place::kForeground && !isInFront) {
    appBehind = std::get<std::string>(*current);
    settings.write(kCurrentAppKey, application, Writer::kSet);
  } else if (where == Place::kBackground && isInFront) {
    settings.write(kCurrentAppKey, appBehind, Writer::kSet);
  }
}

void TvSet::power(const std::string& state, int reason) {
  const bool suspends = state == "suspend";
  const bool resumes = state == "resume";
  if (!suspends && !resumes && state != "standby" && state != "on") {
    throw Refusal("no power state \"" + state + "\": there are suspend, resume, standby, on");
  }
  JournalFields fields = {{"op", state}};
  if (suspends || resumes) {
    fields.emplace_back("reason", reason);
  }
  journal.write(kind::kPower, fields);
  if (suspends) {
    tellApps("onSTRSuspending", reason);
    tellApps("onSTRSuspend", reason);
  } else if (resumes) {
    tellApps("onSTRResume", reason);
    tellApps("onSTRResuming", reason);
  } else if (state == "on") {
    setPower(kUseCaseOn, kScreenOn);
  } else {
    setPower(kUseCaseStandby, kScreenOff);
  }
}

void TvSet::tellApps(const char* operation, int reason) {
  for (const auto& [name, status] : apps.apps()) {
    apps.call(name, operation, {name}, reason);
  }
}

void TvSet::setPower(int useCase, int screen) {
  settings.write(kPowerUseCaseKey, useCase, Writer::kSet);
  settings.write(kScreenStateKey, screen, Writer::kSet);
}

std::uint64_t TvSet::pressKey(const std::string& key) {
  const auto code = keyCode(key);
  if (!code) {
    throw Refusal(noSuchKey(key));
  }
  return apps.call(kKeyApp, "onKeyEvent", {keyEvent(*code)}, 0);
}

void TvSet::note(const std::string& lineKind, const std::map<std::string, std::string>& fields) {
  if (!isWord(lineKind) || isOwnKind(lineKind)) {
    throw Refusal("a note of kind \"" + lineKind +
                  "\" is not taken: the kind is one word, and none that the set writes itself");
  }
  JournalFields parsed;
  for (const auto& [name, json] : fields) {
    if (!isWord(name) || name == "seq" || name == "t" || name == "kind") {
      throw Refusal("a note has no field \"" + name + "\": it is one word, not seq, t or kind");
    }
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
