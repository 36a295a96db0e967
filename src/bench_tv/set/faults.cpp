#include "set/faults.h"

#include <charconv>

#include "model/setting_keys.h"
#include "set/refusal.h"

namespace benchtv {
namespace {

enum class Values {
  kStatus,          // anything but 0
  kNegativeStatus,  // below 0
  kSwitch,          // 1
};

struct Row {
  const char* name;
  bool takesKey;
  Values values;
};

// clang-format off
constexpr Row kRows[] = {
    {fault::kSettingRead,      true,  Values::kStatus},
    {fault::kSettingWrite,     true,  Values::kStatus},
    {fault::kSettingConnect,   true,  Values::kStatus},
    {fault::kBusInit,          false, Values::kNegativeStatus},
    {fault::kBusSend,          false, Values::kNegativeStatus},
    {fault::kBusInject,        false, Values::kNegativeStatus},
    {fault::kApmMissing,       false, Values::kSwitch},
    {fault::kDaemonHang,       false, Values::kSwitch},
    {fault::kDaemonNeverReady, false, Values::kSwitch},
};
// clang-format on

const Row& rowOf(const std::string& name) {
  std::string names;
  for (const Row& row : kRows) {
    if (name == row.name) {
      return row;
    }
    names += (names.empty() ? "" : ", ") + std::string(row.name);
  }
  throw Refusal("no fault \"" + name + "\": there are " + names);
}

void checkTarget(const Row& row, const std::string& target) {
  if (!row.takesKey && !target.empty()) {
    throw Refusal(std::string("the fault ") + row.name + " takes no settings key");
  }
  if (row.takesKey && target.empty()) {
    throw Refusal(std::string("the fault ") + row.name + " needs a settings key");
  }
  if (row.takesKey && !findSettingKey(target) && target != kSendKeyAction) {
    throw Refusal("no settings key \"" + target + "\": see the list of settings");
  }
}

void checkValue(const Row& row, int value) {
  if (row.values == Values::kStatus && value == 0) {
    throw Refusal(std::string("the status of ") + row.name + " must not be 0, which is success");
  }
  if (row.values == Values::kNegativeStatus && value >= 0) {
    throw Refusal(std::string("the status of ") + row.name + " must be below 0");
  }
  if (row.values == Values::kSwitch && value != 1) {
    throw Refusal(std::string("the fault ") + row.name + " is set with 1");
  }
}

}  // namespace

void Faults::set(const std::string& fault, const std::string& target, int value) {
  const Row& row = rowOf(fault);
  checkTarget(row, target);
  checkValue(row, value);
  active[{fault, target}] = value;
  journal.write(kind::kFault,
                {{"op", "set"}, {"fault", fault}, {"target", target}, {"value", value}});
  changed();
}

void Faults::setFromText(const std::string& text) {
  const std::size_t equals = text.rfind('=');
  int value = 0;
  const char* const end = text.data() + text.size();
  if (equals == std::string::npos ||
      std::from_chars(text.data() + equals + 1, end, value).ptr != end ||
      equals + 1 == text.size()) {
    throw Refusal("a fault is given as NAME=VALUE or NAME:KEY=VALUE, not \"" + text + "\"");
  }
  const std::string name = text.substr(0, equals);
  const std::size_t colon = name.find(':');
  set(name.substr(0, colon), colon == std::string::npos ? "" : name.substr(colon + 1), value);
}

void Faults::clear(const std::string& fault, const std::string& target) {
  if (!fault.empty()) {
    rowOf(fault);
  }
  if (fault.empty() && !target.empty()) {
    throw Refusal("a settings key alone clears nothing: name the fault too");
  }
  for (auto at = active.begin(); at != active.end();) {
    const auto& [name, key] = at->first;
    const bool meant = (fault.empty() || fault == name) && (target.empty() || target == key);
    if (!meant) {
      ++at;
      continue;
    }
    journal.write(kind::kFault,
                  {{"op", "clear"}, {"fault", name}, {"target", key}, {"value", at->second}});
    at = active.erase(at);
  }
  changed();
}

int Faults::value(const std::string& fault, const std::string& target) const {
  const auto found = active.find({fault, target});
  return found == active.end() ? 0 : found->second;
}

std::vector<Faults::Active> Faults::list() const {
  std::vector<Active> all;
  for (const auto& [which, value] : active) {
    all.emplace_back(which.first, which.second, value);
  }
  return all;
}

}  // namespace benchtv
