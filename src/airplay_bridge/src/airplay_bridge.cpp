#include "airplay_bridge.h"

#include <unistd.h>

#include <cstdint>
#include <cstdio>

#include "app_message_words.h"
#include "application_name.h"
#include "gam_words.h"
#include "i_apm_bridge.h"
#include "i_gam_bridge.h"
#include "i_platform_delegate.h"
#include "json_text.h"
#include "life_cycle.h"
#include "log.h"
#include "norvale_base.h"
#include "process_names.h"
#include "seconds.h"

namespace norvale {

namespace {

using base::utils::processUtils_GetPidOf;

// What the bridge's instance word holds beside an address.
constexpr std::intptr_t kNoInstance = 0;
constexpr std::intptr_t kBeingCreated = 1;
std::atomic<std::intptr_t> instanceWord{kNoInstance};

// The daemon makes this file when its IPC endpoint is ready.
constexpr char kDaemonReadyMarker[] = "/tmp/semaphore_ipc";
constexpr int kMarkerPolls = 50;
constexpr useconds_t kMarkerPollMicros = 100'000;

// Waiting for the report that a helper process has started.
constexpr int kReportPolls = 11;
constexpr useconds_t kReportPollMicros = 500'000;

// Supervision.
constexpr useconds_t kResetMicros = 3'000'000;
constexpr useconds_t kTickMicros = 1'000'000;
constexpr double kCheckSeconds = 9.5;

// Waiting for the set to wake up.
constexpr int kPowerPolls = 42;
constexpr useconds_t kPowerPollMicros = 500'000;

// A link that has only just come up is not to be trusted yet.
constexpr double kNetworkSettlingSeconds = 2.0;

// The daemon must never get a stop within a second of a start.
constexpr double kStopGapSeconds = 1.0;
constexpr useconds_t kStopDelayMicros = 1'000'000;

// Values of the set's settings.
constexpr int kEulaAccepted = 1;
constexpr int kUseCaseStandby = 0;
constexpr int kUseCaseOn = 1;
constexpr int kOpenedByAirPlay = 102;
constexpr int kEnableStateNotAvailable = 0;
constexpr int kEnableStateOff = 2;
constexpr int kEnableStateOn = 3;

// An input is four strings of the input list, its name first.
constexpr std::size_t kStringsPerInput = 4;

const char* trueOrFalse(bool value) { return value ? "true" : "false"; }

// Unique because the clock advances.
std::string newSessionId() {
  char id[64];
  (void)std::snprintf(id, sizeof id, "BRIDGE-%f", monotonicSeconds());
  return id;
}

Json::Value uiMessage(const char* cmd, const std::string& sessionId) {
  Json::Value message;
  message[json::kType] = json::kAirPlayMessage;
  message[json::kSource] = kApplicationName;
  message[json::kCmd] = cmd;
  message[json::kSessionId] = sessionId;
  return message;
}

Json::Value uiMessageTo(const char* cmd, const std::string& to) {
  Json::Value message = uiMessage(cmd, "");
  message[json::kTo] = to;
  return message;
}

// The number in "source=1" to "source=6", 0 for any other text.
std::size_t inputNumber(const std::string& para) {
  const std::string prefix = gam::kSourcePrefix;
  if (para.size() != prefix.size() + 1 || para.compare(0, prefix.size(), prefix) != 0) {
    return 0;
  }
  const char digit = para.back();
  return digit >= '1' && digit <= '6' ? static_cast<std::size_t>(digit - '0') : 0;
}

}  // namespace

AirPlayBridge* AirPlayBridge::getInstance() {
  std::intptr_t word = instanceWord.load(std::memory_order_acquire);
  if (word == kNoInstance &&
      instanceWord.compare_exchange_strong(word, kBeingCreated, std::memory_order_acquire)) {
    auto* const created = new AirPlayBridge;
    instanceWord.store(reinterpret_cast<std::intptr_t>(created), std::memory_order_seq_cst);
    return created;
  }
  if (word == kBeingCreated) {
    word = base::internal::WaitForInstance(&instanceWord);
  }
  return reinterpret_cast<AirPlayBridge*>(word);
}

AirPlayBridge::~AirPlayBridge() {
  if (apm != nullptr) {
    apm->removeClient();
  }
  if (gam != nullptr) {
    gam->unbindClient();
  }
  if (platform != nullptr) {
    platform->removeClient(this);
  }
}

void AirPlayBridge::init(IApmBridge* newApm, IGamBridge* newGam, IPlatformDelegate* newPlatform) {
  apm = newApm;
  gam = newGam;
  platform = newPlatform;
}

bool AirPlayBridge::hasAllComponents() const {
  return gam != nullptr && platform != nullptr && apm != nullptr;
}

// Start

int AirPlayBridge::start() {
  if (!hasAllComponents()) {
    BLOG_ERROR("Invalid components: %p, %p, %p", static_cast<void*>(platform),
               static_cast<void*>(apm), static_cast<void*>(gam));
    return -1;
  }
  if (!platform->airPlayIsSupported()) {
    BLOG_ERROR("Airplay is NOT supported, Exiting AirplayBridge.");
    return -1;
  }

  bindAndConnect();
  readProductIdentity();

  readNetworkAndEula();
  BLOG_INFO("Network enabled is %s, EULA enabled is %s", trueOrFalse(networkEnabled),
            trueOrFalse(eulaEnabled));

  // A switch that cannot be read counts as on.
  int enableState = -1;
  (void)platform->getAirPlayEnableState(enableState);
  airPlayEnabled = enableState != kEnableStateOff;

  const int appPid = processUtils_GetPidOf(processes::kAirPlayApp);
  BLOG_INFO("PID of AirplayApp: %d", appPid);
  if (appPid != 0) {
    airPlayAppStarted = true;
  }

  int useCase = -1;
  (void)platform->getPowerUseCase(useCase);
  if (useCase == kUseCaseStandby) {
    BLOG_ERROR("TV is not powered on when bridge started.");
    tvPowerOn = false;
  } else {
    BLOG_INFO("TV is  powered on when bridge started.");
    tvPowerOn = true;
  }

  updateAirPlayRunningState();
  pauseReportEnabled = false;
  return 0;
}

void AirPlayBridge::bindAndConnect() {
  apm->bindToClient(this);
  gam->bindToClient(this);
  platform->bindToClient(this);

  // A component that cannot connect has logged so; the service runs without it.
  (void)gam->connect();
  (void)apm->connect();
  platform->connect();
}

void AirPlayBridge::readProductIdentity() {
  std::string brand;
  std::string model;
  std::string version;
  std::string platformName;
  std::string serial;
  (void)platform->getBrandName(brand);
  (void)platform->getModelName(model);
  (void)platform->getSoftwareVersion(version);
  (void)platform->getPlatformName(platformName);
  (void)platform->getDeviceSN(serial);
}

void AirPlayBridge::readNetworkAndEula() {
  bool available = networkEnabled;
  (void)platform->isNetworkAvailable(available);
  networkEnabled = available;

  int dpp = 0;
  int general = 0;
  (void)platform->getDppEula(dpp);
  (void)platform->getEulaGeneral(general);
  eulaEnabled = dpp == kEulaAccepted && general == kEulaAccepted;
}

// Supervision

void AirPlayBridge::run() {
  startMdnsd();
  if (platform->isHotelMode() && platform->airPlayIsEnabled()) {
    resetAirPlayDaemon();
    usleep(kResetMicros);
  }
  startAirPlayDaemon();

  double lastCheckTime = monotonicSeconds();
  for (;;) {
    usleep(kTickMicros);
    const double now = monotonicSeconds();
    // The time stays behind while AirPlay is off, so that the first second of "on" acts.
    if (now - lastCheckTime > kCheckSeconds && platform->airPlayIsEnabled()) {
      startMdnsd();
      startAirPlayDaemon();
      lastCheckTime = now;
    }
  }
}

void AirPlayBridge::startMdnsd() {
  BLOG_TRACE();
  if (!hasAllComponents()) {
    BLOG_ERROR("No  component: %p, %p, %p", static_cast<void*>(gam), static_cast<void*>(platform),
               static_cast<void*>(apm));
    return;
  }
  if (mdnsdRunning) {
    BLOG_INFO_FIRST(10, "MDNSD is already running...");
    return;
  }
  if (!platform->airPlayIsEnabled()) {
    BLOG_ERROR_FIRST(10, "airplay is not enabled, mdnsd  can't start");
    return;
  }

  BLOG_INFO("Starting ...");
  (void)gam->startMdnsd();

  // The flag is deliberately not looked at after the last sleep.
  for (int count = 0; !mdnsdRunning;) {
    usleep(kReportPollMicros);
    ++count;
    BLOG_INFO("waiting for mdns started, cnt:%d", count);
    if (count == kReportPolls) {
      BLOG_ERROR("mdns start timeout");
      break;
    }
  }

  const double before = monotonicSeconds();
  const int pid = processUtils_GetPidOf(processes::kMdnsd);
  BLOG_INFO("PID of mdnsd: %d, time used: %f", pid, monotonicSeconds() - before);
  if (pid != 0) {
    mdnsdRunning = true;
  }
  if (pid == 0 && !mdnsdRunning) {
    BLOG_ERROR("mdnsd Timeout");
    return;
  }
  BLOG_INFO("mdnsd Started.");
}

void AirPlayBridge::startAirPlayDaemon() {
  if (!hasAllComponents()) {
    BLOG_ERROR("No  component: %p, %p, %p", static_cast<void*>(gam), static_cast<void*>(platform),
               static_cast<void*>(apm));
    return;
  }
  if (daemonRunning) {
    BLOG_INFO_FIRST(10, "AirPlayDaemon is already running...");
    return;
  }
  if (!platform->airPlayIsEnabled()) {
    BLOG_ERROR_FIRST(5, "airplay is not enabled, daemon can't start.");
    return;
  }

  BLOG_INFO("Starting AirPlay Daemon...");
  (void)gam->startAirPlayDaemon();

  // As for mdnsd. The text says 5 s although the wait is 5.5 s; both are meant.
  for (int count = 0; !daemonRunning;) {
    usleep(kReportPollMicros);
    ++count;
    BLOG_INFO("waiting for AirPlayDaemon started, cnt:%d", count);
    if (count == kReportPolls) {
      BLOG_ERROR("AirPlayDaemon start timeout 5s");
      break;
    }
  }

  const double before = monotonicSeconds();
  const int pid = processUtils_GetPidOf(processes::kAirPlayDaemon);
  BLOG_INFO("PID of airplaydemo: %d, time used: %f", pid, monotonicSeconds() - before);
  if (pid != 0) {
    daemonRunning = true;
  }

  BLOG_INFO("Waiting Daemon socket ready....");
  const bool ready = waitDaemonSocketReady();
  BLOG_INFO("Daemon socket is ready: %s", ready ? "YES" : "NO");
  if (!ready) {
    BLOG_ERROR("airplay daemon may be not ready yet.");
  }
}

void AirPlayBridge::resetAirPlayDaemon() {
  if (!hasAllComponents()) {
    BLOG_ERROR("No  component: %p, %p, %p", static_cast<void*>(gam), static_cast<void*>(platform),
               static_cast<void*>(apm));
    return;
  }
  (void)gam->resetAirPlayDaemon();
}

bool AirPlayBridge::waitDaemonSocketReady() {
  BLOG_TRACE();
  for (int poll = 0; poll < kMarkerPolls; ++poll) {
    if (access(kDaemonReadyMarker, F_OK) == 0) {
      return true;
    }
    usleep(kMarkerPollMicros);
  }
  return false;
}

// State and notifications

void AirPlayBridge::networkAvailableChanged(bool enabled) {
  const bool before = networkEnabled;
  BLOG_INFO("Network enabled changed from %d(%s) to %d(%s)", before, trueOrFalse(before), enabled,
            trueOrFalse(enabled));
  networkEnabled = enabled;
  if (enabled) {
    networkAvailableTime = monotonicSeconds();
  }
}

bool AirPlayBridge::isNetworkAvailable() {
  if (monotonicSeconds() - networkAvailableTime < kNetworkSettlingSeconds) {
    BLOG_INFO("Network available is less than 2s, return false");
    return false;
  }
  return networkEnabled;
}

bool AirPlayBridge::getEulaStatus() { return eulaEnabled; }

void AirPlayBridge::eulaChanged(bool enabled) {
  BLOG_INFO("eula enabled: %d", enabled);
  // Recorded deliberately only when the daemon can be told.
  if (gam == nullptr) {
    BLOG_ERROR("No GAM");
    return;
  }
  eulaEnabled = enabled;
  if (!enabled) {
    (void)gam->stopAirPlay();
  }
}

void AirPlayBridge::setAirPlayDaemonStatus(bool running) {
  if (gam == nullptr) {
    BLOG_ERROR("No GAM");
    return;
  }
  daemonRunning = running;
  if (!running && airPlayAppStarted) {
    // The application cannot go on without its daemon.
    (void)gam->stopAirPlayByParam(gam::kAirPlayApp);
  }
}

void AirPlayBridge::setMdnsdStatus(bool running) { mdnsdRunning = running; }

void AirPlayBridge::setAirPlayAppStatus(bool started) { airPlayAppStarted = started; }

int AirPlayBridge::setAirPlayEnableToDaemon(bool enable) {
  if (gam == nullptr) {
    BLOG_ERROR("No GAM");
    return -1;
  }
  return gam->setAirPlayEnable(enable);
}

void AirPlayBridge::setAirPlayLifeCycle(const std::vector<std::string>& list) {
  if (platform == nullptr) {
    BLOG_ERROR("No platform.");
    return;
  }
  (void)platform->setAirPlayLifeCycle(list);
}

std::string AirPlayBridge::getUiTargetMessageName() {
  if (platform == nullptr) {
    BLOG_ERROR("No platform");
    return "unknown";
  }
  return platform->getUiTargetMessageName();
}

bool AirPlayBridge::isPauseReportEnabled() { return pauseReportEnabled; }

void AirPlayBridge::updateAirPlayRunningState() {
  BLOG_TRACE();
  if (platform == nullptr) {
    BLOG_ERROR("No platform.");
    return;
  }
  if (!platform->airPlayIsEnabled()) {
    platform->setAirPlayEnableState(kEnableStateNotAvailable);
    BLOG_ERROR("Airplay is disabled, Running AirplayBridge Only.");
    return;
  }
  const bool switchedOn = airPlayEnabled;
  BLOG_INFO("airplay switch is : %d", switchedOn);
  platform->setAirPlayEnableState(switchedOn ? kEnableStateOn : kEnableStateOff);
}

// Commands of the daemon

int AirPlayBridge::processCMD_AirPlayMessageFromGAM(const std::string& cmd,
                                                    const std::string& para) {
  struct Row {
    const char* word;
    int (AirPlayBridge::*handle)(const std::string& para, const std::string& state);
  };
  static constexpr Row kRows[] = {
      {gam::kStart, &AirPlayBridge::onDaemonStart},
      {gam::kBackground, &AirPlayBridge::onDaemonBackground},
      {gam::kStop, &AirPlayBridge::onDaemonStop},
      {gam::kNeedStop, &AirPlayBridge::onDaemonStop},
      {gam::kKeyPress, &AirPlayBridge::onDaemonKeyPress},
      {gam::kHomeKitNotify, &AirPlayBridge::onDaemonHomeKitNotify},
      {gam::kWakeUpScreen, &AirPlayBridge::onDaemonWakeUpScreen},
      {gam::kAirPlayEnabled, &AirPlayBridge::onDaemonAirPlayEnabled},
      {gam::kHomeKitAccess, &AirPlayBridge::onDaemonHomeKitAccess},
      {gam::kUnblank, &AirPlayBridge::onDaemonUnblank},
  };

  if (!hasAllComponents()) {
    BLOG_ERROR("No  component: %p, %p, %p", static_cast<void*>(gam), static_cast<void*>(platform),
               static_cast<void*>(apm));
    return 0;
  }
  BLOG_TRACE();

  std::vector<std::string> lifeCycle;
  (void)platform->getAirPlayLifeCycle(lifeCycle);
  const std::string state = lifeCycle.empty() ? life_cycle::kEmpty : lifeCycle.front();

  BLOG_INFO(" cmdfromUI: %d, startFromInput: %d, AirPlay App started: %d, cmd : %s,  param: %s",
            cmdFromUI.get(), startFromInput.get(), airPlayAppStarted.get(), cmd.c_str(),
            para.c_str());

  // Whatever the daemon says proves that it runs, and with it mdnsd.
  if (!daemonRunning) {
    daemonRunning = true;
    mdnsdRunning = true;
  }

  for (const Row& row : kRows) {
    if (cmd == row.word) {
      return (this->*row.handle)(para, state);
    }
  }
  BLOG_ERROR("Unknown cmd: %s, para: %s", cmd.c_str(), para.c_str());
  return 0;
}

int AirPlayBridge::onDaemonStart(const std::string& para, const std::string& /*state*/) {
  (void)platform->setScreenState(true);

  if (cmdFromUI) {
    setAirPlayCommandFromUIStatus(false);
    BLOG_INFO("start from UI");
    return gam->startAirPlayByParam(para);
  }

  if (para.find(gam::kStartedOutside) != std::string::npos) {
    BLOG_INFO("start from outside");
    const std::string sessionId = newSessionId();
    sessionMap.add(sessionId, para);
    sendMsgToUIAfterPowerOn(json::write(uiMessage(json::kStartAirPlay, sessionId)));
    return 0;
  }

  BLOG_INFO("Normal message from Daemon: %s", para.c_str());
  return gam->startAirPlayByParam(para);
}

int AirPlayBridge::onDaemonBackground(const std::string& para, const std::string& /*state*/) {
  (void)gam->sendAirPlaybackground(para);
  return 0;
}

int AirPlayBridge::onDaemonStop(const std::string& para, const std::string& state) {
  if (state != life_cycle::kStopping) {
    setAirPlayLifeCycle({life_cycle::kStopping, life_cycle::kCurrentSource});
  }
  (void)gam->stopAirPlayByParam(para);
  return 0;
}

int AirPlayBridge::onDaemonKeyPress(const std::string& /*para*/, const std::string& /*state*/) {
  BLOG_INFO("key press command");
  if (startFromInput) {
    BLOG_INFO("Airplay start from input, will do nothing");
    return 0;
  }
  BLOG_INFO("Airplay did not start from input, leave airplay");
  setAirPlayLifeCycle({life_cycle::kStopping, life_cycle::kCurrentSource});
  (void)gam->stopAirPlay();
  return 0;
}

int AirPlayBridge::onDaemonHomeKitNotify(const std::string& para, const std::string& /*state*/) {
  BLOG_INFO("homekit command");
  std::vector<std::string> inputs;
  (void)platform->getInputSourceList(inputs);

  std::string target;
  const std::size_t number = inputNumber(para);
  if (para == gam::kSourceAirPlay) {
    BLOG_INFO("source: airplay");
    target = json::kAirPlayInput;
  } else if (number != 0 && number <= inputs.size() / kStringsPerInput) {
    target = inputs[(number - 1) * kStringsPerInput];
  } else {
    BLOG_ERROR("Error: Input source id is too large");
    return 0;
  }

  sendMsgToUIAfterPowerOn(json::write(uiMessageTo(json::kSwitchInput, target)));
  (void)platform->setScreenState(true);
  return 0;
}

int AirPlayBridge::onDaemonWakeUpScreen(const std::string& para, const std::string& /*state*/) {
  BLOG_INFO("wakeup screen command");
  if (para != gam::kOn) {
    return 0;
  }
  int useCase = -1;
  (void)platform->getPowerUseCase(useCase);
  if (useCase == kUseCaseStandby) {
    (void)platform->setOpenFromStandby(kOpenedByAirPlay);
    (void)platform->setPowerUseCase(kUseCaseOn);
  }
  return 0;
}

int AirPlayBridge::onDaemonAirPlayEnabled(const std::string& para, const std::string& /*state*/) {
  BLOG_INFO("airplay enable command");
  const bool enable = para == gam::kEnable;
  airPlayEnabled = enable;
  platform->setAirPlayEnableState(enable ? kEnableStateOn : kEnableStateOff);
  return 0;
}

int AirPlayBridge::onDaemonHomeKitAccess(const std::string& para, const std::string& /*state*/) {
  BLOG_INFO("HomeKit Pairing or Reset");
  const std::string message = json::write(uiMessageTo(json::kHomeKitPairing, para));
  apm->sendMessageToApm(getUiTargetMessageName(), message);
  return 0;
}

int AirPlayBridge::onDaemonUnblank(const std::string& para, const std::string& /*state*/) {
  BLOG_INFO("unblank screen");
  if (para == gam::kScreen) {
    (void)platform->setScreenState(true);
  }
  return 0;
}

void AirPlayBridge::sendMsgToUIAfterPowerOn(const std::string& message) {
  const bool powerOn = tvPowerOn;
  BLOG_INFO("Is TV Power On: %d", powerOn);
  if (!powerOn) {
    // The flag is deliberately not looked at after the last sleep, and the text says 20 s although
    // the wait is 21 s.
    for (int poll = 1;; ++poll) {
      BLOG_INFO("TV is in suspend, wait for 500ms");
      usleep(kPowerPollMicros);
      if (poll == kPowerPolls) {
        BLOG_INFO(
            "Already wait for 20s, TV is still not resume, stop waiting and send the message to UI");
        break;
      }
      if (tvPowerOn) {
        break;
      }
    }
  }

  if (apm == nullptr) {
    BLOG_ERROR("No APM.");
    return;
  }
  apm->sendMessageToApm(getUiTargetMessageName(), message);
}

int AirPlayBridge::processCMD_AirPlay_StartFromDaemon(const std::string& sessionid) {
  if (gam == nullptr) {
    BLOG_ERROR("No GAM");
    return 0;
  }
  const std::optional<std::string> para = sessionMap.find(sessionid);
  if (!para) {
    BLOG_ERROR("Can not found session id: %s", sessionid.c_str());
    return -1;
  }
  const int result = gam->startAirPlayByParam(*para);
  sessionMap.remove(sessionid);
  return result;
}

bool AirPlayBridge::processCMD_AirPlay_KeyCode(const GAM_KeyEvent* event) {
  if (gam == nullptr) {
    BLOG_ERROR("No GAM");
    return false;
  }
  if (airPlayAppStarted) {
    return gam->InjectKeyEvent(event) != 0;
  }
  // A key that comes while the application is down is swallowed.
  return true;
}

// Commands of the UI

void AirPlayBridge::setAirPlayCommandFromUIStatus(bool value) {
  cmdFromUI = value;
  BLOG_INFO("cmdfromUI: %d", value);
}

int AirPlayBridge::processCMD_AirPlay_StartFromInput() {
  BLOG_TRACE();
  if (gam == nullptr) {
    BLOG_ERROR("No GAM");
    return 0;
  }
  setAirPlayCommandFromUIStatus(true);
  startFromInput = true;
  if (airPlayAppStarted) {
    (void)notifyAirPlayStarted();
  }
  return gam->UIStartAirPlayFromInput();
}

int AirPlayBridge::processCMD_AirPlay_StartFromSetting() {
  BLOG_TRACE();
  if (gam == nullptr) {
    BLOG_ERROR("No GAM");
    return 0;
  }
  setAirPlayCommandFromUIStatus(true);
  if (airPlayAppStarted) {
    (void)notifyAirPlayStarted();
  }
  return gam->UIStartAirPlayFromSetting();
}

int AirPlayBridge::processCMD_AirPlay_StartFromHomeKitSetting() {
  BLOG_TRACE();
  if (gam == nullptr) {
    BLOG_ERROR("No GAM");
    return 0;
  }
  setAirPlayCommandFromUIStatus(true);
  if (airPlayAppStarted) {
    (void)notifyAirPlayStarted();
  }
  return gam->UIStartAirPlayFromHomeKitSetting();
}

int AirPlayBridge::processCMD_AirPlay_StopFromUI() {
  if (gam == nullptr) {
    BLOG_ERROR("No GAM");
    return 0;
  }
  setAirPlayCommandFromUIStatus(false);
  if (monotonicSeconds() - lastStartTime < kStopGapSeconds) {
    BLOG_INFO("Stop command from UI comes too fast, sleep 1s");
    usleep(kStopDelayMicros);
  }
  if (airPlayAppStarted) {
    return gam->stopAirPlay();
  }
  BLOG_INFO("AirPlay App was not in foreground, ignore stop command");
  return 0;
}

int AirPlayBridge::processCMD_AirPlay_Stop() {
  if (gam == nullptr) {
    BLOG_ERROR("No GAM");
    return 0;
  }
  // Deliberately without the tests and the delay of a stop from the UI.
  setAirPlayCommandFromUIStatus(false);
  return gam->lowMemoryStopAirPlay();
}

int AirPlayBridge::processCMD_AirPlay_StartTimeout() {
  if (gam == nullptr) {
    BLOG_ERROR("No GAM");
    return 0;
  }
  startFromInput = false;
  setAirPlayCommandFromUIStatus(false);
  return gam->stopAirPlay();
}

// The AirPlay application and power

int AirPlayBridge::notifyAirPlayStarted() {
  if (apm == nullptr) {
    BLOG_ERROR("No APM");
    return 0;
  }
  lastStartTime = monotonicSeconds();
  return apm->airplayStarted();
}

int AirPlayBridge::notifyAirPlayPaused() {
  if (apm == nullptr) {
    BLOG_ERROR("No APM");
    return 0;
  }
  startFromInput = false;
  setAirPlayCommandFromUIStatus(false);
  return isPauseReportEnabled() ? apm->airplayPaused() : 0;
}

int AirPlayBridge::notifyAirPlayStopped() {
  if (apm == nullptr) {
    BLOG_ERROR("No APM");
    return 0;
  }
  startFromInput = false;
  setAirPlayCommandFromUIStatus(false);
  return apm->airplayStopped();
}

void AirPlayBridge::notifyAirPlaySTRSuspend() {
  if (gam == nullptr) {
    BLOG_ERROR("No GAM");
    return;
  }
  tvPowerOn = false;
  setAirPlayCommandFromUIStatus(false);
  BLOG_INFO("STR suspending, airplay app status: %d, airplay daemon status: %d, mdnsd status: %d",
            airPlayAppStarted.get(), daemonRunning.get(), mdnsdRunning.get());
  (void)gam->suspendAirPlayDaemon();
}

void AirPlayBridge::notifyAirPlaySTRResume() {
  if (apm == nullptr || gam == nullptr) {
    BLOG_ERROR("No APM %p, %p", static_cast<void*>(apm), static_cast<void*>(gam));
    return;
  }
  tvPowerOn = true;
  (void)gam->wakeUpAirPlayDaemon();
}

}  // namespace norvale
