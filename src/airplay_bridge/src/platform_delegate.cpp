#include "platform_delegate.h"

#include <unistd.h>

#include "app_message_words.h"
#include "i_airplay_bridge.h"
#include "json_text.h"
#include "life_cycle.h"
#include "log.h"
#include "platform_rules.h"
#include "settings_keys.h"
#include "value_handler.h"

namespace norvale {

namespace {

constexpr int kSuccess = 0;
constexpr int kConnectTimeoutMs = 1000;

// This build's product: an MT9602 television.
constexpr char kPlatformName[] = "MT9602";
constexpr int kPlatformCode = 309602;
constexpr int kDeviceType = 0;

// Where messages for the UI go in the markets of this build.
constexpr char kLauncher[] = "launcher";

// The support decision.
constexpr int kUndecided = -1;
constexpr int kNotSupported = 0;
constexpr int kSupported = 1;

// What a region that cannot be read counts as: one that is not supported.
constexpr int kUnreadableRegion = 111;

// Test overrides: their existence counts, not their content.
constexpr char kEnableOverride[] = "/var/local/enable_airplay";
constexpr char kDisableOverride[] = "/var/local/disable_airplay";

constexpr int kEulaAccepted = 1;
constexpr int kEulaUnread = -1;
constexpr int kFactoryModeOn = 1;
constexpr int kNetworkUp = 1;

// An input is four strings of the input list, its name first.
constexpr std::size_t kStringsPerInput = 4;
constexpr char kTunerInput[] = "TV";

constexpr char kMuteKey[] = "KEY_MUTE";
constexpr useconds_t kMuteKeyMicros = 300'000;

bool exists(const char* path) { return access(path, F_OK) == 0; }

// The outcome of a sent key changes nothing.
class TVPlatformAPIActionHandlerImpl : public system::access::ActionHandler {
 public:
  void onActionResult(const system::access::ValueObject& /*result*/) override { BLOG_TRACE(); }
  void onActionFailed(int /*status*/) override { BLOG_TRACE(); }
};

}  // namespace

PlatformDelegate::PlatformDelegate()
    : supportDecision(kUndecided),
      uiTargetName(nullptr),
      airPlayEnable(std::make_shared<IntegerAccess>(keys::kAirPlayEnable)),
      airPlaySupport(std::make_shared<IntegerAccess>(keys::kAirPlaySupport)),
      airPlayStatus(std::make_shared<VectorAccess>(keys::kAirPlayStatus)),
      fullBrand(std::make_shared<StringAccess>(keys::kFullBrand)),
      logo(std::make_shared<IntegerAccess>(keys::kLogo)),
      networkAvailable(std::make_shared<IntegerAccess>(
          keys::kNetworkAvailable, handlerFor(&PlatformDelegate::onNetworkAvailableChanged))),
      appStatus(std::make_shared<StringAccess>(keys::kAppStatus,
                                               handlerFor(&PlatformDelegate::onAppStatusChanged))),
      openFromStandby(std::make_shared<IntegerAccess>(keys::kOpenFromStandby)),
      powerUseCase(std::make_shared<IntegerAccess>(keys::kPowerUseCase)),
      inputName(std::make_shared<VectorAccess>(keys::kInputName)),
      dppEula(std::make_shared<IntegerAccess>(keys::kDppEula,
                                              handlerFor(&PlatformDelegate::onDppEulaChanged))),
      eulaGeneral(std::make_shared<IntegerAccess>(
          keys::kEulaGeneral, handlerFor(&PlatformDelegate::onEulaGeneralChanged))),
      screenState(std::make_shared<IntegerAccess>(keys::kScreenState)),
      currentApp(std::make_shared<StringAccess>(
          keys::kCurrentApp, handlerFor(&PlatformDelegate::onCurrentAppChanged))),
      hotelOptionChanged(std::make_shared<IntegerAccess>(keys::kHotelOptionChanged)),
      factoryState(std::make_shared<IntegerAccess>(keys::kFactoryState)),
      mainMute(std::make_shared<IntegerAccess>(keys::kMainMute)),
      sendKey(std::make_shared<ActionAccess>(keys::kSendKeyAction,
                                             std::make_shared<TVPlatformAPIActionHandlerImpl>())),
      tunerSupport(std::make_shared<IntegerAccess>(keys::kTunerSupport)),
      audioOnly(std::make_shared<IntegerAccess>(keys::kAudioOnly)),
      userEnabled(std::make_shared<IntegerAccess>(keys::kUserEnabled)),
      productionType(std::make_shared<StringAccess>(keys::kProductionType)),
      softwareVersion(std::make_shared<StringAccess>(keys::kSoftwareVersion)),
      serialNumber(std::make_shared<StringAccess>(keys::kSerial)),
      region(std::make_shared<IntegerAccess>(keys::kRegion)),
      laserTvEnable(std::make_shared<IntegerAccess>(keys::kLaserTvEnable)) {
  // Not before everything is open: a change of one EULA value reads the other.
  (void)dppEula->connect(kConnectTimeoutMs);
  (void)eulaGeneral->connect(kConnectTimeoutMs);
}

std::shared_ptr<system::access::ValueHandler> PlatformDelegate::handlerFor(Handler method) {
  return std::make_shared<ValueHandlerT<PlatformDelegate>>(this, method);
}

// Connection

void PlatformDelegate::connect() {
  BLOG_INFO("Will connect LocalNetwork Value.");
  int status = networkAvailable->connect(kConnectTimeoutMs);
  if (status != kSuccess) {
    BLOG_ERROR("Fail to connect LocalNetwork Value, status: %d", status);
  }
  BLOG_INFO("Will connect application status Value.");
  status = appStatus->connect(kConnectTimeoutMs);
  if (status != kSuccess) {
    BLOG_ERROR("Fail to connect application status Value, status: %d", status);
  }
  BLOG_INFO("Will connect current app Value.");
  status = currentApp->connect(kConnectTimeoutMs);
  if (status != kSuccess) {
    BLOG_ERROR("Fail to connect current app Value, status: %d", status);
  }

  int dpp = kEulaUnread;
  int general = kEulaUnread;
  (void)getDppEula(dpp);
  (void)getEulaGeneral(general);
  BLOG_INFO("DppEula: %d, EulaGeneral: %d", dpp, general);
}

void PlatformDelegate::bindToClient(IAirPlayBridge* newClient) {
  if (newClient == nullptr) {
    BLOG_ERROR("Invalid pointer? %p , %d", static_cast<void*>(newClient), 1);
  }
  client.bind(newClient);
}

void PlatformDelegate::removeClient(IAirPlayBridge* /*oldClient*/) { client.bind(nullptr); }

// Changes

void PlatformDelegate::onNetworkAvailableChanged(const ValueObject& value) {
  const int state = value.toInt();
  BLOG_INFO("state:%d.", state);
  if (IAirPlayBridge* const bridge = client.get()) {
    bridge->networkAvailableChanged(state == kNetworkUp);
  }
}

void PlatformDelegate::onDppEulaChanged(const ValueObject& value) {
  const int dpp = value.toInt();
  int general = 0;
  (void)getEulaGeneral(general);
  if (IAirPlayBridge* const bridge = client.get()) {
    bridge->eulaChanged(isEulaEnabled(dpp, general));
  }
}

void PlatformDelegate::onEulaGeneralChanged(const ValueObject& value) {
  const int general = value.toInt();
  int dpp = 0;
  (void)getDppEula(dpp);
  if (IAirPlayBridge* const bridge = client.get()) {
    bridge->eulaChanged(isEulaEnabled(dpp, general));
  }
}

bool PlatformDelegate::isEulaEnabled(int dpp, int general) {
  if (dpp == kEulaUnread) {
    (void)getDppEula(dpp);
  }
  if (general == kEulaUnread) {
    (void)getEulaGeneral(general);
  }
  BLOG_INFO("dpp eula: %d, eula general: %d", dpp, general);
  return dpp == kEulaAccepted && general == kEulaAccepted;
}

void PlatformDelegate::onCurrentAppChanged(const ValueObject& value) {
  BLOG_INFO("Current App change to %s", value.toString().c_str());
}

void PlatformDelegate::onAppStatusChanged(const ValueObject& value) {
  struct Row {
    const char* appId;
    void (PlatformDelegate::*handle)(IAirPlayBridge& bridge, const std::string& status);
  };
  static constexpr Row kRows[] = {
      {json::kAirPlayApp, &PlatformDelegate::onAirPlayAppStatus},
      {json::kAirPlayDaemon, &PlatformDelegate::onAirPlayDaemonStatus},
      {json::kMdnsd, &PlatformDelegate::onMdnsdStatus},
  };

  BLOG_TRACE();
  const std::string text = value.toString();
  BLOG_INFO("Application status:'%s'.", text.c_str());

  Json::Value root;
  if (!json::parse(text, root)) {
    BLOG_ERROR("Invalid   App message format");
    return;
  }
  const Json::Value appId = json::member(root, json::kAppId, json::kUnknownApp);
  const Json::Value status = json::member(root, json::kAppStatus, json::kUnknownApp);
  if (!appId.isString() || appId == json::kUnknownApp) {
    BLOG_ERROR("Invalid app id");
    return;
  }

  IAirPlayBridge* const bridge = client.get();
  if (bridge == nullptr) {
    return;
  }

  // A status that is no string is no status that anybody knows.
  const std::string word = status.isString() ? status.asString() : json::kUnknownApp;
  for (const Row& row : kRows) {
    if (appId == row.appId) {
      (this->*row.handle)(*bridge, word);
      return;
    }
  }
  BLOG_INFO("Do not care this app [%s] [%s]", appId.asString().c_str(), word.c_str());
}

void PlatformDelegate::onAirPlayAppStatus(IAirPlayBridge& bridge, const std::string& status) {
  if (status == json::kStarted) {
    (void)bridge.notifyAirPlayStarted();
    bridge.setAirPlayAppStatus(true);
    (void)setAirPlayLifeCycle({life_cycle::kStarted, ""});
  } else if (status == json::kPaused) {
    // A paused application is deliberately recorded as stopped.
    (void)bridge.notifyAirPlayPaused();
    bridge.setAirPlayAppStatus(false);
    (void)setAirPlayLifeCycle({life_cycle::kStopped, ""});
  } else if (status == json::kStopped) {
    (void)bridge.notifyAirPlayStopped();
    bridge.setAirPlayAppStatus(false);
    (void)setAirPlayLifeCycle({life_cycle::kStopped, ""});
  } else {
    BLOG_ERROR("Invalid AirPlay status");
  }
}

void PlatformDelegate::onAirPlayDaemonStatus(IAirPlayBridge& bridge, const std::string& status) {
  // A paused daemon runs, deliberately unlike a paused application.
  if (status == json::kPaused || status == json::kStarted) {
    bridge.setAirPlayDaemonStatus(true);
  } else if (status == json::kStopped) {
    bridge.setAirPlayDaemonStatus(false);
  } else {
    BLOG_ERROR("Invalid AirPlayDaemon status");
  }
}

void PlatformDelegate::onMdnsdStatus(IAirPlayBridge& bridge, const std::string& status) {
  if (status == json::kPaused || status == json::kStarted) {
    bridge.setMdnsdStatus(true);
  } else if (status == json::kStopped) {
    bridge.setMdnsdStatus(false);
  } else {
    BLOG_ERROR("Invalid mdnsd status");
  }
}

// Policy

bool PlatformDelegate::airPlayIsSupported() {
  if (exists(kEnableOverride)) {
    BLOG_INFO_FIRST(10, "AirPlay is enabled manually for testing purpose.");
    return true;
  }
  const int decision = supportDecision;
  if (decision == kSupported || decision == kNotSupported) {
    return decision == kSupported;
  }
  return decideSupport();
}

bool PlatformDelegate::decideSupport() {
  int capability = -1;
  int status = airPlaySupport->get(capability);
  if (status != kSuccess) {
    BLOG_ERROR("Error get airplay supported or not %d, assuming NOT.", status);
    supportDecision = kUndecided;
    return false;
  }
  if (capability == 0) {
    BLOG_INFO("AirPlay is not supported for this device");
    supportDecision = kNotSupported;
    return false;
  }

  std::string brandName;
  const int brandNameStatus = fullBrand->get(brandName);
  int brandId = 0;
  status = logo->get(brandId);
  if (status != kSuccess) {
    BLOG_ERROR("brandID is missing. assuming airplay not supported for now.");
    supportDecision = kUndecided;
    return false;
  }
  BLOG_INFO_FIRST(10, "BrandName(%d): [%s], BrandID(%d): [%d]", brandNameStatus, brandName.c_str(),
                  status, brandId);

  // The status is deliberately ignored: a region that cannot be read is not a supported one.
  int regionValue = kUnreadableRegion;
  (void)region->get(regionValue);
  const int market = checkMarket(regionValue);

  if (isPlatformSupported(kPlatformCode, kDeviceType, market, brandId)) {
    BLOG_INFO("Airplay is supported for brand: %d[%s], market: %d(%d), device type: %d ", brandId,
              brandName.c_str(), market, regionValue, kDeviceType);
    supportDecision = kSupported;
    return true;
  }
  BLOG_INFO("Airplay is Not support for current brand: %s(%d), market: %d(%d), device type: %d ",
            brandName.c_str(), brandId, market, regionValue, kDeviceType);
  supportDecision = kNotSupported;
  return false;
}

int PlatformDelegate::checkMarket(int regionCode) {
  switch (regionCode) {
    case 0:
    case 1:
    case 2:
    case 3:
      return 0;
    case 4:
    case 5:
    case 6:
    case 7:
      return 1;
    case 8:
      return 4;
    case 9:
      return 3;
    case 10:
      return 2;
    case 13:
      return 5;
    default:
      BLOG_INFO_FIRST(10, "Not supported Region, %d assuming Not supported.", regionCode);
      return kUnsupportedMarket;
  }
}

bool PlatformDelegate::airPlayIsEnabled() {
  if (exists(kEnableOverride)) {
    BLOG_INFO_FIRST(10, "AirPlay is enabled manually for testing purpose.");
    return true;
  }
  if (!airPlayIsSupported()) {
    return false;
  }
  if (exists(kDisableOverride)) {
    BLOG_INFO_FIRST(10, "AirPlay is disabled manually for testing purpose.");
    return false;
  }
  if (isFactoryMode()) {
    BLOG_INFO_FIRST(30, "platform is in factory mode, Disable airplay.");
    return false;
  }
  if (isHotelMode()) {
    // The viewer's switch is not looked at here, whatever the text says.
    BLOG_INFO_FIRST(10, "TVS Hotel mode. checking user switch...");
    return false;
  }
  BLOG_INFO_FIRST(10, "Enable airplay by default.");
  return true;
}

bool PlatformDelegate::isFactoryMode() {
  int state = 0;
  return factoryState->get(state) == kSuccess && state == kFactoryModeOn;
}

// This build has no source for it; a variant that has one overrides this.
bool PlatformDelegate::isHotelMode() { return false; }

// Identity

int PlatformDelegate::getBrandName(std::string& name) {
  const int status = fullBrand->get(name);
  BLOG_INFO("BrandName: %d, %s", status, name.c_str());
  return status;
}

int PlatformDelegate::getModelName(std::string& name) {
  const int status = productionType->get(name);
  BLOG_INFO("ModelName: %d, %s", status, name.c_str());
  return status;
}

int PlatformDelegate::getSoftwareVersion(std::string& version) {
  const int status = softwareVersion->get(version);
  BLOG_INFO("Software Version: %d, %s", status, version.c_str());
  return status;
}

int PlatformDelegate::getPlatformName(std::string& name) {
  name = kPlatformName;
  return kSuccess;
}

int PlatformDelegate::getDeviceSN(std::string& serial) {
  const int status = serialNumber->get(serial);
  BLOG_INFO("DeviceSN:%d [%s]", status, serial.c_str());
  return status;
}

// State

int PlatformDelegate::getAirPlayEnableState(int& state) {
  state = -1;
  return airPlayEnable->get(state);
}

void PlatformDelegate::setAirPlayEnableState(int state) {
  int before = 0;
  (void)airPlayEnable->get(before);
  // Unlike the other setters this one deliberately tells nobody how the write went.
  (void)airPlayEnable->set(state);
  BLOG_INFO("AirPlay EnableState: %d -> %d", before, state);
}

int PlatformDelegate::isNetworkAvailable(bool& available) {
  int state = 0;
  const int status = networkAvailable->get(state);
  available = status == kSuccess && state == kNetworkUp;
  return status;
}

int PlatformDelegate::getOpenFromStandby(int& reason) {
  const int status = openFromStandby->get(reason);
  BLOG_INFO("get Open From Standby: %d", reason);
  return status;
}

int PlatformDelegate::setOpenFromStandby(int reason) {
  const int status = openFromStandby->set(reason);
  BLOG_INFO("set Open From Standby: %d", reason);
  return status;
}

int PlatformDelegate::getPowerUseCase(int& useCase) {
  const int status = powerUseCase->get(useCase);
  BLOG_INFO("get Power Use Case: %d", useCase);
  return status;
}

int PlatformDelegate::setPowerUseCase(int useCase) {
  const int status = powerUseCase->set(useCase);
  BLOG_INFO("set Power Use Case: %d", useCase);
  return status;
}

int PlatformDelegate::getDppEula(int& accepted) { return dppEula->get(accepted); }

int PlatformDelegate::getEulaGeneral(int& accepted) { return eulaGeneral->get(accepted); }

int PlatformDelegate::setScreenState(bool on) {
  const int wanted = on ? 0 : 1;
  BLOG_INFO("Set Audio Only mode: %d", wanted);

  int current = -1;
  const int status = audioOnly->get(current);
  if (status != kSuccess) {
    BLOG_ERROR("Failed to read audio only mode. ");
    return status;
  }
  // A write that changes nothing would only cause settings traffic.
  if (current == wanted) {
    BLOG_INFO("Audio only mode not changed, skip set value. ");
    return kSuccess;
  }
  return audioOnly->set(wanted);
}

int PlatformDelegate::setAirPlayLifeCycle(const std::vector<std::string>& list) {
  return airPlayStatus->set(list);
}

int PlatformDelegate::getAirPlayLifeCycle(std::vector<std::string>& list) {
  const int status = airPlayStatus->get(list);
  BLOG_INFO("airplay life cycle is %s", list.empty() ? life_cycle::kEmpty : list.front().c_str());
  return status;
}

int PlatformDelegate::getCurrentApp(std::string& app) { return currentApp->get(app); }

std::string PlatformDelegate::getUiTargetMessageName() {
  if (uiTargetName == nullptr) {
    BLOG_INFO("Other Market, UI is launcher");
    uiTargetName = kLauncher;
  }
  return uiTargetName.get();
}

// Inputs and mute

int PlatformDelegate::getInputSourceList(std::vector<std::string>& names) {
  BLOG_TRACE();
  return getInputNameList(names);
}

int PlatformDelegate::getInputNameList(std::vector<std::string>& names) {
  std::vector<std::string> all;
  const int result = inputName->get(all);

  int tuner = 1;
  const bool tunerRead = tunerSupport->get(tuner) == kSuccess;
  if (!tunerRead) {
    BLOG_ERROR_FIRST(10,
                     "Failed to access SL2_TVAPI_I32_CHANNEL_SEARCH_TUNER_SUPPORT, assuming tuner "
                     "is supported");
  }
  if (!tunerRead || tuner != 0) {
    names = all;
    return result;
  }

  BLOG_INFO_FIRST(10, "Tuner  Supported: %d , Original source count : %d /4", tuner,
                  static_cast<int>(all.size()));
  for (std::size_t first = 0; first + kStringsPerInput <= all.size(); first += kStringsPerInput) {
    if (all[first] != kTunerInput) {
      const auto input = all.begin() + static_cast<std::ptrdiff_t>(first);
      names.insert(names.end(), input, input + kStringsPerInput);
    }
  }
  BLOG_INFO_FIRST(10, "Processed Input list count: %d /4 ", static_cast<int>(names.size()));
  return result;
}

void PlatformDelegate::setUnmute() {
  int mute = -1;
  (void)mainMute->get(mute);
  if (mute > 0) {
    using system::access::ActionArgument;
    int result = -2;
    (void)sendKey->invoke({{ActionArgument::Type::kText, kMuteKey}}, result);
    BLOG_INFO("System is mute, send a mute key to unmute, mute status is %d", mute);
    usleep(kMuteKeyMicros);
  } else if (mute == 0) {
    BLOG_INFO("System is unmute, do nothing");
  } else {
    BLOG_ERROR("Error to get system mute status: %d", mute);
  }
}

}  // namespace norvale
