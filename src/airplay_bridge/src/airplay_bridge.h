// AirPlayBridge: the centre of the service.
#pragma once

#include "consent_requests.h"
#include "i_airplay_bridge.h"
#include "relaxed.h"

namespace norvale {

class IApmBridge;
class IGamBridge;
class IPlatformDelegate;

// Holds the state that all components share and decides what each event leads to.
//
// Threads: the main thread starts and supervises; the command bus, the application manager and the
// settings model call in on threads of their own. There is no lock: flags and times are relaxed
// atomics, waits poll them, and consent requests are handed over as their class says.
class AirPlayBridge : public IAirPlayBridge {
 public:
  // The process's bridge, made by the first caller; others wait for it meanwhile. Never destroyed.
  static AirPlayBridge* getInstance();

  AirPlayBridge() = default;
  ~AirPlayBridge() override;
  AirPlayBridge(const AirPlayBridge&) = delete;
  AirPlayBridge& operator=(const AirPlayBridge&) = delete;

  // Stores the components, none of them owned; binds and connects nothing. Before anything else.
  void init(IApmBridge* newApm, IGamBridge* newGam, IPlatformDelegate* newPlatform);

  // Have the helper processes started, and wait for proof that they run: a status report, a message
  // of the daemon, or a process of that name. Up to 5.5 s each, and 5 s more for the daemon's IPC.
  void startMdnsd();
  void startAirPlayDaemon();

  // Has the daemon reset; waits for nothing.
  void resetAirPlayDaemon();

  // Waits, at most 5 s, for the daemon's marker file.
  bool waitDaemonSocketReady();

  // Whether the next start of the daemon's is the echo of one from the TV's own UI.
  void setAirPlayCommandFromUIStatus(bool value);

  // IAirPlayBridge:
  int start() override;
  void run() override;
  bool isNetworkAvailable() override;
  bool getEulaStatus() override;
  void updateAirPlayRunningState() override;
  void setAirPlayLifeCycle(const std::vector<std::string>& list) override;
  int processCMD_AirPlayMessageFromGAM(const std::string& cmd, const std::string& para) override;
  int processCMD_AirPlay_StartFromInput() override;
  int processCMD_AirPlay_StartFromSetting() override;
  int processCMD_AirPlay_StartFromHomeKitSetting() override;
  int processCMD_AirPlay_StartFromDaemon(const std::string& sessionid) override;
  int processCMD_AirPlay_StopFromUI() override;
  int processCMD_AirPlay_Stop() override;
  bool processCMD_AirPlay_KeyCode(const GAM_KeyEvent* event) override;
  int processCMD_AirPlay_StartTimeout() override;
  int notifyAirPlayStarted() override;
  int notifyAirPlayStopped() override;
  int notifyAirPlayPaused() override;
  void notifyAirPlaySTRSuspend() override;
  void notifyAirPlaySTRResume() override;
  void setAirPlayDaemonStatus(bool running) override;
  void setMdnsdStatus(bool running) override;
  void setAirPlayAppStatus(bool started) override;
  int setAirPlayEnableToDaemon(bool enable) override;
  void eulaChanged(bool enabled) override;
  bool isPauseReportEnabled() override;
  std::string getUiTargetMessageName() override;
  void networkAvailableChanged(bool enabled) override;

 private:
  bool hasAllComponents() const;

  // Steps of start(); the delegate logs the identity that it reads.
  void bindAndConnect();
  void readProductIdentity();
  void readNetworkAndEula();

  // Commands of the daemon; |state| is the life-cycle state before the command.
  int onDaemonStart(const std::string& para, const std::string& state);
  int onDaemonBackground(const std::string& para, const std::string& state);
  int onDaemonStop(const std::string& para, const std::string& state);
  int onDaemonKeyPress(const std::string& para, const std::string& state);
  int onDaemonHomeKitNotify(const std::string& para, const std::string& state);
  int onDaemonWakeUpScreen(const std::string& para, const std::string& state);
  int onDaemonAirPlayEnabled(const std::string& para, const std::string& state);
  int onDaemonHomeKitAccess(const std::string& para, const std::string& state);
  int onDaemonUnblank(const std::string& para, const std::string& state);

  // Sends |message| once the set is on, or after 21 s whatever it is.
  void sendMsgToUIAfterPowerOn(const std::string& message);

  IApmBridge* apm = nullptr;              // not owned
  IGamBridge* gam = nullptr;              // not owned
  IPlatformDelegate* platform = nullptr;  // not owned

  Flag cmdFromUI{false};           // a start was asked for in the TV's own UI
  Flag startFromInput{false};      // ... and in its input list
  Flag daemonRunning{false};       // as far as is known
  Flag mdnsdRunning{false};        // as far as is known
  Flag airPlayAppStarted{false};   // the AirPlay application is up
  Flag eulaEnabled{false};         // both EULAs are accepted
  Flag networkEnabled{false};      // the network is available
  Flag pauseReportEnabled{false};  // pauses are reported to the application manager
  Flag tvPowerOn{true};            // neither standby nor suspend
  Flag airPlayEnabled{true};       // the viewer's switch

  ConsentRequests sessionMap;  // session id to the start parameter it stands for

  Relaxed<double> lastStartTime{0.0};         // monotonic, of the last notifyAirPlayStarted()
  Relaxed<double> networkAvailableTime{0.0};  // monotonic, of the network's last coming
};

}  // namespace norvale
