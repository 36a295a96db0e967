#include "set/command_bus.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>

namespace benchtv {
namespace {

constexpr std::size_t kEventSize = 76;
constexpr std::size_t kKeyCodeAt = 24;

Json::Value fieldJson(const Field& field) { return field ? Json::Value(*field) : Json::Value(); }

bool hasNul(const Record& record) {
  for (const Field* field : {&record.src, &record.ack, &record.dest, &record.cmd, &record.para}) {
    if (*field && (*field)->find('\0') != std::string::npos) {
      return true;
    }
  }
  return false;
}

}  // namespace

CommandBus::CommandBus(const Faults& setFaults, Journal& setJournal, IOutlet& setOutlet)
    : faults(setFaults), journal(setJournal), outlet(setOutlet) {}

int CommandBus::join(const std::string& name, const std::string& client) {
  int status = faults.value(fault::kBusInit);
  if (status == 0 && name.empty()) {
    status = -EINVAL;
  }
  if (status == 0 && name == kAppManagerName) {
    status = -EBUSY;
  }
  if (status == 0) {
    holders[name] = client;
  }
  journal.write(kind::kBus, {{"op", "join"}, {"src", name}, {"status", status}});
  return status;
}

void CommandBus::leave(const std::string& name) {
  if (holders.erase(name) > 0) {
    journal.write(kind::kBus, {{"op", "leave"}, {"src", name}});
  }
}

int CommandBus::send(const std::string& client, int type, bool synchronous, const Record& record) {
  int refusal = faults.value(fault::kBusSend);
  if (!hasJoined(client)) {
    refusal = -ENOTCONN;
  }
  return send(type, synchronous, record, refusal);
}

int CommandBus::sendAsBench(int type, bool synchronous, const Record& record) {
  return send(type, synchronous, record, 0);
}

int CommandBus::send(int type, bool synchronous, const Record& record, int refusal) {
  const Field& to = record.dest ? record.dest : record.ack;
  const bool held = to && (*to == kAppManagerName || holders.count(*to) > 0);
  int status = refusal;
  if (status == 0 && hasNul(record)) {
    status = -EINVAL;
  }
  if (status == 0 && !held) {
    status = -ENOENT;
  }
  journal.write(kind::kBus, {{"op", "send"},
                             {"type", type},
                             {"sync", synchronous},
                             {"src", fieldJson(record.src)},
                             {"ack", fieldJson(record.ack)},
                             {"dest", fieldJson(record.dest)},
                             {"cmd", fieldJson(record.cmd)},
                             {"para", fieldJson(record.para)},
                             {"to", fieldJson(to)},
                             {"status", status}});
  if (status == 0) {
    deliver(type, synchronous, record, *to);
  }
  return status;
}

void CommandBus::deliver(int type, bool synchronous, const Record& record,
                         const std::string& addressee) {
  Record delivered = record;
  delivered.dest = addressee;
  if (addressee == kAppManagerName) {
    // Types other than 0 are notices, not commands.
    if (type == 0) {
      forAppManager(delivered);
    }
    return;
  }
  outlet.delivered(holders.at(addressee), type, synchronous, delivered);
}

int CommandBus::inject(const std::string& client, const std::string& event) {
  std::int32_t code = 0;
  int status = faults.value(fault::kBusInject);
  if (event.size() == kEventSize) {
    std::memcpy(&code, event.data() + kKeyCodeAt, sizeof code);
  } else {
    status = -EINVAL;
  }
  if (!hasJoined(client)) {
    status = -ENOTCONN;
  }
  journal.write(kind::kKey, {{"code", code}, {"status", status}});
  return status;
}

void CommandBus::clientGone(const std::string& client) {
  for (const std::string& name : names()) {
    if (holders.at(name) == client) {
      leave(name);
    }
  }
}

std::vector<std::string> CommandBus::names() const {
  std::vector<std::string> all;
  for (const auto& [name, client] : holders) {
    all.push_back(name);
  }
  return all;
}

bool CommandBus::hasJoined(const std::string& client) const {
  return std::any_of(holders.begin(), holders.end(),
                     [&](const auto& holder) { return holder.second == client; });
}

}  // namespace benchtv
