#include "bus_member.h"

#include <poll.h>

#include <stdexcept>

#include "bus_protocol/CommandBus1_proxy.h"
#include "bus_protocol/bus_names.h"

namespace desk {

namespace {

using Bytes = std::vector<std::uint8_t>;
using WireRecord = std::vector<sdbus::Struct<bool, Bytes>>;

constexpr int kPatienceMillis = 90'000;  // below ctest's

WireRecord toWire(const benchtv::BusRecord& record) {
  WireRecord wire;
  for (const auto& field : record) {
    const std::string text = field.value_or("");
    wire.emplace_back(field.has_value(), Bytes(text.begin(), text.end()));
  }
  return wire;
}

benchtv::BusRecord fromWire(const WireRecord& wire) {
  benchtv::BusRecord record;
  for (std::size_t i = 0; i < record.size(); ++i) {
    const Bytes& bytes = wire.at(i).get<1>();
    if (wire.at(i).get<0>()) record[i] = std::string(bytes.begin(), bytes.end());
  }
  return record;
}

}  // namespace

class BusMember::Proxy final : public sdbus::ProxyInterfaces<tv::benchtv::CommandBus1_proxy> {
 public:
  Proxy(sdbus::IConnection& connection, std::deque<Delivery>& deliveries)
      : ProxyInterfaces(connection, benchtv::kSetName, benchtv::kSetPath), received(deliveries) {
    registerProxy();
  }
  ~Proxy() { unregisterProxy(); }

 private:
  void onDelivered(const std::int32_t& type, const bool& synchronous,
                   const WireRecord& record) override {
    received.push_back({type, synchronous, fromWire(record)});
  }

  std::deque<Delivery>& received;
};

bool operator==(const Delivery& a, const Delivery& b) {
  return a.type == b.type && a.synchronous == b.synchronous && a.record == b.record;
}

void PrintTo(const Delivery& delivery, std::ostream* out) {
  *out << "type " << delivery.type << (delivery.synchronous ? ", synchronous" : "");
  for (const auto& field : delivery.record) *out << ", " << (field ? '"' + *field + '"' : "null");
}

BusMember::BusMember(const benchtv::RunFolder& run, const std::string& name)
    : connection(sdbus::createSessionBusConnectionWithAddress(run.busAddress())),
      proxy(std::make_unique<Proxy>(*connection, received)) {
  if (proxy->Join(name, connection->getUniqueName()) != 0)
    throw std::runtime_error("the command bus refuses " + name);
}

BusMember::~BusMember() = default;

int BusMember::sends(const benchtv::BusRecord& record, int type, bool synchronous) {
  return proxy->Send(connection->getUniqueName(), type, synchronous, toWire(record));
}

Delivery BusMember::receives() {
  while (received.empty()) {
    if (connection->processPendingRequest()) continue;
    const auto wait = connection->getEventLoopPollData();
    pollfd readable{wait.fd, wait.events, 0};
    if (poll(&readable, 1, kPatienceMillis) == 0)
      throw std::runtime_error("no record came over the command bus");
  }
  Delivery first = received.front();
  received.pop_front();
  return first;
}

}  // namespace desk
