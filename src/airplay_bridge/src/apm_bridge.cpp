#include "apm_bridge.h"

#include <boost/make_shared.hpp>
#include <stdexcept>
#include <utility>

#include "app_manager_client.h"
#include "app_message_words.h"
#include "application_name.h"
#include "i_airplay_bridge.h"
#include "json_text.h"
#include "life_cycle.h"
#include "log.h"
#include "system_apm_getter.h"

namespace norvale {

namespace {

// States of the AirPlay application, as the application manager knows them: single bits, of which
// one is reported at a time.
constexpr int kStatusStarted = 1;
constexpr int kStatusPaused = 2;
constexpr int kStatusStopped = 4;
constexpr int kStatusSuspendToRam = 8;

// The reason for suspend to RAM and resume that concerns AirPlay.
constexpr int kReasonPower = 2;

}  // namespace

// The callback object that the application manager's library shares. Texts are copied before they
// go on; without a link behind it every callback answers 0.
class APMBridge::APMClientWrapper : public nv::appmanager::AppInterface {
 public:
  explicit APMClientWrapper(APMBridge* owner) : bridge(owner) {}

  int onRunning(const std::string& appUrl, const std::string& param) override {
    return bridge == nullptr ? 0 : bridge->onRunning(std::string(appUrl), std::string(param));
  }
  int onDestroy(const std::string& appUrl, const std::string& param) override {
    return bridge == nullptr ? 0 : bridge->onDestroy(std::string(appUrl), std::string(param));
  }
  int onSuspend(const std::string& appUrl, const std::string& param) override {
    return bridge == nullptr ? 0 : bridge->onSuspend(std::string(appUrl), std::string(param));
  }
  int reserved1() override { return 0; }
  int reserved2() override { return 0; }
  int reserved3() override { return 0; }
  int onSTRSuspending(const std::string& /*appUrl*/, int /*reason*/) override {
    BLOG_TRACE();
    return 0;
  }
  int onSTRSuspend(const std::string& appUrl, int reason) override {
    return bridge == nullptr ? 0 : bridge->onSTRSuspend(std::string(appUrl), reason);
  }
  int onSTRResume(const std::string& appUrl, int reason) override {
    return bridge == nullptr ? 0 : bridge->onSTRResume(std::string(appUrl), reason);
  }
  int onSTRResuming(const std::string& /*appUrl*/, int /*reason*/) override {
    BLOG_TRACE();
    return 0;
  }
  int reserved4() override { return 0; }
  int reserved5() override { return 0; }
  int reserved6() override { return 0; }
  int reserved7() override { return 0; }
  int reserved8() override { return 0; }
  int notifyAppEventMessage(const std::string& src, const std::string& dst,
                            const std::string& msg) override {
    return bridge == nullptr ? 0
                             : bridge->notifyAppEventMessage(std::string(src), std::string(dst),
                                                             std::string(msg));
  }
  int onKeyEvent(const GAM_KeyEvent& key) override {
    return bridge == nullptr ? 0 : bridge->onKeyEvent(key);
  }

  // Fails deliberately, as a string built from a null text does: there is no text to give, and a
  // set that asks for one is not the set that this service is for.
  std::string reservedText() override {
    throw std::logic_error("basic_string::_M_construct null not valid");
  }
  int reserved9() override { return 0; }
  int reserved10() override { return 0; }
  int reserved11() override { return 0; }

