// SetOptions: how a set is to be started, as its command line says.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace benchtv {

struct SetOptions {
  std::filesystem::path runFolder;
  std::filesystem::path stateFolder;
  std::filesystem::path product;
  std::filesystem::path standIns;        // holds airplaydemo, and mdnsd where there is no real one
  std::filesystem::path mdnsd;           // the real responder; empty: the stand-in
  std::filesystem::path mdnsdLibraries;  // where it has them; empty: the machine's own
  std::string interface;                 // the network interface that it announces on
  std::optional<double> bizReady = 0;    // seconds from the start of the set; nothing: never
  std::vector<std::string> markers;
  std::vector<std::string> faults;
  std::string busAddress;
};

}  // namespace benchtv
