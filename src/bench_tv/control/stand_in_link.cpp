#include "control/stand_in_link.h"

#include <sdbus-c++/sdbus-c++.h>

#include <chrono>
#include <stdexcept>

#include "bus_protocol/StandIn1_proxy.h"
#include "bus_protocol/bus_names.h"
#include "model/value.h"

namespace benchtv {

namespace {

constexpr std::chrono::seconds kAnswer{3};

class StandIn final : public sdbus::ProxyInterfaces<::tv::benchtv::StandIn1_proxy> {
 public:
  StandIn(sdbus::IConnection& connection, const std::string& name)
      : ProxyInterfaces(connection, kStandInPrefix + name, kStandInPath) {
    registerProxy();
  }
  ~StandIn() { unregisterProxy(); }
};

std::string howToStart(const std::string& name) {
  if (name == "AirPlayApp") {
    return "it is started by a session: phone connect, then ui accept";
  }
  return "benchtv process start " + name;
}

std::runtime_error explained(const std::string& name, const sdbus::Error& error) {
  const std::string& what = error.getName();
  if (what == kRefusedError) {
    return std::runtime_error(error.getMessage());
  }
  if (what == "org.freedesktop.DBus.Error.ServiceUnknown" ||
      what == "org.freedesktop.DBus.Error.NameHasNoOwner") {
    return std::runtime_error(name + " does not run: " + howToStart(name));
  }
  if (what == "org.freedesktop.DBus.Error.NoReply" ||
      what == "org.freedesktop.DBus.Error.Timeout") {
    return std::runtime_error(name + " gave no answer: it hangs, or ended while it was asked");
  }
  if (what == "org.freedesktop.DBus.Error.InvalidArgs") {
    return std::runtime_error("a stand-in is told in UTF-8; benchtv bus send takes any bytes");
  }
  return std::runtime_error(name + ": " + error.getMessage());
}

template <class Body>
auto onStandIn(const std::string& address, const std::string& name, const Body& body) {
  try {
    const auto connection = sdbus::createSessionBusConnectionWithAddress(address);
    connection->setMethodCallTimeout(kAnswer);
    StandIn standIn(*connection, name);
    return body(standIn);
  } catch (const sdbus::Error& error) {
    throw explained(name, error);
  }
}

}  // namespace

void StandInLink::perform(const std::string& verb, const std::string& argument) const {
  onStandIn(address, name, [&](StandIn& standIn) { standIn.Do(verb, argument); });
}

Json::Value StandInLink::state() const {
  return parseJson(onStandIn(address, name, [](StandIn& standIn) { return standIn.State(); }));
}

}  // namespace benchtv
