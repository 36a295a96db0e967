// Whole boots: what the service says and calls, in which order, and what it waits for.
#include <gmock/gmock.h>

#include "desk_tv.h"
#include "told.h"

namespace desk {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::Ge;
using ::testing::Gt;
using ::testing::Le;

constexpr char kBizReady[] = "/var/run/BIZREADY2";
constexpr char kReady[] = "Daemon socket is ready: YES";

class Boot : public Desk {
 protected:
  // Seconds of the set's clock at which the first event after |after| stands that is as |what|.
  double timeOf(const Expression& what, std::uint64_t after = 0) const {
    return tv.sees(what, after)["t"].asDouble();
  }

  int count(const std::string& text) const { return static_cast<int>(tv.all(logs(text)).size()); }
};

// What the other threads of the service say, and how long it waited.
const std::vector<std::string> kSettingsThread = {"onAppStatusChanged", "Application status:"};
const std::vector<std::string> kApplicationsThread = {"src: am,", "Register to APM done."};
const std::vector<std::string> kBesideTheMainThread = {
    "onAppStatusChanged", "Application status:",   "src: am,",
    "apm answer",         "Register to APM done.", "waiting for "};

// The lines that begin with |text| go on with 1, 2, 3 and so on, before the eleventh at the latest.
MATCHER_P(WaitsAreCounted, text, "") {
  const Lines waits = only(arg, {text});
  Lines counted;
  for (std::size_t count = 1; count <= waits.size(); ++count)
    counted.push_back(std::string(text) + std::to_string(count));
  return waits == counted && waits.size() < 11;
}

TEST_F(Boot, OfTheCommonSetGoesExactlyLikeThis) {
  tv.bootUntilReady();
  tv.sees("kind=apm op=answer app=AirPlayBridge");
  tv.waitUntil("two reports taken in", [this] {
    return only(told(tv->events()), {"(OUT)] platform_delegate.cpp:LINE:onAppStatusChanged"})
               .size() == 2;
  });
  const Lines all = told(tv->events());

  EXPECT_THAT(
      upTo(without(all, kBesideTheMainThread), std::string("I ") + kReady),
      ElementsAre(
          // Start-up.
          "I TVS API is enabled : FALSE",  //
          "I Biz is ready.",               //
          "H [host] process framework: the business layer's proxy is up",
          "H [host] process framework: the application manager's proxy is up",
          "V [TRACE -> B-LOG(IN)] apm_bridge.cpp:LINE:APMBridge() ",
          "V [TRACE <- B-LOG(OUT)] apm_bridge.cpp:LINE:APMBridge() ",  //
          "I Call.",
          // Support.
          "I BrandName(0): [Norvale], BrandID(0): [1]",
          "I Matching rules: (309602, 0, 8, 0 ) (1,1)",
          "I Airplay is supported for brand: 1[Norvale], market: 0(0), device type: 0 ",
          // Binding, and connecting the command bus, the application manager, the settings.
          "V [TRACE -> B-LOG(IN)] apm_bridge.cpp:LINE:bindToClient() ",
          "V [TRACE <- B-LOG(OUT)] apm_bridge.cpp:LINE:bindToClient() ",
          "V [TRACE -> B-LOG(IN)] gam_bridge_mtk.cpp:LINE:connect() ",
          "bus join AirPlayBridge -> 0",   //
          "I GAM init finished, ret = 0",  //
          "bus AirPlayBridge|am|null|started|AirPlayBridge -> 0",
          "I GAM command send finished, ret = 0",
          "V [TRACE <- B-LOG(OUT)] gam_bridge_mtk.cpp:LINE:connect() ",
          "V [TRACE -> B-LOG(IN)] apm_bridge.cpp:LINE:connect() ",
          "apm registerApp AirPlayBridge -> 0",
          "apm notifyAppEventMessage AirPlayBridge|am|AirPlayBridge|register_ok",
          "V [TRACE <- B-LOG(OUT)] apm_bridge.cpp:LINE:connect() ",
          "I Will connect LocalNetwork Value.",        //
          "I Will connect application status Value.",  //
          "I Will connect current app Value.",         //
          "I DppEula: 1, EulaGeneral: 1",
          // Identity and state.
          "I BrandName: 0, Norvale",        //
          "I ModelName: 0, NV55-Q1",        //
          "I Software Version: 0, 1.0.0",   //
          "I DeviceSN:0 [NV-2026-000001]",  //
          "I Network enabled is true, EULA enabled is true",
          "I PID of AirplayApp: 0",   //
          "I get Power Use Case: 2",  //
          "I TV is  powered on when bridge started.",
          // The enable state.
          "V [TRACE -> B-LOG(IN)] airplay_bridge.cpp:LINE:updateAirPlayRunningState() ",
          "I Enable airplay by default.",  //
          "I airplay switch is : 1",
          "setting torvo.sl2.i32.app.setting.airplay.enable = 3 by service -> 0",
          "I AirPlay EnableState: 0 -> 3",
          "V [TRACE <- B-LOG(OUT)] airplay_bridge.cpp:LINE:updateAirPlayRunningState() ",
          // mdnsd.
          "V [TRACE -> B-LOG(IN)] airplay_bridge.cpp:LINE:startMdnsd() ",
          "I Enable airplay by default.",  //
          "I Starting ...",                //
          "V [TRACE -> B-LOG(IN)] gam_bridge_mtk.cpp:LINE:startMdnsd() ",
          "I cmd: start,  dest: am, param: mdnsd",
          "bus AirPlayBridge|am|null|start|mdnsd -> 0",  //
          "process start mdnsd",
          "setting torvo.sl2.str.source.app.status = "
          R"({"appId":"mdnsd","appStatus":"started"} by set -> 0)",
          "V [TRACE <- B-LOG(OUT)] gam_bridge_mtk.cpp:LINE:startMdnsd() ",
          "I PID of mdnsd: PID, time used: SECONDS",  //
          "I mdnsd Started.", "V [TRACE <- B-LOG(OUT)] airplay_bridge.cpp:LINE:startMdnsd() ",
          // The daemon.
          "I Enable airplay by default.",  //
          "I Starting AirPlay Daemon...",
          "V [TRACE -> B-LOG(IN)] gam_bridge_mtk.cpp:LINE:startAirPlayDaemon() ",
          "I cmd: start,  dest: am, param: AirPlayDaemon",
          "bus AirPlayBridge|am|null|start|AirPlayDaemon -> 0",  //
          "process start airplaydemo",
          "setting torvo.sl2.str.source.app.status = "
          R"({"appId":"AirPlayDaemon","appStatus":"started"} by set -> 0)",
          "V [TRACE <- B-LOG(OUT)] gam_bridge_mtk.cpp:LINE:startAirPlayDaemon() ",
          "I PID of airplaydemo: PID, time used: SECONDS",  //
          "I Waiting Daemon socket ready....",
          "V [TRACE -> B-LOG(IN)] airplay_bridge.cpp:LINE:waitDaemonSocketReady() ",
          "V [TRACE <- B-LOG(OUT)] airplay_bridge.cpp:LINE:waitDaemonSocketReady() ",
          "I Daemon socket is ready: YES"));

  EXPECT_THAT(
      only(all, kSettingsThread),
      ElementsAre("V [TRACE -> B-LOG(IN)] platform_delegate.cpp:LINE:onAppStatusChanged() ",
                  R"(I Application status:'{"appId":"mdnsd","appStatus":"started"}'.)",
                  "V [TRACE <- B-LOG(OUT)] platform_delegate.cpp:LINE:onAppStatusChanged() ",
                  "V [TRACE -> B-LOG(IN)] platform_delegate.cpp:LINE:onAppStatusChanged() ",
                  "I Application status:"
                  R"('{"appId":"AirPlayDaemon","appStatus":"started"}'.)",
                  "V [TRACE <- B-LOG(OUT)] platform_delegate.cpp:LINE:onAppStatusChanged() "));
  EXPECT_THAT(
      only(all, kApplicationsThread),
      ElementsAre("I src: am, dst: AirPlayBridge, msg: register_ok", "I Register to APM done."));
}

TEST_F(Boot, FindsTheProcessesByName) {
  tv.bootUntilReady();

  const std::string mdnsd = tv.sees(processStarts("mdnsd"))["pid"].asString();
  const std::string daemon = tv.sees(processStarts("airplaydemo"))["pid"].asString();
  tv.sees("kind=log text~'PID of mdnsd: " + mdnsd + ", time used: '");
  tv.sees("kind=log text~'PID of airplaydemo: " + daemon + ", time used: '");
}

TEST_F(Boot, CarriesTheFunctionNamesOfStartUpAndStart) {
  tv.boot();

  EXPECT_EQ(tv.sees(logs("TVS API is enabled : FALSE"))["function"], "cspliceMain");
  EXPECT_EQ(tv.sees(logs("Biz is ready."))["function"], "cspliceMain");
  EXPECT_EQ(tv.sees(logs("PID of AirplayApp: 0"))["function"], "start");
}

TEST_F(Boot, At4Seconds2SleepsUntilTheTenthSecond) {
  tv.wanted.uptime = 4.2;
  tv.boot();

  const Event sleep = tv.sees("kind=log text~'Give up CPU for  '");
  long micros = 0;
  char rest = 0;
  ASSERT_EQ(std::sscanf(sleep["text"].asCString(), "Give up CPU for  %ld microseconds.%c", &micros,
                        &rest),
            2);
  // It is as long as from the service's first look at the clock, a little after 4.2 s and before
  // the set took the line, to 10 s.
  EXPECT_THAT(micros, AllOf(Gt(0), Le(5'800'000)));
  EXPECT_THAT(sleep["t"].asDouble() + static_cast<double>(micros) * 1e-6, Ge(9.999'99));
  EXPECT_EQ(rest, ' ');
  EXPECT_THAT(timeOf(logs("Biz is ready.")), Ge(10.0));
  EXPECT_EQ(count("Wait For Biz"), 0);
}

TEST_F(Boot, At12SecondsDoesNotSleep) {
  tv.boot();

  EXPECT_TRUE(tv.all("kind=log text~'Give up CPU'").empty());
}

TEST_F(Boot, WaitsForTheBusinessLayerUntilItIsThere) {
  tv.wanted.bizReady = "never";
  tv.start();
  const Event waits = tv.sees(logs("Wait For Biz"));
  EXPECT_FALSE(tv.has(logs("Biz is ready.")));

  tv.control().setMarker(kBizReady, true);

  tv.seesInOrder({std::string("kind=marker present=true path=") + kBizReady, logs("Biz is ready."),
                  logs(kReady)},
                 waits["seq"].asUInt64());
}

TEST_F(Boot, TakesABusinessLayerThatComesASecondLate) {
  tv.wanted.bizReady = "1";
  tv.boot();

  tv.seesInOrder(
      {std::string("kind=marker present=true path=") + kBizReady, logs("Biz is ready.")});
  EXPECT_EQ(count("Biz is ready."), 1);
}

TEST_F(Boot, GoesOnAt30SecondsWithoutTheBusinessLayer) {
  tv.wanted.bizReady = "never";
  tv.wanted.uptime = 24;
  tv.boot();

  const Event support = tv.sees("kind=log text~'Airplay is supported for brand'");
  EXPECT_THAT(support["t"].asDouble(), Ge(30.0));
  EXPECT_THAT(count("Wait For Biz"), Gt(0));
  EXPECT_EQ(count("Biz is ready."), 0);
  EXPECT_TRUE(tv.all("kind=marker").empty());
}

TEST_F(Boot, At35SecondsDoesNotLookForTheBusinessLayer) {
  tv.wanted.bizReady = "never";
  tv.wanted.uptime = 35;
  tv.boot();

  EXPECT_EQ(count("Wait For Biz"), 0);
  EXPECT_EQ(count("Biz is ready."), 0);
}

}  // namespace
}  // namespace desk
