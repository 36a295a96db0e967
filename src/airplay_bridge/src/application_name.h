// The service's name: at the application manager, on the command bus, and as the source of every
// message to the UI.
#pragma once

namespace norvale {

inline constexpr char kApplicationName[] = "AirPlayBridge";

}  // namespace norvale
