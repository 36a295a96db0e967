// The words of the JSON texts exchanged with the UI and the platform: each spelled once, here.
// Spelling and case are contract; whole words are compared.
#pragma once

namespace norvale::json {

// Members of an app message, to and from the UI.
inline constexpr char kType[] = "type";
inline constexpr char kSource[] = "source";
inline constexpr char kCmd[] = "cmd";
inline constexpr char kSessionId[] = "sessionid";
inline constexpr char kTo[] = "to";
inline constexpr char kFrom[] = "from";

// What an absent member of an app message reads as.
inline constexpr char kUnknown[] = "UNKNOWN";

// The only type of message that is acted upon.
inline constexpr char kAirPlayMessage[] = "AirPlayMessage";

// Commands from the UI.
inline constexpr char kStart[] = "start";
inline constexpr char kStop[] = "stop";

// Who asks for a start.
inline constexpr char kFromTVInput[] = "TVInput";
inline constexpr char kFromSwitchInput[] = "SwitchInput";
inline constexpr char kFromSetting[] = "Setting";
inline constexpr char kFromHomeKitSetting[] = "HomeKitSetting";
inline constexpr char kFromAirPlayApp[] = "AirPlayApp";

// Commands to the UI.
inline constexpr char kStartAirPlay[] = "startAirPlay";
inline constexpr char kSwitchInput[] = "switchInput";
inline constexpr char kHomeKitPairing[] = "HomeKitPairing";

// The name of the AirPlay input.
inline constexpr char kAirPlayInput[] = "AirPlay";

// The answer to a launch that failed. The irregular blanks are part of it.
inline constexpr char kStartFailed[] =
    R"({"type": "AirPlayMessage", "cmd": "start", "result" : "failed"})";

// Event messages of the application manager that are no JSON.
inline constexpr char kEventStartTimeout[] = "app_start_time_out";
inline constexpr char kEventLowMemory[] = "low_memory";
inline constexpr char kEventRegistered[] = "register_ok";

// Application status report.
inline constexpr char kAppId[] = "appId";
inline constexpr char kAppStatus[] = "appStatus";
inline constexpr char kUnknownApp[] = "unknown";  // what an absent member of it reads as
inline constexpr char kAirPlayApp[] = "AirPlayApp";
inline constexpr char kAirPlayDaemon[] = "AirPlayDaemon";
inline constexpr char kMdnsd[] = "mdnsd";
inline constexpr char kStarted[] = "started";
inline constexpr char kPaused[] = "paused";
inline constexpr char kStopped[] = "stopped";

}  // namespace norvale::json
