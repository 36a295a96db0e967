// Names that host platform and bench TV share on the private bus.
#pragma once

namespace benchtv {

// Where the private bus is: a D-Bus address in this environment variable.
inline constexpr char kBusAddressVariable[] = "BENCHTV_BUS";

// The set's name on the bus and the path of its only object.
inline constexpr char kSetName[] = "tv.benchtv.Set";
inline constexpr char kSetPath[] = "/tv/benchtv/Set";

// The error of a control call that makes no sense.
inline constexpr char kRefusedError[] = "tv.benchtv.Error.Refused";

}  // namespace benchtv
