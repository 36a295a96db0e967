// IApmBridge: the service's link to the application manager.
#pragma once

#include <string>

struct GAM_KeyEvent;

namespace norvale {

class IAirPlayBridge;

// Order of use: bindToClient(), connect(), then anything. The on...() operations are the
// application manager's callbacks; they arrive on its library's thread, and their results go back
// to it. The order of the operations is part of the interface.
class IApmBridge {
 public:
  virtual ~IApmBridge() = default;

  // Registers the application; callbacks may arrive from now on. False: there is no application
  // manager, and nothing is retried.
  virtual bool connect() = 0;

  virtual std::string getAppName() = 0;

  // |client| must outlive the link.
  virtual void bindToClient(IAirPlayBridge* client) = 0;
  virtual void removeClient() = 0;

  // Sends |message| to the application |target|; dropped without an application manager.
  virtual void sendMessageToApm(const std::string& target, const std::string& message) = 0;

  // Report the state of the AirPlay application. Always 0.
  virtual int airplayStarted() = 0;
  virtual int airplayStopped() = 0;
  virtual int airplayPaused() = 0;

  virtual int onRunning(const std::string& appUrl, const std::string& param) = 0;
  virtual int onSuspend(const std::string& appUrl, const std::string& param) = 0;
  virtual int onDestroy(const std::string& appUrl, const std::string& param) = 0;
  virtual int onSTRSuspend(const std::string& appUrl, int reason) = 0;
  virtual int onSTRResume(const std::string& appUrl, int reason) = 0;
  virtual int onKeyEvent(const GAM_KeyEvent& key) = 0;
};

}  // namespace norvale
