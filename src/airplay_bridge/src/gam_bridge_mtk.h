// GAMBridgeMTK: the command bus of this platform.
#pragma once

#include "i_gam_bridge.h"

namespace norvale {

// A new link, not yet connected, owned by the caller.
IGamBridge* createGAMBridge();

// Turns each operation into one command of three words. Holds no state but its client.
//
// What comes in does not go through the bound client: the bus library's callbacks carry no context,
// so they reach the bridge through AirPlayBridge::getInstance(), on the library's thread.
class GAMBridgeMTK : public IGamBridge {
 public:
  GAMBridgeMTK();
  ~GAMBridgeMTK() override;
  GAMBridgeMTK(const GAMBridgeMTK&) = delete;
  GAMBridgeMTK& operator=(const GAMBridgeMTK&) = delete;

  bool connect() override;
  void bindToClient(IAirPlayBridge* newClient) override;
  void unbindClient() override;
  int UIStartAirPlayFromInput() override;
  int UIStartAirPlayFromSetting() override;
  int UIStartAirPlayFromHomeKitSetting() override;
  int stopAirPlay() override;
  int lowMemoryStopAirPlay() override;
  int startAirPlayByParam(const std::string& param) override;
  int sendAirPlaybackground(const std::string& param) override;
  int stopAirPlayByParam(const std::string& param) override;
  int bringAirPlayForeground(const std::string& param) override;
  int InjectKeyEvent(const GAM_KeyEvent* event) override;
  int startAirPlayDaemon() override;
  int resetAirPlayDaemon() override;
  int startMdnsd() override;
  int suspendAirPlayDaemon() override;
  int wakeUpAirPlayDaemon() override;
  int setAirPlayEnable(bool enable) override;

  // The one path of all commands: sends |cmd| with |param| to |dest|, once.
  int sendGAMCommand(const std::string& dest, const std::string& cmd, const std::string& param);

 private:
  IAirPlayBridge* client = nullptr;  // not owned
};

}  // namespace norvale
