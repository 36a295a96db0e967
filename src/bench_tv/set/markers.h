// Markers: the empty files by which the parts of a set tell each other that something is so.
#pragma once

#include <set>
#include <string>

#include "set/journal.h"

namespace benchtv {

inline constexpr char kBizReadyMarker[] = "/var/run/BIZREADY2";
inline constexpr char kEnableMarker[] = "/var/local/enable_airplay";
inline constexpr char kDisableMarker[] = "/var/local/disable_airplay";
inline constexpr char kDaemonReadyMarker[] = "/tmp/semaphore_ipc";

class Markers {
 public:
  explicit Markers(Journal& setJournal) : journal(setJournal) {}

  // Makes or removes the file |path|; does nothing where it is so already. Throws Refusal for a
  // path that is no marker of the set, and where the file system does not allow it.
  void set(const std::string& path, bool present);

  // Removes those that set() has made.
  void removeMade();

 private:
  Journal& journal;
  std::set<std::string> made;
};

}  // namespace benchtv
