// The words of the command bus: each spelled once, here. Spelling and case are contract with the
// daemon and the application manager; whole words are compared.
#pragma once

namespace norvale::gam {

// Names on the bus, beside the service's own (application_name.h).
inline constexpr char kAppManager[] = "am";
inline constexpr char kAirPlayDaemon[] = "AirPlayDaemon";

// Parameters that name what a command to the application manager is about.
inline constexpr char kMdnsd[] = "mdnsd";
inline constexpr char kAirPlayApp[] = "AirPlayApp";

// Commands to the application manager. kStart and kStop also come from the daemon.
inline constexpr char kStart[] = "start";
inline constexpr char kStop[] = "stop";
inline constexpr char kReset[] = "reset";
inline constexpr char kStarted[] = "started";
inline constexpr char kBackground[] = "backgm";  // from the daemon as well
inline constexpr char kForeground[] = "foregm";

// Commands to the daemon.
inline constexpr char kWakeUp[] = "wakeup";
inline constexpr char kSuspend[] = "suspend";
inline constexpr char kAction[] = "action";
inline constexpr char kSettings[] = "settings";
inline constexpr char kHomeKitSettings[] = "HomeKitSettings";
inline constexpr char kBringAppToBackground[] = "BringAppToBackground";
inline constexpr char kStopApp[] = "StopApp";
inline constexpr char kAirPlayEnabled[] = "AirPlayEnabled";  // from the daemon as well

// Commands from the daemon.
inline constexpr char kNeedStop[] = "need_stop";
inline constexpr char kKeyPress[] = "key_press";
inline constexpr char kHomeKitNotify[] = "homekitnotify";
inline constexpr char kWakeUpScreen[] = "wakeup_screen";
inline constexpr char kHomeKitAccess[] = "HKAccess";
inline constexpr char kUnblank[] = "unblank";

// Parameters.
inline constexpr char kEnable[] = "enable";
inline constexpr char kDisable[] = "disable";
inline constexpr char kOn[] = "on";
inline constexpr char kScreen[] = "screen";
inline constexpr char kStartedOutside[] = "cwd";  // anywhere in the parameter of a start
inline constexpr char kSourceAirPlay[] = "source=0";
inline constexpr char kSourcePrefix[] = "source=";  // then one digit, 1 to 6

}  // namespace norvale::gam
