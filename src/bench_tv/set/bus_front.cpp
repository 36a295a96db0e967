#include "set/bus_front.h"

#include <sdbus-c++/sdbus-c++.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <map>
#include <optional>
#include <stdexcept>
#include <tuple>
#include <utility>

#include "bus_protocol/AppManager1_adaptor.h"
#include "bus_protocol/CommandBus1_adaptor.h"
#include "bus_protocol/Control1_adaptor.h"
#include "bus_protocol/Settings1_adaptor.h"
#include "bus_protocol/bus_names.h"
#include "model/setting_keys.h"
#include "set/refusal.h"
#include "set/tv_set.h"

namespace benchtv {
namespace {

using Bytes = std::vector<std::uint8_t>;
using WireRecord = std::vector<sdbus::Struct<bool, Bytes>>;

constexpr std::size_t kFieldsInRecord = 5;
constexpr char kFailedError[] = "tv.benchtv.Error.Failed";
constexpr char kDaemonName[] = "org.freedesktop.DBus";
constexpr char kDaemonPath[] = "/org/freedesktop/DBus";
constexpr auto kDaemonTimeout = std::chrono::seconds(2);

// So that a busy client does not keep the set from its processes.
constexpr int kMessagesAtOnce = 64;

std::string fromWire(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }
Bytes toWire(const std::string& text) { return {text.begin(), text.end()}; }

Texts fromWire(const std::vector<Bytes>& list) {
  Texts texts;
  for (const Bytes& bytes : list) {
    texts.push_back(fromWire(bytes));
  }
  return texts;
}

std::vector<Bytes> toWire(const Texts& texts) {
  std::vector<Bytes> list;
  for (const std::string& text : texts) {
    list.push_back(toWire(text));
  }
  return list;
}

Record fromWire(const WireRecord& wire) {
  if (wire.size() != kFieldsInRecord) {
    throw Refusal("a record has five fields, not " + std::to_string(wire.size()));
  }
  const auto field = [&](std::size_t i) {
    return wire[i].get<0>() ? Field(fromWire(wire[i].get<1>())) : Field();
  };
  return {field(0), field(1), field(2), field(3), field(4)};
}

WireRecord toWire(const Record& record) {
  WireRecord wire;
  for (const Field* field : {&record.src, &record.ack, &record.dest, &record.cmd, &record.para}) {
    wire.emplace_back(field->has_value(), toWire(field->value_or("")));
  }
  return wire;
}

sdbus::Variant toWire(const Value& value) {
  if (const auto* number = std::get_if<std::int32_t>(&value)) {
    return *number;
  }
  if (const auto* text = std::get_if<std::string>(&value)) {
    return toWire(*text);
  }
  return toWire(std::get<Texts>(value));
}

// Nothing for a type that no setting has, and for a text with a NUL.
std::optional<Value> fromWire(const sdbus::Variant& wire) {
  if (wire.containsValueOfType<std::int32_t>()) {
    return wire.get<std::int32_t>();
  }
  Texts texts;
  const bool isText = wire.containsValueOfType<Bytes>();
  if (isText) {
    texts.push_back(fromWire(wire.get<Bytes>()));
  } else if (wire.containsValueOfType<std::vector<Bytes>>()) {
    texts = fromWire(wire.get<std::vector<Bytes>>());
  } else {
    return std::nullopt;
  }
  for (const std::string& text : texts) {
    if (text.find('\0') != std::string::npos) {
      return std::nullopt;
    }
  }
  if (isText) {
    return texts.front();
  }
  return texts;
}

}  // namespace

// The object on the bus. Each handler says what the model does; guarded() turns what the model
// throws into a D-Bus error, so that nothing leaves a handler that would end the process.
class SetObject : public sdbus::AdaptorInterfaces<
                      tv::benchtv::Settings1_adaptor, tv::benchtv::CommandBus1_adaptor,
                      tv::benchtv::AppManager1_adaptor, tv::benchtv::Control1_adaptor> {
 public:
  SetObject(sdbus::IConnection& connection, BusFront& busFront, TvSet& tvSet)
      : AdaptorInterfaces(connection, kSetPath), front(busFront), set(tvSet) {
    registerAdaptor();
  }
  virtual ~SetObject() { unregisterAdaptor(); }

  template <class... Arguments>
  void emitTo(const std::string& client, const char* interface, const char* name,
              const Arguments&... arguments) {
    sdbus::Signal signal = getObject().createSignal(interface, name);
    (signal << ... << arguments);
    signal.setDestination(client);
    getObject().emitSignal(signal);
  }

 private:
  // Settings1:
  std::tuple<std::int32_t, sdbus::Variant> Read(const std::string& key) override {
    return guarded([&] {
      Value value = 0;
      const std::int32_t status = set.settings.read(key, value);
      return std::make_tuple(status, toWire(value));
    });
  }

  std::int32_t Write(const std::string& key, const sdbus::Variant& value) override {
    return guarded([&] {
      const auto parsed = fromWire(value);
      return parsed ? set.settings.write(key, *parsed, Writer::kService) : -EINVAL;
    });
  }

  std::int32_t Observe(const std::string& key, const std::string& client) override {
    return guarded([&] {
      front.expect(client);
      return set.settings.observe(key, client);
    });
  }

  std::int32_t Invoke(const std::string& key, const std::string& client,
                      const std::vector<Bytes>& texts) override {
    return guarded([&] {
      front.expect(client);
      return set.settings.invoke(key, client, fromWire(texts));
    });
  }

  // CommandBus1:
  std::int32_t Join(const std::string& name, const std::string& client) override {
    return guarded([&] {
      front.expect(client);
      return set.bus.join(name, client);
    });
  }

  void Leave(const std::string& name) override {
    guarded([&] { set.bus.leave(name); });
  }

  std::int32_t Send(const std::string& client, const std::int32_t& type, const bool& synchronous,
                    const WireRecord& record) override {
    return guarded([&] { return set.bus.send(client, type, synchronous, fromWire(record)); });
  }

  std::int32_t Inject(const std::string& client, const Bytes& event) override {
    return guarded([&] { return set.bus.inject(client, fromWire(event)); });
  }

  // AppManager1:
  bool Attach(const std::string& client) override {
    return guarded([&] {
      front.expect(client);
      return set.apps.attach(client);
    });
  }

  std::int32_t Register(const std::string& app, const std::string& client) override {
    return guarded([&] {
      front.expect(client);
      return set.apps.registerApp(app, client);
    });
  }

  std::int32_t Unregister(const std::string& app) override {
    return guarded([&] { return set.apps.unregisterApp(app); });
  }

  std::int32_t SetAppStatus(const std::string& app, const std::int32_t& appStatus) override {
    return guarded([&] { return set.apps.setAppStatus(app, appStatus); });
  }

  std::int32_t SendMessage(const Bytes& source, const Bytes& target,
                           const Bytes& message) override {
    return guarded([&] {
      return set.apps.sendMessage(fromWire(source), fromWire(target), fromWire(message));
    });
  }

  void Answer(const std::uint64_t& id, const std::int32_t& result) override {
    guarded([&] { set.apps.answer(id, result); });
  }

  // Control1:
  std::string Status() override {
    return guarded([&] { return set.status(); });
  }

  std::vector<sdbus::Struct<std::string, std::string, std::string>> ListSettings() override {
    return guarded([&] {
      std::vector<sdbus::Struct<std::string, std::string, std::string>> all;
      for (const SettingKey& row : settingKeys()) {
        const Value* value = set.settings.find(row.key);
        all.emplace_back(row.key, kindWord(row.kind), value ? jsonText(toJson(*value)) : "null");
      }
      return all;
    });
  }

  std::string GetSetting(const std::string& key) override {
    return guarded([&] { return jsonText(toJson(known(key))); });
  }

  void SetSetting(const std::string& key, const std::string& json) override {
    guarded([&] {
      const Kind kind = kindOf(known(key));
      try {
        set.settings.write(key, parseValue(kind, json), Writer::kBench);
      } catch (const std::invalid_argument& wrong) {
        throw Refusal(key + ": " + wrong.what());
      }
    });
  }

  std::int32_t SendRecord(const std::int32_t& type, const bool& synchronous,
                          const WireRecord& record) override {
    return guarded([&] { return set.bus.sendAsBench(type, synchronous, fromWire(record)); });
  }

  std::uint64_t CallApp(const std::string& app, const std::string& operation,
                        const std::vector<Bytes>& texts, const std::int32_t& reason) override {
    return guarded([&] { return set.apps.call(app, operation, fromWire(texts), reason); });
  }

  std::uint64_t Key(const std::string& key) override {
    return guarded([&] { return set.pressKey(key); });
  }

  void Power(const std::string& state, const std::int32_t& reason) override {
    guarded([&] { set.power(state, reason); });
  }

  void StartProcess(const std::string& name) override {
    guarded([&] { set.manager.startByHand(name); });
  }

  void SetFault(const std::string& fault, const std::string& target,
                const std::int32_t& value) override {
    guarded([&] { set.faults.set(fault, target, value); });
  }

  void ClearFault(const std::string& fault, const std::string& target) override {
    guarded([&] { set.faults.clear(fault, target); });
  }

  std::vector<sdbus::Struct<std::string, std::string, std::int32_t>> ListFaults() override {
    return guarded([&] {
      std::vector<sdbus::Struct<std::string, std::string, std::int32_t>> all;
      for (const auto& [fault, target, value] : set.faults.list()) {
        all.emplace_back(fault, target, value);
      }
      return all;
    });
  }

  void SetMarker(const std::string& path, const bool& present) override {
    guarded([&] { set.markers.set(path, present); });
  }

  void Note(const std::string& lineKind,
            const std::map<std::string, std::string>& fields) override {
    guarded([&] { set.note(lineKind, fields); });
  }

  const Value& known(const std::string& key) const {
    if (const Value* value = set.settings.find(key)) {
      return *value;
    }
    if (findSettingKey(key)) {
      throw Refusal("the product " + set.product.name + " leaves out the key \"" + key + "\"");
    }
    throw Refusal("no settings key \"" + key + "\": see the list of settings");
  }

  template <class Function>
  auto guarded(const Function& function) -> decltype(function()) {
    try {
      return function();
    } catch (const Refusal& refused) {
      throw sdbus::Error(kRefusedError, refused.what());
    } catch (const sdbus::Error&) {
      throw;
    } catch (const std::exception& wrong) {
      set.journal.error("set", wrong.what());
      throw sdbus::Error(kFailedError, wrong.what());
    }
  }

  BusFront& front;
  TvSet& set;
};

BusFront::BusFront(std::string busAddress) : address(std::move(busAddress)) {}

BusFront::~BusFront() = default;

void BusFront::connect(TvSet& tvSet) {
  set = &tvSet;
  try {
    connection = sdbus::createSessionBusConnectionWithAddress(address);
    connection->setMethodCallTimeout(kDaemonTimeout);
    daemon = sdbus::createProxy(*connection, kDaemonName, kDaemonPath);
    daemon->uponSignal("NameOwnerChanged")
        .onInterface(kDaemonName)
        .call([this](const std::string& name, const std::string&, const std::string& owner) {
          if (owner.empty()) {
            gone(name);
          }
        });
    daemon->finishRegistration();
    object = std::make_unique<SetObject>(*connection, *this, tvSet);
    connection->requestName(kSetName);
  } catch (const sdbus::Error& error) {
    disconnect();
    throw std::runtime_error("cannot serve on the bus at " + address + " (" + error.getMessage() +
                             "): is it running, and no other set on it?");
  }
}

BusFront::Wait BusFront::wait() const {
  try {
    const auto data = connection->getEventLoopPollData();
    return {data.fd, data.events, outbox.empty() ? data.getPollTimeout() : 0};
  } catch (const sdbus::Error&) {
    // The connection has just been lost, which process() finds too.
    return {-1, 0, 0};
  }
}

void BusFront::process() {
  try {
    flush();
    for (int i = 0; i < kMessagesAtOnce && connection->processPendingRequest(); ++i) {
      flush();
    }
  } catch (const sdbus::Error& error) {
    std::fprintf(stderr, "benchtv_set: the bus is gone: %s\n", error.getMessage().c_str());
    disconnect();
  }
}

void BusFront::flush() {
  for (const auto& emit : std::exchange(outbox, {})) {
    emit(*object);
  }
}

void BusFront::disconnect() {
  object.reset();
  daemon.reset();
  connection.reset();
  outbox.clear();
  for (const std::string& client : std::exchange(clients, {})) {
    set->clientGone(client);
  }
}

void BusFront::expect(const std::string& client) {
  if (clients.count(client) > 0) {
    return;
  }
  bool present = false;
  daemon->callMethod("NameHasOwner")
      .onInterface(kDaemonName)
      .withArguments(client)
      .storeResultsTo(present);
  if (!present) {
    throw Refusal("the client \"" + client + "\" is not on the bus");
  }
  clients.insert(client);
}

void BusFront::gone(const std::string& client) {
  if (clients.erase(client) == 0) {
    return;
  }
  try {
    set->clientGone(client);
  } catch (const std::exception& wrong) {
    std::fprintf(stderr, "benchtv_set: %s\n", wrong.what());
  }
}

void BusFront::changed(const std::string& client, const std::string& key, const Value& value) {
  outbox.emplace_back([=](SetObject& to) {
    to.emitTo(client, tv::benchtv::Settings1_adaptor::INTERFACE_NAME, "Changed", key,
              toWire(value));
  });
}

void BusFront::actionDone(const std::string& client, const std::string& key, int status) {
  outbox.emplace_back([=](SetObject& to) {
    to.emitTo(client, tv::benchtv::Settings1_adaptor::INTERFACE_NAME, "ActionDone", key, status);
  });
}

void BusFront::delivered(const std::string& client, int type, bool synchronous,
                         const Record& record) {
  outbox.emplace_back([=](SetObject& to) {
    to.emitTo(client, tv::benchtv::CommandBus1_adaptor::INTERFACE_NAME, "Delivered", type,
              synchronous, toWire(record));
  });
}

void BusFront::availableChanged(const std::string& client, bool available) {
  outbox.emplace_back([=](SetObject& to) {
    to.emitTo(client, tv::benchtv::AppManager1_adaptor::INTERFACE_NAME, "AvailableChanged",
              available);
  });
}

void BusFront::callback(const std::string& client, std::uint64_t id, const std::string& app,
                        const std::string& operation, const Texts& texts, int reason) {
  outbox.emplace_back([=](SetObject& to) {
    to.emitTo(client, tv::benchtv::AppManager1_adaptor::INTERFACE_NAME, "Callback", id, app,
              operation, toWire(texts), reason);
  });
}

}  // namespace benchtv
