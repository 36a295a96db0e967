// The command bus, as the set's D-Bus interface CommandBus1.
#include "gam_client.h"

#include <array>
#include <cerrno>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "bus_bytes.h"
#include "bus_link.h"
#include "bus_protocol/CommandBus1_proxy.h"
#include "bus_protocol/bus_names.h"
#include "callback_thread.h"
#include "host_log.h"

namespace {

using host_platform::BusLink;
using host_platform::Bytes;
using host_platform::CallbackThread;
using host_platform::hostLog;
using host_platform::kCallTimeout;

// A record as it travels: whether a field is there, and its bytes.
using WireField = sdbus::Struct<bool, Bytes>;
using WireRecord = std::vector<WireField>;

constexpr std::size_t kFields = 5;
using Record = std::array<std::optional<std::string>, kFields>;

WireRecord toWire(const GAM_Message& message) {
  WireRecord wire;
  for (const char* field : {message.src, message.ack, message.dest, message.cmd, message.para}) {
    wire.emplace_back(field != nullptr, field ? host_platform::toBytes(field) : Bytes());
  }
  return wire;
}

Record toRecord(const WireRecord& wire) {
  Record record;
  for (std::size_t i = 0; i < kFields; ++i) {
    if (wire[i].get<0>()) {
      record[i] = host_platform::toText(wire[i].get<1>());
    }
  }
  return record;
}

const char* pointerTo(const std::optional<std::string>& field) {
  return field ? field->c_str() : nullptr;
}

// This process's membership of the bus.
struct Membership {
  GAM_Callbacks callbacks;
  std::string name;
};

class GamClient final : public host_platform::LinkUser {
 public:
  GamClient() { link.start(); }

  int join(const GAM_Callbacks& callbacks, const std::string& name);
  int send(const GAM_Message& message);
  int inject(const GAM_KeyEvent& event);
  int leave();

  void awaitFirstAttempt() { link.awaitFirstAttempt(); }
  void delivered(int type, bool synchronous, const WireRecord& wire);

  // LinkUser:
  std::unique_ptr<host_platform::SetProxy> makeCaller(sdbus::IConnection& connection) override;
  std::unique_ptr<host_platform::SetProxy> makeListener(sdbus::IConnection& connection) override;
  bool restore() override;
  void setLost() override {}

 private:
  int callJoin(const std::string& name);
  std::shared_ptr<const Membership> currentMembership();

  std::mutex mutex;
  std::shared_ptr<const Membership> membership;  // null: not joined

