// BridgeForTheAppManager: the bridge as the application-manager link sees it; writes down what it
// is told, and answers as a test says.
//
// Entries in the history: "bridge.OPERATION" with its arguments, texts in quotes. Nobody asks it
// for anything else: every other operation ends the process naming it.
#pragma once

#include <string>
#include <vector>

#include "gam_client.h"
#include "history.h"
#include "recording_airplay_bridge.h"

class BridgeForTheAppManager final : public RecordingAirPlayBridge {
 public:
  // |recorder|, not owned.
  explicit BridgeForTheAppManager(History& recorder)
      : RecordingAirPlayBridge(recorder), notes(recorder) {}

  // What every command answers: 0 unless told.
  int result = 0;
  bool keyIsHandled = true;

  void setAirPlayLifeCycle(const std::vector<std::string>& list) override {
    std::string entry = "bridge.setAirPlayLifeCycle";
    for (const std::string& text : list) {
      entry += " \"" + text + "\"";
    }
    notes.add(entry);
  }
  int processCMD_AirPlay_StartFromInput() override { return commanded("StartFromInput"); }
  int processCMD_AirPlay_StartFromSetting() override { return commanded("StartFromSetting"); }
  int processCMD_AirPlay_StartFromHomeKitSetting() override {
    return commanded("StartFromHomeKitSetting");
  }
  int processCMD_AirPlay_StartFromDaemon(const std::string& sessionid) override {
    return commanded("StartFromDaemon \"" + sessionid + "\"");
  }
  int processCMD_AirPlay_StopFromUI() override { return commanded("StopFromUI"); }
  int processCMD_AirPlay_Stop() override { return commanded("Stop"); }
  int processCMD_AirPlay_StartTimeout() override { return commanded("StartTimeout"); }
  bool processCMD_AirPlay_KeyCode(const GAM_KeyEvent* event) override {
    (void)commanded("KeyCode " + std::to_string(event->code));
    return keyIsHandled;
  }
  void notifyAirPlaySTRSuspend() override { notes.add("bridge.notifyAirPlaySTRSuspend"); }
  void notifyAirPlaySTRResume() override { notes.add("bridge.notifyAirPlaySTRResume"); }
  std::string getUiTargetMessageName() override {
    notes.add("bridge.getUiTargetMessageName");
    return "launcher";
  }

 private:
  int commanded(const std::string& command) {
    notes.add("bridge.processCMD_AirPlay_" + command);
    return result;
  }

  History& notes;
};
