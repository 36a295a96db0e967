// ControlLink: the calls of tv.benchtv.Control1 on a running set.
#pragma once

#include <json/value.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "control/run_folder.h"

namespace benchtv {

struct Setting {
  std::string key;
  std::string kind;   // "i32", "str" or "vstr"
  Json::Value value;  // null for a key that the product leaves out
};

struct Fault {
  std::string name;
  std::string target;  // a settings key where the fault takes one, else empty
  std::int32_t value = 0;
};

// src, ack, dest, cmd, para; an absent text is null, which is not the empty one.
using BusRecord = std::array<std::optional<std::string>, 5>;

// Every call opens a connection of its own, so that it does not matter what has been restarted in
// between, and waits for two seconds at most. Throws std::runtime_error with what is wrong and what
// to do about it.
class ControlLink {
 public:
  explicit ControlLink(const RunFolder& run) : address(run.busAddress()) {}

  Json::Value status() const;

  std::vector<Setting> settings() const;
  Json::Value setting(const std::string& key) const;
  void setSetting(const std::string& key, const Json::Value& value) const;

  // The status that a sender would have got.
  std::int32_t sendRecord(const BusRecord& record, std::int32_t type = 0,
                          bool synchronous = false) const;

  // Has an operation of a registered application's callback interface called; returns the id by
  // which the journal knows the call.
  std::uint64_t callApp(const std::string& app, const std::string& operation,
                        const std::vector<std::string>& texts, std::int32_t reason = 0) const;

  // Has the remote control's key, a name or a code, arrive at the service; the id as above.
  std::uint64_t pressKey(const std::string& key) const;

  // |state| is suspend, resume, standby or on; |reason| is for the first two, 2 being the one that
  // counts.
  void power(const std::string& state, std::int32_t reason = 2) const;

  // "mdnsd", "airplaydemo" or "launcher", which must not run.
  void startProcess(const std::string& process) const;

  void setFault(const std::string& fault, const std::string& target, std::int32_t value) const;
  void clearFault(const std::string& fault = "", const std::string& target = "") const;
  std::vector<Fault> faults() const;

  void setMarker(const std::string& path, bool present) const;

 private:
  std::string address;
};

}  // namespace benchtv
