// APMBridge: the service as an application of the set's application manager.
#pragma once

#include <boost/shared_ptr.hpp>
#include <memory>

#include "i_apm_bridge.h"
#include "relaxed.h"

namespace Json {
class Value;
}

namespace norvale {

class SystemAPMGetter;

// Registers the application, turns the application manager's callbacks into operations of the
// bridge, reports the AirPlay application's state, and carries messages to other applications.
//
// Threads: callbacks come on the application manager's thread, reports and messages go out on
// whatever thread the bridge is called on. The client is asked for anew for each use.
class APMBridge : public IApmBridge {
 public:
  class APMClientWrapper;

  // |getter| may be empty: then there is no application manager. Contacts nobody.
  explicit APMBridge(std::shared_ptr<SystemAPMGetter> getter);

  // Unregisters first, so that no callback meets a link that is going away.
  ~APMBridge() override;
  APMBridge(const APMBridge&) = delete;
  APMBridge& operator=(const APMBridge&) = delete;

  bool connect() override;
  std::string getAppName() override;
  void bindToClient(IAirPlayBridge* newClient) override;
  void removeClient() override;
  void sendMessageToApm(const std::string& target, const std::string& message) override;
  int airplayStarted() override;
  int airplayStopped() override;
  int airplayPaused() override;
  int onRunning(const std::string& appUrl, const std::string& param) override;
  int onSuspend(const std::string& appUrl, const std::string& param) override;
  int onDestroy(const std::string& appUrl, const std::string& param) override;
  int onSTRSuspend(const std::string& appUrl, int reason) override;
  int onSTRResume(const std::string& appUrl, int reason) override;
  int onKeyEvent(const GAM_KeyEvent& key) override;

  // Reports |status|, one of the codes in the source, of the AirPlay application.
  void sendAirPlayStatusToAPM(int status);

  // An event message: one of the application manager's keywords, or JSON.
  int notifyAppEventMessage(const std::string& src, const std::string& dst, const std::string& msg);

  // Parses an app message into |root| and its "type" into |type|. 0, or -1 when it is refused.
  int processJsonMessage(const std::string& text, Json::Value& root, Json::Value& type);

  // A launch text. Other than 0: the launch has failed.
  int processAirPlayLifeCycle(const std::string& text);

  // Carries out an app message of the type "AirPlayMessage". The bridge's result, or -1 when the
  // message is refused.
  int processAirPlayMessage(const Json::Value& root);

 private:
  int startFrom(IAirPlayBridge& bridge, const std::string& from, const Json::Value& root);

  boost::shared_ptr<APMClientWrapper> wrapper;
  BoundPointer<IAirPlayBridge> client;
  std::shared_ptr<SystemAPMGetter> apmGetter;
};

}  // namespace norvale
