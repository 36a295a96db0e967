// RecordingAirPlayBridge: the bridge as the settings side sees it; writes down what it is told.
//
// Entries in the history: "bridge.OPERATION", and for one with an argument "bridge.OPERATION true"
// or "false". An operation that the settings side has no business with ends the process naming it.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "history.h"
#include "i_airplay_bridge.h"

class RecordingAirPlayBridge : public norvale::IAirPlayBridge {
 public:
  // |recorder|, not owned.
  explicit RecordingAirPlayBridge(History& recorder) : history(recorder) {}

  int notifyAirPlayStarted() override { return told("notifyAirPlayStarted"); }
  int notifyAirPlayStopped() override { return told("notifyAirPlayStopped"); }
  int notifyAirPlayPaused() override { return told("notifyAirPlayPaused"); }
  void setAirPlayDaemonStatus(bool running) override { told("setAirPlayDaemonStatus", running); }
  void setMdnsdStatus(bool running) override { told("setMdnsdStatus", running); }
  void setAirPlayAppStatus(bool started) override { told("setAirPlayAppStatus", started); }
  void eulaChanged(bool enabled) override { told("eulaChanged", enabled); }
  void networkAvailableChanged(bool enabled) override { told("networkAvailableChanged", enabled); }

  int start() override { refuse(__func__); }
  void run() override { refuse(__func__); }
  bool isNetworkAvailable() override { refuse(__func__); }
  bool getEulaStatus() override { refuse(__func__); }
  void updateAirPlayRunningState() override { refuse(__func__); }
  void setAirPlayLifeCycle(const std::vector<std::string>& /*list*/) override { refuse(__func__); }
  int processCMD_AirPlayMessageFromGAM(const std::string& /*cmd*/,
                                       const std::string& /*para*/) override {
    refuse(__func__);
  }
  int processCMD_AirPlay_StartFromInput() override { refuse(__func__); }
  int processCMD_AirPlay_StartFromSetting() override { refuse(__func__); }
  int processCMD_AirPlay_StartFromHomeKitSetting() override { refuse(__func__); }
  int processCMD_AirPlay_StartFromDaemon(const std::string& /*sessionid*/) override {
    refuse(__func__);
  }
  int processCMD_AirPlay_StopFromUI() override { refuse(__func__); }
  int processCMD_AirPlay_Stop() override { refuse(__func__); }
  bool processCMD_AirPlay_KeyCode(const GAM_KeyEvent* /*event*/) override { refuse(__func__); }
  int processCMD_AirPlay_StartTimeout() override { refuse(__func__); }
  void notifyAirPlaySTRSuspend() override { refuse(__func__); }
  void notifyAirPlaySTRResume() override { refuse(__func__); }
  int setAirPlayEnableToDaemon(bool /*enable*/) override { refuse(__func__); }
  bool isPauseReportEnabled() override { refuse(__func__); }
  std::string getUiTargetMessageName() override { refuse(__func__); }

 private:
  int told(const char* operation) {
    history.add(std::string("bridge.") + operation);
    return 0;
  }
  void told(const char* operation, bool value) {
    history.add(std::string("bridge.") + operation + (value ? " true" : " false"));
  }
  [[noreturn]] static void refuse(const char* operation) {
    std::fprintf(stderr, "RecordingAirPlayBridge: %s() was called\n", operation);
    std::abort();
  }

  History& history;
};
