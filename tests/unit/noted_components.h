// The service's components, each writing down what no library call shows: who is bound to it and
// when it connects.
//
//   platform.bindToClient     the history's entries, beside those of InMemoryTv
//   platform.removeClient
//   platform.connect
//   gam.bindToClient, gam.unbindClient, gam.connect
//   apm.bindToClient, apm.removeClient, apm.connect
#pragma once

#include <memory>

#include "apm_bridge.h"
#include "app_manager_client.h"
#include "gam_bridge_mtk.h"
#include "history.h"
#include "platform_delegate.h"
#include "system_apm_getter.h"

class NotedPlatform : public norvale::PlatformDelegate {
 public:
  explicit NotedPlatform(History& notes) : history(notes) {}

  void bindToClient(norvale::IAirPlayBridge* bridge) override {
    history.add("platform.bindToClient");
    PlatformDelegate::bindToClient(bridge);
  }
  void removeClient(norvale::IAirPlayBridge* bridge) override {
    history.add("platform.removeClient");
    PlatformDelegate::removeClient(bridge);
  }
  void connect() override {
    history.add("platform.connect");
    PlatformDelegate::connect();
  }

 private:
  History& history;
};

class NotedGam : public norvale::GAMBridgeMTK {
 public:
  explicit NotedGam(History& notes) : history(notes) {}

  void bindToClient(norvale::IAirPlayBridge* bridge) override {
    history.add("gam.bindToClient");
    GAMBridgeMTK::bindToClient(bridge);
  }
  void unbindClient() override {
    history.add("gam.unbindClient");
    GAMBridgeMTK::unbindClient();
  }
  bool connect() override {
    history.add("gam.connect");
    return GAMBridgeMTK::connect();
  }

 private:
  History& history;
};

class LibrarysAppManager final : public norvale::SystemAPMGetter {
 public:
  nv::apmclient::AppManagerClient* getAppManagerClient() override {
    return nv::apmclient::AppManagerClient::getInstance();
  }
};

class NotedApm : public norvale::APMBridge {
 public:
  explicit NotedApm(History& notes)
      : APMBridge(std::make_shared<LibrarysAppManager>()), history(notes) {}

  void bindToClient(norvale::IAirPlayBridge* bridge) override {
    history.add("apm.bindToClient");
    APMBridge::bindToClient(bridge);
  }
  void removeClient() override {
    history.add("apm.removeClient");
    APMBridge::removeClient();
  }
  bool connect() override {
    history.add("apm.connect");
    return APMBridge::connect();
  }

 private:
  History& history;
};
