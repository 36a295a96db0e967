// StandInLink: a person's hand on a stand-in program of a running set.
#pragma once

#include <json/value.h>

#include <string>
#include <utility>

#include "control/run_folder.h"

namespace benchtv {

// Every call opens a connection of its own and waits for three seconds at most. Throws
// std::runtime_error with what is wrong and what to do about it.
class StandInLink {
 public:
  // |process| is "airplaydemo", which plays the phones, "launcher", the TV's UI, or "AirPlayApp".
  StandInLink(const RunFolder& run, std::string process)
      : address(run.busAddress()), name(std::move(process)) {}

  // Returns when it is done and in the journal.
  void perform(const std::string& verb, const std::string& argument = "") const;

  Json::Value state() const;

 private:
  std::string address;
  std::string name;
};

}  // namespace benchtv
