#include "gam_bridge_mtk.h"

#include <cstring>

#include "airplay_bridge.h"
#include "application_name.h"
#include "gam_client.h"
#include "gam_words.h"
#include "log.h"

namespace norvale {

namespace {

const char* printable(const char* text) { return text != nullptr ? text : "(null)"; }

int OnSyncCallback(int type, const GAM_Message* msg) {
  BLOG_INFO("Called,type=%d.\n\n", type);
  if (msg == nullptr) {
    return -1;
  }
  if (type != 0) {
    return 0;
  }
  BLOG_INFO("Called, cmd=%s, src=%s, ack=%s, dest=%s, para=%s.", printable(msg->cmd),
            printable(msg->src), printable(msg->ack), printable(msg->dest), printable(msg->para));
  return 0;
}

int OnAsyncCallback(int type, const GAM_Message* msg) {
  BLOG_INFO("Called,type=%d.\n\n", type);
  if (msg == nullptr) {
    return -1;
  }
  if (type != 0) {
    return 0;
  }
  BLOG_INFO("Called, cmd=%s, src=%s, ack=%s, dest=%s, para=%s.", printable(msg->cmd),
            printable(msg->src), printable(msg->ack), printable(msg->dest), printable(msg->para));

  // A longer name that begins with ours is deliberately ours as well.
  if (msg->dest == nullptr ||
      std::strncmp(msg->dest, kApplicationName, sizeof kApplicationName - 1) != 0) {
    return 0;
  }
  BLOG_INFO("Process airplay daemon command");

  // Command and parameter are deliberately not tested for null: the daemon always sends both, and a
  // record without them must end the process rather than pass as a command.
  const std::string cmd(msg->cmd);
  const std::string para(msg->para);
  (void)AirPlayBridge::getInstance()->processCMD_AirPlayMessageFromGAM(cmd, para);
  return 0;
}

}  // namespace

IGamBridge* createGAMBridge() { return new GAMBridgeMTK; }

GAMBridgeMTK::GAMBridgeMTK() { BLOG_INFO("Call."); }

GAMBridgeMTK::~GAMBridgeMTK() {
  BLOG_INFO("Call.");
  (void)GAM_ClientUninit();
}

bool GAMBridgeMTK::connect() {
  BLOG_TRACE();
  const GAM_Callbacks callbacks{OnSyncCallback, OnAsyncCallback};
  int ret = GAM_ClientInit(&callbacks, kApplicationName);
  if (ret < 0) {
    BLOG_ERROR("GAM init failed");
    return false;
  }
  BLOG_INFO("GAM init finished, ret = %d", ret);

  const GAM_Message announcement{kApplicationName, gam::kAppManager, nullptr, gam::kStarted,
                                 kApplicationName};
  ret = GAM_SendCmd(&announcement);
  if (ret < 0) {
    BLOG_ERROR("GAM command send failed");
    return false;
  }
  BLOG_INFO("GAM command send finished, ret = %d", ret);
  return true;
}

void GAMBridgeMTK::bindToClient(IAirPlayBridge* newClient) {
  client = newClient;
  if (newClient == nullptr) {
    BLOG_ERROR("Invalid pointer?  %p , %d", static_cast<void*>(newClient), 1);
  }
}

void GAMBridgeMTK::unbindClient() { client = nullptr; }

int GAMBridgeMTK::UIStartAirPlayFromInput() {
  BLOG_TRACE();
  return sendGAMCommand(gam::kAirPlayDaemon, gam::kAction, gam::kAirPlayDaemon);
}

int GAMBridgeMTK::UIStartAirPlayFromSetting() {
  BLOG_TRACE();
  return sendGAMCommand(gam::kAirPlayDaemon, gam::kSettings, gam::kAirPlayDaemon);
}

int GAMBridgeMTK::UIStartAirPlayFromHomeKitSetting() {
  BLOG_TRACE();
  return sendGAMCommand(gam::kAirPlayDaemon, gam::kHomeKitSettings, gam::kAirPlayDaemon);
}

int GAMBridgeMTK::stopAirPlay() {
  BLOG_TRACE();
  return sendGAMCommand(gam::kAirPlayDaemon, gam::kBringAppToBackground, gam::kAirPlayDaemon);
}

int GAMBridgeMTK::lowMemoryStopAirPlay() {
  BLOG_TRACE();
  return sendGAMCommand(gam::kAirPlayDaemon, gam::kStopApp, gam::kAirPlayDaemon);
}

int GAMBridgeMTK::startAirPlayByParam(const std::string& param) {
  BLOG_TRACE();
  // Only this command takes its parameter in brackets.
  return sendGAMCommand(gam::kAppManager, gam::kStart, "[" + param + "]");
}

int GAMBridgeMTK::sendAirPlaybackground(const std::string& param) {
  BLOG_TRACE();
  return sendGAMCommand(gam::kAppManager, gam::kBackground, param);
}

int GAMBridgeMTK::stopAirPlayByParam(const std::string& param) {
  BLOG_TRACE();
  return sendGAMCommand(gam::kAppManager, gam::kStop, param);
}

int GAMBridgeMTK::bringAirPlayForeground(const std::string& param) {
  BLOG_TRACE();
  return sendGAMCommand(gam::kAppManager, gam::kForeground, param);
}

int GAMBridgeMTK::InjectKeyEvent(const GAM_KeyEvent* event) {
  BLOG_INFO("receive key code %d", event->code);
  return GAM_InjectInputEvent(event, sizeof *event);
}

int GAMBridgeMTK::startAirPlayDaemon() {
  BLOG_TRACE();
  return sendGAMCommand(gam::kAppManager, gam::kStart, gam::kAirPlayDaemon);
}

int GAMBridgeMTK::resetAirPlayDaemon() {
  BLOG_TRACE();
  return sendGAMCommand(gam::kAppManager, gam::kReset, gam::kAirPlayDaemon);
}

int GAMBridgeMTK::startMdnsd() {
  BLOG_TRACE();
  return sendGAMCommand(gam::kAppManager, gam::kStart, gam::kMdnsd);
}

int GAMBridgeMTK::suspendAirPlayDaemon() {
  BLOG_TRACE();
  return sendGAMCommand(gam::kAirPlayDaemon, gam::kSuspend, gam::kAirPlayDaemon);
}

int GAMBridgeMTK::wakeUpAirPlayDaemon() {
  BLOG_TRACE();
  return sendGAMCommand(gam::kAirPlayDaemon, gam::kWakeUp, gam::kAirPlayDaemon);
}

int GAMBridgeMTK::setAirPlayEnable(bool enable) {
  BLOG_TRACE();
  return sendGAMCommand(gam::kAirPlayDaemon, gam::kAirPlayEnabled,
                        enable ? gam::kEnable : gam::kDisable);
}

int GAMBridgeMTK::sendGAMCommand(const std::string& dest, const std::string& cmd,
                                 const std::string& param) {
  BLOG_INFO("cmd: %s,  dest: %s, param: %s", cmd.c_str(), dest.c_str(), param.c_str());

  // A sender names the destination in the second field and leaves the third null.
  const GAM_Message message{kApplicationName, dest.c_str(), nullptr, cmd.c_str(), param.c_str()};
  return GAM_SendCmd(&message);
}

}  // namespace norvale