  BusLink& link = *new BusLink(*this, "command bus", "nothing can be sent and nothing arrives");
  CallbackThread& callbackThread = *new CallbackThread("gam callback");
};

class CommandBusProxy final : public host_platform::SetProxy,
                              public sdbus::ProxyInterfaces<tv::benchtv::CommandBus1_proxy> {
 public:
  CommandBusProxy(sdbus::IConnection& connection, GamClient& gamClient)
      : ProxyInterfaces(connection, benchtv::kSetName, benchtv::kSetPath), client(gamClient) {}
  ~CommandBusProxy() override { unregisterProxy(); }

 private:
  void onDelivered(const std::int32_t& type, const bool& synchronous,
                   const WireRecord& record) override {
    try {
      client.delivered(type, synchronous, record);
    } catch (const std::exception& error) {
      hostLog().warn("command bus: a message is lost: {}", error.what());
    }
  }

  GamClient& client;
};

GamClient& gamClient() {
  static GamClient& client = *new GamClient;
  client.awaitFirstAttempt();
  return client;
}

std::unique_ptr<host_platform::SetProxy> GamClient::makeCaller(sdbus::IConnection& connection) {
  return std::make_unique<CommandBusProxy>(connection, *this);
}

std::unique_ptr<host_platform::SetProxy> GamClient::makeListener(sdbus::IConnection& connection) {
  auto proxy = std::make_unique<CommandBusProxy>(connection, *this);
  proxy->registerProxy();
  return proxy;
}

bool GamClient::restore() {
  const auto mine = currentMembership();
  return !mine || callJoin(mine->name) >= 0;
}

int GamClient::callJoin(const std::string& name) {
  return link.call<CommandBusProxy>(
      kCallTimeout,
      [&](CommandBusProxy& bus, const std::string& client) { return bus.Join(name, client); });
}

std::shared_ptr<const Membership> GamClient::currentMembership() {
  const std::lock_guard<std::mutex> lock(mutex);
  return membership;
}

int GamClient::join(const GAM_Callbacks& callbacks, const std::string& name) {
  const auto mine = std::make_shared<const Membership>(Membership{callbacks, name});
  {
    const std::lock_guard<std::mutex> lock(mutex);
    if (membership) {
      return -EALREADY;
    }
    membership = mine;  // first: the first message may be here before the answer
  }
  const int status = callJoin(name);
  if (status < 0) {
    {
      const std::lock_guard<std::mutex> lock(mutex);
      if (membership == mine) {
        membership = nullptr;
      }
    }
    callbackThread.cancel(mine.get());
  }
  return status;
}

int GamClient::send(const GAM_Message& message) {
  if (!currentMembership()) {
    return -ENOTCONN;
  }
  const WireRecord wire = toWire(message);
  return link.call<CommandBusProxy>(kCallTimeout,
                                    [&](CommandBusProxy& bus, const std::string& client) {
                                      return bus.Send(client, 0, false, wire);
                                    });
}

int GamClient::inject(const GAM_KeyEvent& event) {
  if (!currentMembership()) {
    return -ENOTCONN;
  }
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(&event);
  const Bytes wire(bytes, bytes + sizeof event);
  return link.call<CommandBusProxy>(
      kCallTimeout,
      [&](CommandBusProxy& bus, const std::string& client) { return bus.Inject(client, wire); });
}

int GamClient::leave() {
  std::shared_ptr<const Membership> mine;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    mine.swap(membership);
  }
  if (!mine) {
    return -ENOTCONN;
  }
  const int status = link.call<CommandBusProxy>(
      kCallTimeout, [&](CommandBusProxy& bus, const std::string& /*client*/) {
        bus.Leave(mine->name);
        return 0;
      });
  callbackThread.cancel(mine.get());
  return status;
}

void GamClient::delivered(int type, bool synchronous, const WireRecord& wire) {
  if (wire.size() != kFields) {
    hostLog().warn("command bus: a record with {} fields instead of {} is dropped", wire.size(),
                   kFields);
    return;
  }
  const std::lock_guard<std::mutex> lock(mutex);  // against leave(): nothing is posted after it
  if (!membership) {
    return;
  }
  callbackThread.post(membership.get(), [mine = membership, type, synchronous,
                                         record = toRecord(wire)] {
    const GAM_Callback callback = synchronous ? mine->callbacks.onSync : mine->callbacks.onAsync;
    const GAM_Message message{pointerTo(record[0]), pointerTo(record[1]), pointerTo(record[2]),
                              pointerTo(record[3]), pointerTo(record[4])};
    if (callback) {
      (void)callback(type, &message);
    }
  });
}

}  // namespace

int GAM_ClientInit(const GAM_Callbacks* callbacks, const char* name) {
  if (!callbacks || !name || !host_platform::isBusText(name)) {
    return -EINVAL;
  }
  return gamClient().join(*callbacks, name);
}

int GAM_SendCmd(const GAM_Message* message) {
  return message ? gamClient().send(*message) : -EINVAL;
}

int GAM_InjectInputEvent(const GAM_KeyEvent* event, int size) {
  if (!event || size != static_cast<int>(sizeof *event)) {
    return -EINVAL;
  }
  return gamClient().inject(*event);
}

int GAM_ClientUninit() { return gamClient().leave(); }