 private:
  APMBridge* const bridge;  // not owned
};

APMBridge::APMBridge(std::shared_ptr<SystemAPMGetter> getter) : apmGetter(std::move(getter)) {
  BLOG_TRACE();
  wrapper = boost::make_shared<APMClientWrapper>(this);
}

APMBridge::~APMBridge() {
  BLOG_TRACE();
  if (apmGetter) {
    if (auto* const apm = apmGetter->getAppManagerClient()) {
      (void)apm->unregisterApp(kApplicationName);
    }
  }
  apmGetter.reset();
  wrapper.reset();
}

bool APMBridge::connect() {
  BLOG_TRACE();
  if (!apmGetter) {
    return false;
  }
  auto* const apm = apmGetter->getAppManagerClient();
  if (apm == nullptr) {
    BLOG_ERROR("Failed to get an instance of AppManagerClient ");
    return false;
  }
  (void)apm->registerApp(getAppName(), wrapper);
  return true;
}

std::string APMBridge::getAppName() { return kApplicationName; }

void APMBridge::bindToClient(IAirPlayBridge* newClient) {
  BLOG_TRACE();
  client.bind(newClient);
}

void APMBridge::removeClient() {
  BLOG_TRACE();
  if (!apmGetter) {
    return;
  }
  if (auto* const apm = apmGetter->getAppManagerClient()) {
    (void)apm->unregisterApp(getAppName());
  }
  client.bind(nullptr);
}

void APMBridge::sendAirPlayStatusToAPM(int status) {
  BLOG_TRACE();
  if (!apmGetter) {
    return;
  }
  auto* const apm = apmGetter->getAppManagerClient();
  if (apm == nullptr) {
    BLOG_ERROR("Get apm failed");
    return;
  }
  (void)apm->setAppStatus(kApplicationName, status);
}

int APMBridge::airplayStarted() {
  sendAirPlayStatusToAPM(kStatusStarted);
  BLOG_INFO("AirPlay app started");
  return 0;
}

int APMBridge::airplayPaused() {
  sendAirPlayStatusToAPM(kStatusPaused);
  BLOG_INFO("AirPlay app paused");
  return 0;
}

int APMBridge::airplayStopped() {
  sendAirPlayStatusToAPM(kStatusStopped);
  BLOG_INFO("AirPlay app stopped");
  return 0;
}

void APMBridge::sendMessageToApm(const std::string& target, const std::string& message) {
  if (!apmGetter) {
    return;
  }
  auto* const apm = apmGetter->getAppManagerClient();
  if (apm == nullptr) {
    BLOG_ERROR("Get apm failed");
    return;
  }
  BLOG_INFO("Message : %s->%s, %s ", kApplicationName, target.c_str(), message.c_str());
  (void)apm->sendMessage(kApplicationName, target, message);
}

// Callbacks

int APMBridge::onRunning(const std::string& appUrl, const std::string& param) {
  BLOG_INFO("app_url: %s, param: %s", appUrl.c_str(), param.c_str());
  IAirPlayBridge* const bridge = client.get();
  if (bridge == nullptr) {
    BLOG_ERROR("Client is not set yet, ignore .");
    return 0;
  }
  if (processAirPlayLifeCycle(param) == 0) {
    BLOG_INFO("Airplay running");
  } else {
    BLOG_ERROR("Airplay start failed");
    sendMessageToApm(bridge->getUiTargetMessageName(), json::kStartFailed);
  }
  return 0;
}

int APMBridge::onSuspend(const std::string& appUrl, const std::string& param) {
  BLOG_INFO("app_url: %s, param: %s", appUrl.c_str(), param.c_str());
  IAirPlayBridge* const bridge = client.get();
  if (bridge == nullptr) {
    BLOG_ERROR("Client is not set yet, ignore .");
    return 0;
  }
  bridge->setAirPlayLifeCycle({life_cycle::kStopping, param});
  return bridge->processCMD_AirPlay_StopFromUI();
}

int APMBridge::onDestroy(const std::string& /*appUrl*/, const std::string& /*param*/) { return 0; }

int APMBridge::onSTRSuspend(const std::string& appUrl, int reason) {
  BLOG_INFO("app_url: %s, reason: %d", appUrl.c_str(), reason);
  IAirPlayBridge* const bridge = client.get();
  if (bridge == nullptr) {
    BLOG_ERROR("Client is not set yet, ignore .");
    return 0;
  }
  if (reason == kReasonPower) {
    bridge->notifyAirPlaySTRSuspend();
  }
  sendAirPlayStatusToAPM(kStatusSuspendToRam);
  return 0;
}

int APMBridge::onSTRResume(const std::string& appUrl, int reason) {
  BLOG_INFO("app_url: %s, reason: %d", appUrl.c_str(), reason);
  IAirPlayBridge* const bridge = client.get();
  if (bridge == nullptr) {
    BLOG_ERROR("Client is not set yet, ignore .");
    return 0;
  }
  // Deliberately no status here, unlike on suspend.
  if (reason == kReasonPower) {
    bridge->notifyAirPlaySTRResume();
  }
  return 0;
}

int APMBridge::onKeyEvent(const GAM_KeyEvent& key) {
  BLOG_TRACE();
  IAirPlayBridge* const bridge = client.get();
  if (bridge == nullptr) {
    BLOG_ERROR("Client is not set yet, ignore .");
    return 0;
  }
  return bridge->processCMD_AirPlay_KeyCode(&key) ? 1 : 0;
}

int APMBridge::notifyAppEventMessage(const std::string& src, const std::string& dst,
                                     const std::string& msg) {
  BLOG_INFO("src: %s, dst: %s, msg: %s", src.c_str(), dst.c_str(), msg.c_str());
  IAirPlayBridge* const bridge = client.get();
  if (bridge == nullptr) {
    BLOG_ERROR("Client is not set yet, ignore .");
    return 0;
  }
  if (msg == json::kEventStartTimeout) {
    (void)bridge->processCMD_AirPlay_StartTimeout();
    return 0;
  }
  if (msg == json::kEventLowMemory) {
    (void)bridge->processCMD_AirPlay_Stop();
    return 0;
  }
  if (msg == json::kEventRegistered) {
    BLOG_INFO("Register to APM done.");
    return 0;
  }

  Json::Value root;
  Json::Value type;
  if (processJsonMessage(msg, root, type) != 0) {
    BLOG_ERROR("process Json Message failed");
    return -1;
  }
  // A message of another type is deliberately no failure here, unlike in a launch text.
  return type == json::kAirPlayMessage ? processAirPlayMessage(root) : 0;
}

// App messages

int APMBridge::processJsonMessage(const std::string& text, Json::Value& root, Json::Value& type) {
  if (!json::parse(text, root)) {
    BLOG_ERROR("Invalid   App message format  [%s]", text.c_str());
    return -1;
  }
  type = json::member(root, json::kType, json::kUnknown);
  if (type.isString() && type != json::kUnknown) {
    return 0;
  }
  BLOG_ERROR("Message type Invalid");
  return -1;
}

int APMBridge::processAirPlayLifeCycle(const std::string& text) {
  Json::Value root;
  Json::Value type;
  if (processJsonMessage(text, root, type) != 0) {
    BLOG_ERROR("process Json Message failed");
    return -1;
  }
  return type == json::kAirPlayMessage ? processAirPlayMessage(root) : -1;
}

int APMBridge::processAirPlayMessage(const Json::Value& root) {
  const Json::Value cmd = json::member(root, json::kCmd, json::kUnknown);
  if (!cmd.isString()) {
    BLOG_ERROR("Invalid cmd");
    return -1;
  }
  const std::string word = cmd.asString();

  IAirPlayBridge* const bridge = client.get();
  if (bridge == nullptr) {
    BLOG_ERROR("Client is not set yet, ignore  %s.", word.c_str());
    return 0;
  }
  if (word == json::kStart) {
    const Json::Value from = json::member(root, json::kFrom, json::kUnknown);
    if (!from.isString()) {
      BLOG_ERROR("Invalid from");
      return -1;
    }
    return startFrom(*bridge, from.asString(), root);
  }
  if (word == json::kStop) {
    BLOG_INFO("UI window quit");
    return bridge->processCMD_AirPlay_StopFromUI();
  }
  BLOG_ERROR("Unknown Command: %s", word.c_str());
  return -1;
}

int APMBridge::startFrom(IAirPlayBridge& bridge, const std::string& from, const Json::Value& root) {
  struct Row {
    const char* from;
    int (IAirPlayBridge::*start)();
  };
  static constexpr Row kRows[] = {
      {json::kFromTVInput, &IAirPlayBridge::processCMD_AirPlay_StartFromInput},
      {json::kFromSwitchInput, &IAirPlayBridge::processCMD_AirPlay_StartFromInput},
      {json::kFromSetting, &IAirPlayBridge::processCMD_AirPlay_StartFromSetting},
      {json::kFromHomeKitSetting, &IAirPlayBridge::processCMD_AirPlay_StartFromHomeKitSetting},
  };

  for (const Row& row : kRows) {
    if (from == row.from) {
      bridge.setAirPlayLifeCycle({life_cycle::kStarting, life_cycle::kNorvaleUI});
      return (bridge.*row.start)();
    }
  }
  if (from == json::kFromAirPlayApp) {
    // Without a session id the default passes for one, deliberately; the bridge will not know it.
    const Json::Value sessionid = json::member(root, json::kSessionId, json::kUnknown);
    if (!sessionid.isString()) {
      BLOG_ERROR("Invalid sessionid");
      return -1;
    }
    bridge.setAirPlayLifeCycle({life_cycle::kStarting, life_cycle::kDaemon});
    return bridge.processCMD_AirPlay_StartFromDaemon(sessionid.asString());
  }
  BLOG_ERROR("Unknown from: %s", from.c_str());
  return -1;
}

}  // namespace norvale
