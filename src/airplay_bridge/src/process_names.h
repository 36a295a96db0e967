// Names of the processes that the service looks for.
#pragma once

namespace norvale::processes {

inline constexpr char kAirPlayDaemon[] = "airplaydemo";
inline constexpr char kMdnsd[] = "mdnsd";
inline constexpr char kAirPlayApp[] = "AirPlayApp";

}  // namespace norvale::processes
