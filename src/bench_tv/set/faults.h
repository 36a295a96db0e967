// Faults: what is asked to go wrong on the set.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "set/journal.h"

namespace benchtv {

namespace fault {
inline constexpr char kSettingRead[] = "setting-read";
inline constexpr char kSettingWrite[] = "setting-write";
inline constexpr char kSettingConnect[] = "setting-connect";
inline constexpr char kBusInit[] = "bus-init";
inline constexpr char kBusSend[] = "bus-send";
inline constexpr char kBusInject[] = "bus-inject";
inline constexpr char kApmMissing[] = "apm-missing";
inline constexpr char kDaemonHang[] = "daemon-hang";
inline constexpr char kDaemonNeverReady[] = "daemon-never-ready";
}  // namespace fault

class Faults {
 public:
  using Active = std::tuple<std::string, std::string, int>;  // fault, target, value

  explicit Faults(Journal& setJournal) : journal(setJournal) {}

  // Throws Refusal when there is no such fault, or target or value do not fit it.
  void set(const std::string& fault, const std::string& target, int value);

  // "NAME[:TARGET]=VALUE". Throws Refusal.
  void setFromText(const std::string& text);

  // An empty |fault| clears all, an empty |target| all targets. Throws Refusal when there is no
  // such fault.
  void clear(const std::string& fault, const std::string& target);

  // 0 when the fault is not in force.
  int value(const std::string& fault, const std::string& target = "") const;

  std::vector<Active> list() const;

  // Called after every change.
  void whenChanged(std::function<void()> handler) { changed = std::move(handler); }

 private:
  Journal& journal;
  std::map<std::pair<std::string, std::string>, int> active;
  std::function<void()> changed = [] {};
};

}  // namespace benchtv
