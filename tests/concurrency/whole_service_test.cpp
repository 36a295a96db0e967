// The whole service with every library's thread at work at once.
//
// The in-memory set writes its history under a lock, which orders the threads that pass there. So
// the hammer runs with the log almost off: what is left unordered is what the service's own
// variables must bear.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "airplay_bridge.h"
#include "apm_bridge.h"
#include "app_manager_client.h"
#include "gam_bridge_mtk.h"
#include "gam_client.h"
#include "in_memory_tv.h"
#include "one_scenario.h"
#include "platform_delegate.h"
#include "system_apm_getter.h"

using namespace std::chrono_literals;
using ::testing::Each;
using ::testing::Pair;

namespace {

using nv::appmanager::AppInterface;

constexpr char kAppStatus[] = "torvo.sl2.str.source.app.status";
constexpr char kNetwork[] = "torvo.sl2.i32.local.network.available";
constexpr char kDppEula[] = "torvo.sl2.i32.basic.settings.eula.dpp.eula";
constexpr char kEulaGeneral[] = "torvo.sl2.i32.basic.settings.eula.dpp.general";
constexpr char kCurrentApp[] = "torvo.sl2.str.source.app.current";
constexpr char kEnableState[] = "torvo.sl2.i32.app.setting.airplay.enable";

class ClientGetter final : public norvale::SystemAPMGetter {
 public:
  nv::apmclient::AppManagerClient* getAppManagerClient() override {
    return nv::apmclient::AppManagerClient::getInstance();
  }
};

class TheWholeService : public OneScenarioPerProcess {
 protected:
  using Clock = std::chrono::steady_clock;

  TheWholeService() {
    tv.logLevel(CSP_DEBUG_ERROR);
    tv.runs("mdnsd", 11);
    tv.runs("airplaydemo", 12);
    bridge.init(&apm, &gam, &platform);
    EXPECT_EQ(bridge.start(), 0);
    supervision = std::thread([this] { bridge.run(); });
  }

  // The loop never returns; its thread ends in one of its sleeps.
  ~TheWholeService() override {
    (void)pthread_cancel(supervision.native_handle());
    supervision.join();
    tv.deliverPending();
  }

  // Does |work| over and over, on a thread of its own, until the hammering is over.
  std::thread hammer(std::function<void()> work) {
    return std::thread([this, work = std::move(work)] {
      while (Clock::now() < end) {
        work();
      }
    });
  }

  void settingsChange() {
    for (const char* status : {"started", "paused", "stopped"}) {
      for (const char* app : {"AirPlayApp", "AirPlayDaemon", "mdnsd"}) {
        tv.changes(kAppStatus,
                   std::string(R"({"appId":")") + app + R"(","appStatus":")" + status + "\"}");
      }
    }
    tv.changes(kNetwork, 0);
    tv.changes(kNetwork, 1);
    tv.changes(kDppEula, 0);
    tv.changes(kDppEula, 1);
    tv.changes(kEulaGeneral, 1);
    tv.changes(kCurrentApp, std::string("HDMI1"));
    // Not more than the callbacks can take.
    std::this_thread::sleep_for(1ms);
  }

  void daemonTalks() {
    (void)tv.daemonSays("start", "AirPlayApp cwd=/" + std::to_string(++phones));
    (void)tv.daemonSays("AirPlayEnabled", phones % 2 == 0 ? "enable" : "disable");
    (void)tv.daemonSays("key_press", "");
    (void)tv.daemonSays("homekitnotify", "source=1");
    (void)tv.daemonSays("wakeup_screen", "on");
    (void)tv.daemonSays("unblank", "screen");
    (void)tv.daemonSays("HKAccess", "pair");
    (void)tv.daemonSays("stop", "AirPlayApp");
    (void)tv.daemonSays("backgm", "AirPlayApp");
  }

  void appManagerCalls() {
    acceptAll();
    (void)event(R"({"type":"AirPlayMessage","cmd":"start","from":"TVInput"})");
    (void)tv.callApp([](AppInterface& app) { return app.onKeyEvent(GAM_KeyEvent{}); });
    (void)event(R"({"type":"AirPlayMessage","cmd":"start","from":"Setting"})");
    (void)event("app_start_time_out");
    (void)event("low_memory");
    (void)event("[");
  }

