#include "control/control_link.h"

#include <sdbus-c++/sdbus-c++.h>

#include <stdexcept>
#include <utility>

#include "bus_protocol/Control1_proxy.h"
#include "bus_protocol/bus_names.h"
#include "model/value.h"

namespace benchtv {

namespace {

constexpr std::chrono::seconds kAnswer{2};

using Bytes = std::vector<std::uint8_t>;

class Control final : public sdbus::ProxyInterfaces<::tv::benchtv::Control1_proxy> {
 public:
  explicit Control(sdbus::IConnection& connection)
      : ProxyInterfaces(connection, kSetName, kSetPath) {
    registerProxy();
  }
  ~Control() { unregisterProxy(); }
};

Bytes bytesOf(const std::string& text) { return Bytes(text.begin(), text.end()); }

// The error of a call in words that help.
std::runtime_error explained(const sdbus::Error& error) {
  struct Row {
    const char* name;
    const char* meaning;
  };
  static constexpr char kOtherBuild[] =
      "THE SET DOES NOT KNOW THIS CALL: benchtv and the running benchtv_set are from different "
      "builds; build everything, then benchtv down and up";
  static constexpr char kNoSet[] =
      "the set does not run: start it by benchtv process start set (set.log in the run folder has "
      "its last words)";
  static constexpr char kNoAnswer[] =
      "the set gave no answer: it hangs, or it ended while it was asked";
  static constexpr Row kRows[] = {
      {"org.freedesktop.DBus.Error.UnknownMethod", kOtherBuild},
      {"org.freedesktop.DBus.Error.UnknownInterface", kOtherBuild},
      {"org.freedesktop.DBus.Error.UnknownObject", kOtherBuild},
      {"org.freedesktop.DBus.Error.InvalidArgs", kOtherBuild},
      {"org.freedesktop.DBus.Error.ServiceUnknown", kNoSet},
      {"org.freedesktop.DBus.Error.NameHasNoOwner", kNoSet},
      {"org.freedesktop.DBus.Error.NoReply", kNoAnswer},
      {"org.freedesktop.DBus.Error.Timeout", kNoAnswer},
  };
  if (error.getName() == kRefusedError) {
    return std::runtime_error(error.getMessage());
  }
  for (const Row& row : kRows) {
    if (error.getName() == row.name) {
      return std::runtime_error(std::string(row.meaning) + " [" + error.getMessage() + "]");
    }
  }
  return std::runtime_error(error.getName() + ": " + error.getMessage());
}

template <class Body>
auto onSet(const std::string& address, Body&& body) {
  std::unique_ptr<sdbus::IConnection> connection;
  try {
    connection = sdbus::createSessionBusConnectionWithAddress(address);
  } catch (const sdbus::Error& error) {
    throw std::runtime_error(
        "the private bus does not answer: start it by benchtv process start bus [" +
        error.getMessage() + "]");
  }
  try {
    connection->setMethodCallTimeout(kAnswer);
    Control control(*connection);
    return body(control);
  } catch (const sdbus::Error& error) {
    throw explained(error);
  }
}

}  // namespace

Json::Value ControlLink::status() const {
  return parseJson(onSet(address, [](Control& set) { return set.Status(); }));
}

std::vector<Setting> ControlLink::settings() const {
  std::vector<Setting> settings;
  for (const auto& row : onSet(address, [](Control& set) { return set.ListSettings(); })) {
    settings.push_back({row.get<0>(), row.get<1>(), parseJson(row.get<2>())});
  }
  return settings;
}

Json::Value ControlLink::setting(const std::string& key) const {
  return parseJson(onSet(address, [&](Control& set) { return set.GetSetting(key); }));
}

void ControlLink::setSetting(const std::string& key, const Json::Value& value) const {
  onSet(address, [&](Control& set) { set.SetSetting(key, jsonText(value)); });
}

std::int32_t ControlLink::sendRecord(const BusRecord& record, std::int32_t type,
                                     bool synchronous) const {
  std::vector<sdbus::Struct<bool, Bytes>> fields;
  for (const auto& field : record) {
    fields.emplace_back(field.has_value(), bytesOf(field.value_or("")));
  }
  return onSet(address, [&](Control& set) { return set.SendRecord(type, synchronous, fields); });
}

std::uint64_t ControlLink::callApp(const std::string& app, const std::string& operation,
                                   const std::vector<std::string>& texts,
                                   std::int32_t reason) const {
  std::vector<Bytes> all;
  for (const std::string& text : texts) {
    all.push_back(bytesOf(text));
  }
  return onSet(address, [&](Control& set) { return set.CallApp(app, operation, all, reason); });
}

std::uint64_t ControlLink::pressKey(const std::string& key) const {
  return onSet(address, [&](Control& set) { return set.Key(key); });
}

void ControlLink::power(const std::string& state, std::int32_t reason) const {
  onSet(address, [&](Control& set) { set.Power(state, reason); });
}

void ControlLink::startProcess(const std::string& process) const {
  onSet(address, [&](Control& set) { set.StartProcess(process); });
}

void ControlLink::setFault(const std::string& fault, const std::string& target,
                           std::int32_t value) const {
  onSet(address, [&](Control& set) { set.SetFault(fault, target, value); });
}

void ControlLink::clearFault(const std::string& fault, const std::string& target) const {
  onSet(address, [&](Control& set) { set.ClearFault(fault, target); });
}

std::vector<Fault> ControlLink::faults() const {
  std::vector<Fault> faults;
  for (const auto& row : onSet(address, [](Control& set) { return set.ListFaults(); })) {
    faults.push_back({row.get<0>(), row.get<1>(), row.get<2>()});
  }
  return faults;
}

void ControlLink::setMarker(const std::string& path, bool present) const {
  onSet(address, [&](Control& set) { set.SetMarker(path, present); });
}

}  // namespace benchtv
