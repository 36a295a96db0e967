// IGamBridge: the service's link to the command bus.
#pragma once

#include <string>

struct GAM_KeyEvent;

namespace norvale {

class IAirPlayBridge;

// Order of use: bindToClient(), connect(), then any command. Commands may be given on any thread.
// Their result is the bus library's, negative when nobody got the command. The order of the
// operations is part of the interface.
class IGamBridge {
 public:
  virtual ~IGamBridge() = default;

  // Joins the bus and announces the service to the application manager. False when either fails;
  // there is no second attempt.
  virtual bool connect() = 0;

  // |client| must outlive the link.
  virtual void bindToClient(IAirPlayBridge* client) = 0;
  virtual void unbindClient() = 0;

  // To the daemon: the viewer started AirPlay here or there.
  virtual int UIStartAirPlayFromInput() = 0;
  virtual int UIStartAirPlayFromSetting() = 0;
  virtual int UIStartAirPlayFromHomeKitSetting() = 0;

  // To the daemon: bring the application to the background; stop it to free memory.
  virtual int stopAirPlay() = 0;
  virtual int lowMemoryStopAirPlay() = 0;

  // To the application manager: start, move to the background, stop, move to the foreground the
  // application that |param| names.
  virtual int startAirPlayByParam(const std::string& param) = 0;
  virtual int sendAirPlaybackground(const std::string& param) = 0;
  virtual int stopAirPlayByParam(const std::string& param) = 0;
  virtual int bringAirPlayForeground(const std::string& param) = 0;

  // Injects a key as if pressed on the remote control. The library's result.
  virtual int InjectKeyEvent(const GAM_KeyEvent* event) = 0;

  // To the application manager: start or reset the helper processes.
  virtual int startAirPlayDaemon() = 0;
  virtual int resetAirPlayDaemon() = 0;
  virtual int startMdnsd() = 0;

  // To the daemon: the set goes to sleep, wakes up; AirPlay was switched on or off.
  virtual int suspendAirPlayDaemon() = 0;
  virtual int wakeUpAirPlayDaemon() = 0;
  virtual int setAirPlayEnable(bool enable) = 0;
};

}  // namespace norvale
