// WiredBridge: a bridge with its real components, wired as start-up wires it, on the set of a test.
//
// Commands are given to the bridge itself. The bus library's callbacks do not come here: they go to
// the process's own bridge.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "airplay_bridge.h"
#include "apm_bridge.h"
#include "app_manager_client.h"
#include "gam_bridge_mtk.h"
#include "gam_client.h"
#include "in_memory_tv.h"
#include "platform_delegate.h"
#include "system_apm_getter.h"
#include "virtual_libc.h"

// Keys of the settings model.
inline constexpr char kEnableState[] = "torvo.sl2.i32.app.setting.airplay.enable";
inline constexpr char kLifeCycle[] = "torvo.sl2.vstr.app.setting.airplay.status";
inline constexpr char kAppStatus[] = "torvo.sl2.str.source.app.status";
inline constexpr char kInputs[] = "torvo.sl2.vstr.source.input.name";
inline constexpr char kTuner[] = "torvo.sl2.i32.channel.search.tuner.support";
inline constexpr char kOpenFromStandby[] = "torvo.sl2.i32.system.open.from.standby";
inline constexpr char kPowerUseCase[] = "torvo.sl2.i32.system.enum.pwr.use.case";
inline constexpr char kAudioOnly[] = "torvo.sl2.i32.system.audio.only";

// Entries of the history.
inline std::string reads(const std::string& key, const std::string& value) {
  return "settings.get " + key + " -> 0 " + value;
}
inline std::string writes(const std::string& key, const std::string& value) {
  return "settings.set " + key + " " + value + " -> 0";
}
inline std::string toAm(const std::string& cmd, const std::string& para) {
  return "gam.send AirPlayBridge|am|(null)|" + cmd + "|" + para + " -> 0";
}
inline std::string toDaemon(const std::string& cmd) {
  return "gam.send AirPlayBridge|AirPlayDaemon|(null)|" + cmd + "|AirPlayDaemon -> 0";
}
// |json| without the line feed at its end.
inline std::string toUi(const std::string& json) {
  return "apm.sendMessage AirPlayBridge->launcher " + json + "\n -> 0";
}
inline std::string reports(int appStatus) {
  return "apm.setAppStatus AirPlayBridge " + std::to_string(appStatus) + " -> 0";
}

// |entries| with their log lines lacking the names of functions, which are the code's own affair.
History::Entries withoutFunctions(const History::Entries& entries);

inline GAM_KeyEvent keyEvent(int code) {
  GAM_KeyEvent event{};
  event.code = code;
  return event;
}

// The application-manager client of the process, as start-up gives it to the link.
class ClientGetter final : public norvale::SystemAPMGetter {
 public:
  nv::apmclient::AppManagerClient* getAppManagerClient() override {
    return nv::apmclient::AppManagerClient::getInstance();
  }
};

class WiredBridge : public ::testing::Test {
 protected:
  using Entries = History::Entries;

  WiredBridge() {
    time.startAt(std::chrono::seconds(100));
    bridge.init(&apm, &gam, &platform);
    EXPECT_EQ(bridge.start(), 0);
    tv.deliverPending();
    (void)tv.take();
  }

  // What happened since the last look, oldest first: calls, sleeps, and the bridge's own log lines
  // without the names of its functions. Traces and what its components log is left out.
  Entries happened();

  // The bridge's flags, as it logs them with each command of the daemon.
  std::string flags();

  // The line with which the bridge accounts for itself when the set goes to sleep.
  std::string accountOfProcesses();

  InMemoryTv tv;
  VirtualLibc time{tv.history()};
  norvale::PlatformDelegate platform;
  norvale::APMBridge apm{std::make_shared<ClientGetter>()};
  norvale::GAMBridgeMTK gam;
  norvale::AirPlayBridge bridge;
};
