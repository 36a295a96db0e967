// The words of the life-cycle list, the value of keys::kAirPlayStatus: its first element is the
// state, the second who caused it.
#pragma once

namespace norvale::life_cycle {

// States.
inline constexpr char kStarting[] = "starting";
inline constexpr char kStarted[] = "started";
inline constexpr char kStopping[] = "stopping";
inline constexpr char kStopped[] = "stopped";

// What an empty list counts as.
inline constexpr char kEmpty[] = "empty";

// Origins. A launch parameter may stand here too, or nothing.
inline constexpr char kNorvaleUI[] = "NorvaleUI";
inline constexpr char kDaemon[] = "Daemon";
inline constexpr char kCurrentSource[] = "currentSource";

}  // namespace norvale::life_cycle
