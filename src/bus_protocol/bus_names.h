// Names that host platform and bench TV share on the private bus.
#pragma once

namespace benchtv {

// Where the private bus is: a D-Bus address in this environment variable.
inline constexpr char kBusAddressVariable[] = "BENCHTV_BUS";

// The set's name on the bus and the path of its only object.
inline constexpr char kSetName[] = "tv.benchtv.Set";
inline constexpr char kSetPath[] = "/tv/benchtv/Set";

// A stand-in program's name on the bus is this and its process name; its object has this path.
inline constexpr char kStandInPrefix[] = "tv.benchtv.StandIn.";
inline constexpr char kStandInPath[] = "/tv/benchtv/StandIn";

// The error of a control call that makes no sense.
inline constexpr char kRefusedError[] = "tv.benchtv.Error.Refused";

}  // namespace benchtv
