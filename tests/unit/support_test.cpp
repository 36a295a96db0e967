// The tools of the tests, themselves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/make_shared.hpp>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "app_manager_client.h"
#include "csp_debug.h"
#include "in_memory_tv.h"
#include "norvale_base.h"
#include "one_scenario.h"
#include "run_to_its_end.h"
#include "service_main.h"
#include "virtual_libc.h"

namespace {

using namespace std::chrono_literals;
using norvale::system::access::ValueAccessT;
using norvale::system::access::ValueHandler;
using norvale::system::access::ValueObject;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char kNetwork[] = "torvo.sl2.i32.local.network.available";
constexpr char kBrand[] = "torvo.sl2.str.norfactory.fullbrand";
constexpr char kLifeCycle[] = "torvo.sl2.vstr.app.setting.airplay.status";

double monotonicSeconds() {
  timespec now{};
  return clock_gettime(CLOCK_MONOTONIC, &now) == 0
             ? static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9
             : -1.0;
}

TEST(VirtualTime, RunsEventsThatFallDueDuringASleepInTheirOrder) {
  VirtualLibc time;
  std::vector<std::string> seen;
  time.at(2s, [&] { seen.emplace_back("two"); });
  time.at(1s, [&] { seen.emplace_back("one"); });
  time.at(1s, [&] { seen.emplace_back("one as well"); });
  time.at(3001ms, [&] { seen.emplace_back("later"); });

  usleep(3'000'000);

  EXPECT_THAT(seen, ElementsAre("one", "one as well", "two"));
  EXPECT_EQ(time.now(), 3s);
}

TEST(VirtualTime, LetsAnEventSleepAndAskForMore) {
  VirtualLibc time;
  std::vector<VirtualLibc::Time> seen;
  time.at(1s, [&] {
    usleep(5'000'000);
    time.after(0s, [&] { seen.push_back(time.now()); });
  });

  usleep(2'000'000);

  EXPECT_EQ(time.now(), 6s);
  EXPECT_THAT(seen, IsEmpty());
  usleep(0);
  EXPECT_THAT(seen, ElementsAre(6s));
}

TEST(VirtualTime, EndsALoopAtTheGivenMoment) {
  VirtualLibc time;
  int rounds = 0;
  time.endAt(2500ms);

  EXPECT_THROW(
      while (true) {
        usleep(1'000'000);
        ++rounds;
      },
      ScriptOver);

  EXPECT_EQ(rounds, 2);
  EXPECT_EQ(time.now(), 2500ms);
}

TEST(VirtualTime, IsWhatBothClocksSay) {
  VirtualLibc time;
  time.startAt(12s);
  time.startRealtimeAt(1000s);
  usleep(500'000);

  EXPECT_DOUBLE_EQ(monotonicSeconds(), 12.5);
  timespec now{};
  EXPECT_EQ(clock_gettime(CLOCK_REALTIME, &now), 0);
  EXPECT_EQ(now.tv_sec, 1000);
  EXPECT_EQ(now.tv_nsec, 500'000'000);
}

TEST(VirtualTime, CanPassWhileAClockIsRead) {
  VirtualLibc time;
  time.readingAClockTakes(250ms);

  EXPECT_DOUBLE_EQ(monotonicSeconds(), 0.0);
  EXPECT_DOUBLE_EQ(monotonicSeconds(), 0.25);
}

TEST(VirtualTime, HasClocksThatBreak) {
  VirtualLibc time;
  time.breakClock(CLOCK_MONOTONIC);
  EXPECT_DOUBLE_EQ(monotonicSeconds(), -1.0);
  time.fixClock(CLOCK_MONOTONIC);
  EXPECT_DOUBLE_EQ(monotonicSeconds(), 0.0);
}

TEST(VirtualTime, WritesDownSleepsFileTestsAndVariables) {
  History history;
  VirtualLibc time{history};
  time.createFile("/tmp/there");

  usleep(300'000);
  EXPECT_EQ(access("/tmp/there", F_OK), 0);
  time.removeFile("/tmp/there");
  EXPECT_EQ(access("/tmp/there", F_OK), -1);
  EXPECT_EQ(errno, ENOENT);
  setenv("NAME", "first", 0);
  setenv("NAME", "second", 0);

  EXPECT_THAT(history.take(), ElementsAre("sleep 300000", "access /tmp/there -> there",
                                          "access /tmp/there -> missing", "setenv NAME=first keep",
                                          "setenv NAME=second keep"));
  EXPECT_EQ(time.environment("NAME"), "first");
  EXPECT_EQ(std::getenv("NAME"), nullptr);
}

TEST(VirtualTime, LeavesTheRealFunctionsAloneWhereThereIsNone) {
  EXPECT_EQ(access("/", F_OK), 0);
  EXPECT_GT(monotonicSeconds(), 0.0);
}

TEST(TheHistory, HandsOverOneKindAndKeepsTheRest) {
  History history;
  for (const char* entry : {"gam.send a", "game over", "log f: gam", "gam.init x", "sleep 1"}) {
    history.add(entry);
  }

  EXPECT_THAT(history.takeOnly({"gam"}), ElementsAre("gam.send a", "gam.init x"));
  EXPECT_THAT(history.takeWithout({"log"}), ElementsAre("game over", "sleep 1"));
  EXPECT_THAT(history.take(), ElementsAre("log f: gam"));
}

class Listener : public ValueHandler {
 public:
  void onValueChanged(const ValueObject& value) override { heard.push_back(value.toString()); }
  std::vector<std::string> heard;
};

class TheSet : public ::testing::Test {
 protected:
  InMemoryTv tv;
  VirtualLibc time{tv.history()};
};

TEST_F(TheSet, WritesDownSettingsCalls) {
  {
    ValueAccessT<lomodelapi::ObserverNumericInteger> network(kNetwork,
                                                             std::make_shared<Listener>());
    ValueAccessT<lomodelapi::ObserverString> brand(kBrand);
    ValueAccessT<lomodelapi::ObserverVectorString> lifeCycle(kLifeCycle);
    tv.setting(kNetwork, 3);
    tv.setting(kBrand, "a \"b\"");
    int number = -1;
    std::string text;
    EXPECT_EQ(network.get(number), 0);
    EXPECT_EQ(number, 3);
    EXPECT_EQ(brand.get(text), 0);
    EXPECT_EQ(lifeCycle.set({"stopping", "currentSource"}), 0);
    EXPECT_EQ(network.connect(1000), 0);
    tv.failRead(kNetwork, -5);
    EXPECT_EQ(network.get(number), -5);
    EXPECT_EQ(number, 3);
  }

  EXPECT_THAT(tv.take(),
              ElementsAre("settings.open torvo.sl2.i32.local.network.available handler",
                          "settings.open torvo.sl2.str.norfactory.fullbrand",
                          "settings.open torvo.sl2.vstr.app.setting.airplay.status",
                          "settings.get torvo.sl2.i32.local.network.available -> 0 3",
                          "settings.get torvo.sl2.str.norfactory.fullbrand -> 0 \"a \"b\"\"",
                          "settings.set torvo.sl2.vstr.app.setting.airplay.status "
                          "[\"stopping\",\"currentSource\"] -> 0",
                          "settings.connect torvo.sl2.i32.local.network.available 1000 -> 0",
                          "settings.get torvo.sl2.i32.local.network.available -> -5",
                          "settings.close torvo.sl2.vstr.app.setting.airplay.status",
                          "settings.close torvo.sl2.str.norfactory.fullbrand",
                          "settings.close torvo.sl2.i32.local.network.available"));
}

TEST_F(TheSet, KeepsTheNewsOfTheServicesOwnWriteUntilItDelivers) {
  const auto listener = std::make_shared<Listener>();
  ValueAccessT<lomodelapi::ObserverNumericInteger> network(kNetwork, listener);
  network.connect(1000);

  network.set(5);
  EXPECT_THAT(listener->heard, IsEmpty());
  tv.deliverPending();
  EXPECT_THAT(listener->heard, ElementsAre("5"));
  tv.changes(kNetwork, 6);
  EXPECT_THAT(listener->heard, ElementsAre("5", "6"));
}

std::string lastPara;

int onSync(int, const GAM_Message*) { return 1; }
int onAsync(int, const GAM_Message* message) {
  lastPara = message == nullptr ? "none" : message->para;
  return 2;
}

TEST_F(TheSet, IsACommandBus) {
  const GAM_Callbacks callbacks{onSync, onAsync};
  GAM_ClientInit(&callbacks, "AirPlayBridge");
  const GAM_Message start{"AirPlayBridge", "am", nullptr, "start", "mdnsd"};
  tv.onSend("am", "start", "mdnsd", [&] { time.after(1200ms, [&] { tv.runs("mdnsd", 77); }); });
  tv.gamSendResult(2, -9);

  EXPECT_EQ(GAM_SendCmd(&start), 0);
  EXPECT_EQ(GAM_SendCmd(&start), -9);
  usleep(1'200'000);
  EXPECT_EQ(norvale::base::utils::processUtils_GetPidOf("mdnsd"), 77);
  EXPECT_EQ(tv.daemonSays("start", "cwd"), 2);
  EXPECT_EQ(lastPara, "cwd");
  EXPECT_EQ(tv.deliversNothing(0, InMemoryTv::Way::kSync), 1);

  EXPECT_THAT(tv.take(), ElementsAre("gam.init AirPlayBridge -> 0",
                                     "gam.send AirPlayBridge|am|(null)|start|mdnsd -> 0",
                                     "gam.send AirPlayBridge|am|(null)|start|mdnsd -> -9",
                                     "sleep 1200000", "base.getPidOf mdnsd -> 77"));
}

void logLine(int level, const char* text) {
  void* frame = nullptr;
  void* chunk = nullptr;
  if (cspDebugCheckLevelGetFrameAndChunk("B-LOG", level, &frame, &chunk) != 0) {
    cspDebugOutput0(frame, chunk, text);
  }
}

TEST_F(TheSet, ReadsLogLinesToTheLetter) {
  logLine(CSP_DEBUG_VERBOSE, "[TRACE -> B-LOG(IN)] a.cpp:12:run() ");
  logLine(CSP_DEBUG_INFO, "[B-LOG][1.500000] a.cpp:3:~Link():  two  blanks: %d\n\n");
  logLine(CSP_DEBUG_ERROR, "[B-LOG][-1.000000] a.cpp:3:operator()(): No GAM");
  logLine(CSP_DEBUG_VERBOSE, "[TRACE <- B-LOG(OUT)] a.cpp:12:run() ");

  EXPECT_THAT(tv.takeLog(),
              ElementsAre("log ~Link:  two  blanks: %d\n\n", "ERR operator(): No GAM"));
  EXPECT_THAT(tv.takeTrace(), ElementsAre("IN run", "OUT run"));
}

TEST_F(TheSet, LetsThroughWhatItsLevelAllows) {
  tv.logLevel(CSP_DEBUG_ERROR);
  logLine(CSP_DEBUG_INFO, "[B-LOG][1.500000] a.cpp:3:f(): progress");
  logLine(CSP_DEBUG_ERROR, "[B-LOG][1.500000] a.cpp:3:f(): failure");
  EXPECT_THAT(tv.takeRawLog(), ElementsAre("[B-LOG][1.500000] a.cpp:3:f(): failure"));
}

class AMalformedLine : public ::testing::TestWithParam<const char*> {};

TEST_P(AMalformedLine, EndsTheProcess) {
  const Ending end = runToItsEnd([] {
    InMemoryTv tv;
    logLine(CSP_DEBUG_INFO, GetParam());
  });
  EXPECT_EQ(end.how, Ending::kKilled);
  EXPECT_EQ(end.status, SIGABRT);
  EXPECT_THAT(end.errorOutput, HasSubstr(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Lines, AMalformedLine,
                         ::testing::Values("No prefix", "[B-LOG][1.5] a.cpp:3:f(): x",
                                           "[B-LOG][1.500000] src/a.cpp:3:f(): x",
                                           "[B-LOG][1.500000] a.cpp:3:f():x",
                                           "[TRACE -> B-LOG(IN)] a.cpp:12:run() "));

class App : public nv::appmanager::AppInterface {
 public:
  int onRunning(const std::string& appUrl, const std::string&) override {
    return appUrl == "airplay" ? 7 : -1;
  }
  int notifyAppEventMessage(const std::string& src, const std::string& dst,
                            const std::string& msg) override {
    heard.push_back(src + "->" + dst + " " + msg);
    return 0;
  }
  int onDestroy(const std::string&, const std::string&) override { return 0; }
  int onSuspend(const std::string&, const std::string&) override { return 0; }
  int reserved1() override { return 0; }
  int reserved2() override { return 0; }
  int reserved3() override { return 0; }
  int onSTRSuspending(const std::string&, int) override { return 0; }
  int onSTRSuspend(const std::string&, int) override { return 0; }
  int onSTRResume(const std::string&, int) override { return 0; }
  int onSTRResuming(const std::string&, int) override { return 0; }
  int reserved4() override { return 0; }
  int reserved5() override { return 0; }
  int reserved6() override { return 0; }
  int reserved7() override { return 0; }
  int reserved8() override { return 0; }
  int onKeyEvent(const GAM_KeyEvent&) override { return 0; }
  std::string reservedText() override { return {}; }
  int reserved9() override { return 0; }
  int reserved10() override { return 0; }
  int reserved11() override { return 0; }

  std::vector<std::string> heard;
};

TEST_F(TheSet, IsAnApplicationManager) {
  const auto app = boost::make_shared<App>();
  nv::apmclient::AppManagerClient* client = nv::apmclient::AppManagerClient::getInstance();
  EXPECT_EQ(client->registerApp("AirPlayBridge", app), 0);
  EXPECT_THAT(app->heard, IsEmpty());
  EXPECT_EQ(tv.callApp([](auto& callbacks) { return callbacks.onRunning("airplay", ""); }), 7);
  EXPECT_THAT(app->heard, ElementsAre("am->AirPlayBridge register_ok"));
  EXPECT_EQ(client->sendMessage("AirPlayBridge", "launcher", "{}"), 0);
  tv.noAppManager();
  EXPECT_EQ(nv::apmclient::AppManagerClient::getInstance(), nullptr);

  EXPECT_THAT(tv.take(), ElementsAre("apm.registerApp AirPlayBridge -> 0",
                                     "apm.sendMessage AirPlayBridge->launcher {} -> 0"));
}

TEST(WithoutASet, APlatformFunctionEndsTheProcessByItsName) {
  const Ending end = runToItsEnd([] { GAM_ClientUninit(); });
  EXPECT_EQ(end.how, Ending::kKilled);
  EXPECT_EQ(end.errorOutput, "InMemoryTv: GAM_ClientUninit was called while there is no set\n");
}

TEST(RunToItsEnd, TellsHowItEnded) {
  EXPECT_EQ(runToItsEnd([] {}).how, Ending::kReturned);
  EXPECT_EQ(runToItsEnd([] { throw ScriptOver{}; }).how, Ending::kScriptOver);
  EXPECT_EQ(runToItsEnd([] { throw std::logic_error("why"); }).exception, "why");
  const Ending quick = runToItsEnd([] { std::quick_exit(3); });
  EXPECT_EQ(quick.how, Ending::kExited);
  EXPECT_EQ(quick.status, 3);
}

TEST(RunToItsEnd, KeepsTheHistoryOfAServiceThatEndsAtOnce) {
  const Ending end = runToItsEnd([] {
    InMemoryTv tv;
    VirtualLibc time{tv.history()};
    time.startAt(35s);
    tv.setting("torvo.sl2.i32.system.airplay.support", 0);
    airplay_bridge_main(0, nullptr);
  });
  EXPECT_EQ(end.how, Ending::kExited);
  EXPECT_EQ(end.status, 0);
  ASSERT_FALSE(end.log().empty());
  EXPECT_EQ(end.calls().front(), "osal.initOnce 0");
  EXPECT_EQ(end.log().back(), "ERR cspliceMain: Airplay is failed to start. ");
}

}  // namespace