  void bridgeIsAsked() {
    (void)bridge.isNetworkAvailable();
    (void)bridge.getEulaStatus();
    (void)bridge.getUiTargetMessageName();
    bridge.updateAirPlayRunningState();
  }

  int event(const std::string& text) {
    return tv.callApp([&](AppInterface& app) {
      return app.notifyAppEventMessage("launcher", "AirPlayBridge", text);
    });
  }

  // The viewer accepts every session that the UI has been asked about since the last time.
  void acceptAll() {
    const std::string before = R"("cmd":"startAirPlay","sessionid":")";
    for (const std::string& sent : tv.takeOnly({"apm.sendMessage"})) {
      const std::size_t at = sent.find(before);
      if (at != std::string::npos) {
        const std::size_t begin = at + before.size();
        const std::string id = sent.substr(begin, sent.find('"', begin) - begin);
        answers[id] =
            event(R"({"type":"AirPlayMessage","cmd":"start","from":"AirPlayApp","sessionid":")" +
                  id + "\"}");
      }
    }
  }

  // How often the application was started for each phone.
  std::map<std::string, int> startsByPhone() {
    const std::string before = "gam.send AirPlayBridge|am|(null)|start|[AirPlayApp cwd=";
    std::map<std::string, int> starts;
    for (const std::string& sent : tv.takeOnly({"gam.send"})) {
      if (sent.compare(0, before.size(), before) == 0) {
        ++starts[sent];
      }
    }
    return starts;
  }

  InMemoryTv tv{Delivery::kThreads};
  norvale::PlatformDelegate platform;
  norvale::APMBridge apm{std::make_shared<ClientGetter>()};
  norvale::GAMBridgeMTK gam;
  norvale::AirPlayBridge& bridge = *norvale::AirPlayBridge::getInstance();
  std::thread supervision;

  const Clock::time_point end = Clock::now() + 1s;
  std::atomic<int> phones{0};
  std::map<std::string, int> answers;  // what each accepted id was answered
};

TEST_F(TheWholeService, BearsAllItsThreadsAtOnce) {
  std::thread threads[] = {hammer([this] { settingsChange(); }), hammer([this] { daemonTalks(); }),
                           hammer([this] { appManagerCalls(); }),
                           hammer([this] { bridgeIsAsked(); })};
  for (std::thread& thread : threads) {
    thread.join();
  }
  tv.deliverPending();
  acceptAll();

  EXPECT_GT(phones, 10);
  EXPECT_THAT(answers, Each(Pair(::testing::_, 0)));
  EXPECT_THAT(startsByPhone(), Each(Pair(::testing::_, 1)));

  // And it still does what it is told.
  (void)tv.daemonSays("AirPlayEnabled", "disable");
  EXPECT_EQ(tv.setting(kEnableState), InMemoryTv::Value(2));
}

// The daemon's thread waits for the set to wake up while the application manager's wakes it, again
// and again; and a stop waits on the application manager's thread while the settings' starts.
TEST_F(TheWholeService, WaitsOnOneThreadForWhatAnotherSets) {
  std::thread sleeper = hammer([this] {
    (void)tv.callApp([](AppInterface& app) { return app.onSTRSuspend("url", 2); });
    std::this_thread::sleep_for(5ms);
    (void)tv.callApp([](AppInterface& app) { return app.onSTRResume("url", 2); });
  });
  std::thread daemon =
      hammer([this] { (void)tv.daemonSays("start", "cwd=/" + std::to_string(++phones)); });
  std::thread settings = hammer([this] { settingsChange(); });
  sleeper.join();
  daemon.join();
  (void)event(R"({"type":"AirPlayMessage","cmd":"stop"})");
  settings.join();
  tv.deliverPending();

  // The UI has heard of each phone.
  EXPECT_EQ(tv.takeOnly({"apm.sendMessage"}).size(), static_cast<std::size_t>(phones));
}

}  // namespace
