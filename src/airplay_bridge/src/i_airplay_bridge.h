// IAirPlayBridge: the centre of the service, as its components see it.
#pragma once

#include <string>
#include <vector>

struct GAM_KeyEvent;

namespace norvale {

// Threads: start() and run() are the main thread's; everything else arrives on whatever thread a
// platform library calls back on, several at once. Nothing is thrown.
//
// Results: 0 = done or nothing to do, -1 = refused, else the result of the component operation that
// was called. An operation that misses a component logs so, changes nothing and returns 0 unless it
// says otherwise.
//
// The order of the operations is part of the interface.
class IAirPlayBridge {
 public:
  virtual ~IAirPlayBridge() = default;

  // Binds and connects the components and reads the set's state. -1: not to be run on this set.
  virtual int start() = 0;

  // The supervision loop. Never returns.
  virtual void run() = 0;

  // False for the first two seconds of a network.
  virtual bool isNetworkAvailable() = 0;

  // Whether the viewer has accepted both EULAs.
  virtual bool getEulaStatus() = 0;

  // Recomputes and publishes the enable state: 0 not available, 2 switched off, 3 switched on.
  virtual void updateAirPlayRunningState() = 0;

  // |list|: state and origin, words of life_cycle.h.
  virtual void setAirPlayLifeCycle(const std::vector<std::string>& list) = 0;

  // A command of the daemon. May block for 21 s while the set sleeps.
  virtual int processCMD_AirPlayMessageFromGAM(const std::string& cmd, const std::string& para) = 0;

  // The viewer starts AirPlay: from the input list, the settings page, the HomeKit settings page.
  virtual int processCMD_AirPlay_StartFromInput() = 0;
  virtual int processCMD_AirPlay_StartFromSetting() = 0;
  virtual int processCMD_AirPlay_StartFromHomeKitSetting() = 0;

  // The viewer accepts the session that the daemon asked for under |sessionid|. Each id is good
  // once; -1 for one that is unknown or used.
  virtual int processCMD_AirPlay_StartFromDaemon(const std::string& sessionid) = 0;

  // The application manager suspends the AirPlay application. Blocks for 1 s when the last start is
  // less than that ago.
  virtual int processCMD_AirPlay_StopFromUI() = 0;

  // AirPlay must stop at once (the set is low on memory).
  virtual int processCMD_AirPlay_Stop() = 0;

  // A key for the AirPlay application; |event| is good for the call. True: dealt with.
  virtual bool processCMD_AirPlay_KeyCode(const GAM_KeyEvent* event) = 0;

  // A start did not come to pass in time.
  virtual int processCMD_AirPlay_StartTimeout() = 0;

  // What became of the AirPlay application; reported on to the application manager.
  virtual int notifyAirPlayStarted() = 0;
  virtual int notifyAirPlayStopped() = 0;
  virtual int notifyAirPlayPaused() = 0;

  // The set enters and leaves suspend to RAM.
  virtual void notifyAirPlaySTRSuspend() = 0;
  virtual void notifyAirPlaySTRResume() = 0;

  // Whether the daemon, mdnsd, the AirPlay application run.
  virtual void setAirPlayDaemonStatus(bool running) = 0;
  virtual void setMdnsdStatus(bool running) = 0;
  virtual void setAirPlayAppStatus(bool started) = 0;

  // Tells the daemon; -1 without a command bus.
  virtual int setAirPlayEnableToDaemon(bool enable) = 0;

  // Both EULAs are accepted, or no longer.
  virtual void eulaChanged(bool enabled) = 0;

  virtual bool isPauseReportEnabled() = 0;

  // The application to which messages for the UI go; "unknown" without a platform.
  virtual std::string getUiTargetMessageName() = 0;

  virtual void networkAvailableChanged(bool enabled) = 0;
};

}  // namespace norvale
