// The bridge's state: its defaults, and the operations by which components report and ask.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "airplay_bridge.h"
#include "entries.h"
#include "in_memory_tv.h"
#include "noted_components.h"
#include "one_scenario.h"
#include "virtual_libc.h"

namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kEnable[] = "torvo.sl2.i32.app.setting.airplay.enable";
constexpr char kSupport[] = "torvo.sl2.i32.system.airplay.support";
constexpr char kStatus[] = "torvo.sl2.vstr.app.setting.airplay.status";

constexpr char kAppToBackground[] =
    "gam.send AirPlayBridge|AirPlayDaemon|(null)|BringAppToBackground|AirPlayDaemon -> 0";
constexpr char kStopApp[] = "gam.send AirPlayBridge|am|(null)|stop|AirPlayApp -> 0";

// A bridge that has its components, with nothing bound or connected, on a set that has been up for
// 20 s. The command bus is joined, so that sends arrive.
class ABridge : public OneScenarioPerProcess {
 protected:
  ABridge() {
    time.startAt(20s);
    (void)gam.connect();
    bridge.init(&apm, &gam, &platform);
    tv.take();
  }

  void hasNoBus() { bridge.init(&apm, nullptr, &platform); }
  void hasItsBusAgain() { bridge.init(&apm, &gam, &platform); }
  void hasNoDelegate() { bridge.init(&apm, &gam, nullptr); }

  // What the bridge knows of its processes, as it says on suspend.
  Entries linesOnProcesses() {
    tv.take();
    bridge.notifyAirPlaySTRSuspend();
    return tv.takeOnly({"log notifyAirPlaySTRSuspend:"});
  }

  InMemoryTv tv;
  VirtualLibc time{tv.history()};
  NotedPlatform platform{tv.history()};
  NotedApm apm{tv.history()};
  NotedGam gam{tv.history()};
  norvale::AirPlayBridge bridge;
};

// ---- Defaults

TEST_F(ABridge, KnowsOfNoProcessAtFirst) {
  EXPECT_THAT(linesOnProcesses(),
              ElementsAre("log notifyAirPlaySTRSuspend: STR suspending, airplay app status: 0, "
                          "airplay daemon status: 0, mdnsd status: 0"));
}

TEST_F(ABridge, HasNoSessionAtFirst) {
  (void)bridge.processCMD_AirPlayMessageFromGAM("nothing", "at all");

  EXPECT_THAT(tv.takeLog(),
              Contains("log processCMD_AirPlayMessageFromGAM:  cmdfromUI: 0, startFromInput: 0, "
                       "AirPlay App started: 0, cmd : nothing,  param: at all"));
  EXPECT_EQ(bridge.processCMD_AirPlay_StartFromDaemon(""), -1);
}

TEST_F(ABridge, HasNoAcceptedEulaAtFirst) { EXPECT_FALSE(bridge.getEulaStatus()); }

TEST_F(ABridge, ReportsNoPausesAtFirst) { EXPECT_FALSE(bridge.isPauseReportEnabled()); }

TEST_F(ABridge, HasNoNetworkAtFirst) {
  EXPECT_FALSE(bridge.isNetworkAvailable());
  EXPECT_THAT(tv.take(), IsEmpty());
}

TEST_F(ABridge, TakesTheSetForPoweredOnAtFirst) {
  (void)bridge.processCMD_AirPlayMessageFromGAM("homekitnotify", "source=0");

  EXPECT_THAT(tv.takeLog(), Contains("log sendMsgToUIAfterPowerOn: Is TV Power On: 1"));
}

TEST_F(ABridge, TakesItsLastStartForLongAgoAtFirst) {
  EXPECT_EQ(bridge.processCMD_AirPlay_StopFromUI(), 0);

  EXPECT_THAT(tv.takeCalls(), IsEmpty());
}

TEST_F(ABridge, StoresItsComponentsAndTouchesNone) {
  norvale::AirPlayBridge another;
  another.init(&apm, &gam, &platform);
  EXPECT_THAT(tv.take(), IsEmpty());

  another.init(nullptr, nullptr, nullptr);
}

// ---- Network

struct Change {
  const char* name;
  bool before;
  bool after;
  const char* line;
};

void PrintTo(const Change& change, std::ostream* out) { *out << change.name; }

class ANetworkChange : public ABridge, public ::testing::WithParamInterface<Change> {};

TEST_P(ANetworkChange, IsLogged) {
  bridge.networkAvailableChanged(GetParam().before);
  tv.take();

  bridge.networkAvailableChanged(GetParam().after);

  EXPECT_THAT(tv.take(), ElementsAre(std::string("log networkAvailableChanged: Network enabled "
                                                 "changed from ") +
                                     GetParam().line));
}

INSTANTIATE_TEST_SUITE_P(From, ANetworkChange,
                         ::testing::Values(Change{"OffToOn", false, true, "0(false) to 1(true)"},
                                           Change{"OnToOff", true, false, "1(true) to 0(false)"},
                                           Change{"OffToOff", false, false, "0(false) to 0(false)"},
                                           Change{"OnToOn", true, true, "1(true) to 1(true)"}),
                         [](const auto& row) { return std::string(row.param.name); });

constexpr char kTooYoung[] =
    "log isNetworkAvailable: Network available is less than 2s, return false";

TEST_F(ABridge, DoesNotTrustANetworkInItsFirstTwoSeconds) {
  bridge.networkAvailableChanged(true);
  tv.take();

  time.pass(1500ms);

  EXPECT_FALSE(bridge.isNetworkAvailable());
  EXPECT_THAT(tv.take(), ElementsAre(kTooYoung));
}

TEST_F(ABridge, DoesNotTrustANetworkAMomentBeforeTwoSeconds) {
  bridge.networkAvailableChanged(true);
  tv.take();

  time.pass(1999ms);

  EXPECT_FALSE(bridge.isNetworkAvailable());
  EXPECT_THAT(tv.take(), ElementsAre(kTooYoung));
}

TEST_F(ABridge, TrustsANetworkFromItsSecondSecondOn) {
  bridge.networkAvailableChanged(true);
  tv.take();

  time.pass(2s);

  EXPECT_TRUE(bridge.isNetworkAvailable());
  EXPECT_THAT(tv.take(), IsEmpty());
}

TEST_F(ABridge, CountsTheTwoSecondsAfreshWhenTheNetworkIsReportedAgain) {
  bridge.networkAvailableChanged(true);
  time.pass(10s);
  bridge.networkAvailableChanged(true);
  tv.take();

  time.pass(1s);

  EXPECT_FALSE(bridge.isNetworkAvailable());
  EXPECT_THAT(tv.take(), ElementsAre(kTooYoung));
}

TEST_F(ABridge, KeepsTheTimeOfANetworkThatHasGone) {
  bridge.networkAvailableChanged(true);
  bridge.networkAvailableChanged(false);
  tv.take();

  time.pass(1s);
  EXPECT_FALSE(bridge.isNetworkAvailable());
  EXPECT_THAT(tv.take(), ElementsAre(kTooYoung));

  time.pass(1s);
  EXPECT_FALSE(bridge.isNetworkAvailable());
  EXPECT_THAT(tv.take(), IsEmpty());
}

TEST_F(ABridge, DoesNotCountTheLossOfANetworkAsItsComing) {
  bridge.networkAvailableChanged(true);
  time.pass(10s);
  bridge.networkAvailableChanged(false);
  tv.take();

  EXPECT_FALSE(bridge.isNetworkAvailable());
  EXPECT_THAT(tv.take(), IsEmpty());
}

TEST_F(ABridge, TrustsNoNetworkWhileTheClockCannotBeRead) {
  bridge.networkAvailableChanged(true);
  time.pass(10s);
  time.breakClock(CLOCK_MONOTONIC);
  tv.take();

  EXPECT_FALSE(bridge.isNetworkAvailable());
  EXPECT_THAT(tv.take(), ElementsAre(kTooYoung));
}

TEST_F(ABridge, TrustsANetworkAtOnceThatCameWhileTheClockCouldNotBeRead) {
  time.breakClock(CLOCK_MONOTONIC);
  bridge.networkAvailableChanged(true);
  time.fixClock(CLOCK_MONOTONIC);

  EXPECT_TRUE(bridge.isNetworkAvailable());
}

class ABridgeOfAYoungSet : public OneScenarioPerProcess {
 protected:
  InMemoryTv tv;
  VirtualLibc time{tv.history()};
  norvale::AirPlayBridge bridge;
};

TEST_F(ABridgeOfAYoungSet, TrustsNoNetworkInTheFirstTwoSecondsOfUptime) {
  time.startAt(1999ms);
  EXPECT_FALSE(bridge.isNetworkAvailable());
  EXPECT_THAT(tv.take(), ElementsAre(kTooYoung));

  time.pass(1ms);
  EXPECT_FALSE(bridge.isNetworkAvailable());
  EXPECT_THAT(tv.take(), IsEmpty());
}

// ---- EULA

TEST_F(ABridge, RecordsAnAcceptedEulaAndTellsNobody) {
  bridge.eulaChanged(true);

  EXPECT_TRUE(bridge.getEulaStatus());
  EXPECT_THAT(tv.take(), ElementsAre("log eulaChanged: eula enabled: 1"));
}

TEST_F(ABridge, SendsTheApplicationToTheBackgroundWhenTheEulaIsWithdrawn) {
  bridge.eulaChanged(true);
  tv.take();

  bridge.eulaChanged(false);

  EXPECT_FALSE(bridge.getEulaStatus());
  EXPECT_THAT(tv.takeWithout({"IN", "OUT", "log sendGAMCommand:"}),
              ElementsAre("log eulaChanged: eula enabled: 0", kAppToBackground));
}

TEST_F(ABridge, HasTheEulaWithdrawnBeforeItTellsTheDaemon) {
  bridge.eulaChanged(true);
  std::optional<bool> seen;
  tv.onSend("AirPlayDaemon", "BringAppToBackground", "AirPlayDaemon",
            [&] { seen = bridge.getEulaStatus(); });

  bridge.eulaChanged(false);

  EXPECT_EQ(seen, false);
}

TEST_F(ABridge, SendsTheApplicationToTheBackgroundAtEachReportOfNoEula) {
  bridge.eulaChanged(false);
  bridge.eulaChanged(false);

  EXPECT_THAT(tv.takeCalls(), ElementsAre(kAppToBackground, kAppToBackground));
}

TEST_F(ABridge, LeavesAnAcceptedEulaWhileItCannotTellTheDaemon) {
  bridge.eulaChanged(true);
  hasNoBus();
  tv.take();

  bridge.eulaChanged(false);

  EXPECT_TRUE(bridge.getEulaStatus());
  EXPECT_THAT(tv.take(),
              ElementsAre("log eulaChanged: eula enabled: 0", "ERR eulaChanged: No GAM"));
}

TEST_F(ABridge, RecordsNoAcceptedEulaWhileItCannotTellTheDaemon) {
  hasNoBus();

  bridge.eulaChanged(true);

  EXPECT_FALSE(bridge.getEulaStatus());
  EXPECT_THAT(tv.take(),
              ElementsAre("log eulaChanged: eula enabled: 1", "ERR eulaChanged: No GAM"));
}

// ---- Processes

struct Processes {
  const char* name;
  bool app;
  bool daemon;
  bool mdnsd;
  const char* line;
};

void PrintTo(const Processes& row, std::ostream* out) { *out << row.name; }

class AReportOnProcesses : public ABridge, public ::testing::WithParamInterface<Processes> {};

TEST_P(AReportOnProcesses, SetsItsOwnFlagAndTellsNobody) {
  bridge.setAirPlayAppStatus(GetParam().app);
  bridge.setAirPlayDaemonStatus(GetParam().daemon);
  bridge.setMdnsdStatus(GetParam().mdnsd);

  EXPECT_THAT(tv.take(), IsEmpty());
  EXPECT_THAT(
      linesOnProcesses(),
      ElementsAre(std::string("log notifyAirPlaySTRSuspend: STR suspending, ") + GetParam().line));
}

INSTANTIATE_TEST_SUITE_P(
    That, AReportOnProcesses,
    ::testing::Values(Processes{"AllRun", true, true, true,
                                "airplay app status: 1, airplay daemon status: 1, mdnsd status: 1"},
                      Processes{"TheDaemonRuns", false, true, false,
                                "airplay app status: 0, airplay daemon status: 1, mdnsd status: 0"},
                      Processes{
                          "MdnsdRuns", false, false, true,
                          "airplay app status: 0, airplay daemon status: 0, mdnsd status: 1"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(ABridge, TakesReportsBack) {
  bridge.setAirPlayAppStatus(true);
  bridge.setAirPlayDaemonStatus(true);
  bridge.setMdnsdStatus(true);
  bridge.setAirPlayAppStatus(false);
  bridge.setAirPlayDaemonStatus(false);
  bridge.setMdnsdStatus(false);

  EXPECT_THAT(linesOnProcesses(),
              ElementsAre("log notifyAirPlaySTRSuspend: STR suspending, airplay app status: 0, "
                          "airplay daemon status: 0, mdnsd status: 0"));
}

TEST_F(ABridge, HasTheApplicationStoppedWhoseDaemonWentAway) {
  bridge.setAirPlayAppStatus(true);
  bridge.setAirPlayDaemonStatus(true);
  tv.take();

  bridge.setAirPlayDaemonStatus(false);

  EXPECT_THAT(tv.takeWithout({"IN", "OUT", "log sendGAMCommand:"}), ElementsAre(kStopApp));
  EXPECT_THAT(linesOnProcesses(),
              ElementsAre("log notifyAirPlaySTRSuspend: STR suspending, airplay app status: 1, "
                          "airplay daemon status: 0, mdnsd status: 0"));
}

TEST_F(ABridge, HasTheApplicationStoppedAlsoWhenTheDaemonNeverRan) {
  bridge.setAirPlayAppStatus(true);

  bridge.setAirPlayDaemonStatus(false);

  EXPECT_THAT(tv.takeCalls(), ElementsAre(kStopApp));
}

TEST_F(ABridge, LeavesTheApplicationThatIsNotUpAloneWhenTheDaemonGoesAway) {
  bridge.setAirPlayDaemonStatus(true);

  bridge.setAirPlayDaemonStatus(false);

  EXPECT_THAT(tv.take(), IsEmpty());
}

TEST_F(ABridge, RecordsNoDaemonStatusWithoutABus) {
  hasNoBus();
  bridge.setAirPlayDaemonStatus(true);
  EXPECT_THAT(tv.take(), ElementsAre("ERR setAirPlayDaemonStatus: No GAM"));

  hasItsBusAgain();
  EXPECT_THAT(linesOnProcesses(),
              ElementsAre("log notifyAirPlaySTRSuspend: STR suspending, airplay app status: 0, "
                          "airplay daemon status: 0, mdnsd status: 0"));
}

TEST_F(ABridge, RecordsTheStatusOfMdnsdAndApplicationWithoutAnyComponent) {
  bridge.init(nullptr, nullptr, nullptr);
  bridge.setMdnsdStatus(true);
  bridge.setAirPlayAppStatus(true);
  EXPECT_THAT(tv.take(), IsEmpty());

  hasItsBusAgain();
  EXPECT_THAT(linesOnProcesses(),
              ElementsAre("log notifyAirPlaySTRSuspend: STR suspending, airplay app status: 1, "
                          "airplay daemon status: 0, mdnsd status: 1"));
}

// ---- What is passed on

TEST_F(ABridge, TellsTheDaemonThatAirPlayIsSwitchedOn) {
  EXPECT_EQ(bridge.setAirPlayEnableToDaemon(true), 0);

  EXPECT_THAT(
      tv.takeCalls(),
      ElementsAre("gam.send AirPlayBridge|AirPlayDaemon|(null)|AirPlayEnabled|enable -> 0"));
}

TEST_F(ABridge, TellsTheDaemonThatAirPlayIsSwitchedOff) {
  EXPECT_EQ(bridge.setAirPlayEnableToDaemon(false), 0);

  EXPECT_THAT(
      tv.takeCalls(),
      ElementsAre("gam.send AirPlayBridge|AirPlayDaemon|(null)|AirPlayEnabled|disable -> 0"));
}

TEST_F(ABridge, PassesTheResultOfTheBusBack) {
  tv.gamSendResult(-7);

  EXPECT_EQ(bridge.setAirPlayEnableToDaemon(true), -7);
}

TEST_F(ABridge, RefusesToTellTheDaemonWithoutABus) {
  hasNoBus();

  EXPECT_EQ(bridge.setAirPlayEnableToDaemon(true), -1);
  EXPECT_THAT(tv.take(), ElementsAre("ERR setAirPlayEnableToDaemon: No GAM"));
}

TEST_F(ABridge, PassesTheLifeCycleToTheDelegate) {
  bridge.setAirPlayLifeCycle({"stopping", "currentSource"});

  EXPECT_THAT(tv.take(), ElementsAre("settings.set torvo.sl2.vstr.app.setting.airplay.status "
                                     "[\"stopping\",\"currentSource\"] -> 0"));
}

TEST_F(ABridge, PassesALifeCycleOfAnyLength) {
  tv.setting(kStatus, Texts{"started", ""});

  bridge.setAirPlayLifeCycle({});

  EXPECT_THAT(tv.take(),
              ElementsAre("settings.set torvo.sl2.vstr.app.setting.airplay.status [] -> 0"));
}

TEST_F(ABridge, DropsTheLifeCycleWithoutADelegate) {
  hasNoDelegate();

  bridge.setAirPlayLifeCycle({"started", ""});

  EXPECT_THAT(tv.take(), ElementsAre("ERR setAirPlayLifeCycle: No platform."));
}

TEST_F(ABridge, SendsMessagesForTheUiToTheLauncher) {
  EXPECT_EQ(bridge.getUiTargetMessageName(), "launcher");
  EXPECT_THAT(tv.take(), ElementsAre("log getUiTargetMessageName: Other Market, UI is launcher"));
}

TEST_F(ABridge, KnowsNoUiWithoutADelegate) {
  hasNoDelegate();

  EXPECT_EQ(bridge.getUiTargetMessageName(), "unknown");
  EXPECT_THAT(tv.take(), ElementsAre("ERR getUiTargetMessageName: No platform"));
}

// ---- Enable state

class TheEnableState : public ABridge {
 protected:
  // What updateAirPlayRunningState() does, without what the delegate asks the set before it
  // decides.
  Entries publishes() {
    bridge.updateAirPlayRunningState();
    return tv.takeWithout({"access", "settings.get", "log airPlayIsEnabled:"});
  }

  void daemonSwitches(const std::string& to) {
    (void)bridge.processCMD_AirPlayMessageFromGAM("AirPlayEnabled", to);
    tv.take();
  }
};

TEST_F(TheEnableState, IsThreeWhereAirPlayIsSwitchedOn) {
  tv.setting(kEnable, 2);
  (void)platform.airPlayIsSupported();
  tv.take();

  EXPECT_THAT(publishes(),
              ElementsAre("IN updateAirPlayRunningState",
                          "log updateAirPlayRunningState: airplay switch is : 1",
                          "settings.set torvo.sl2.i32.app.setting.airplay.enable 3 -> 0",
                          "log setAirPlayEnableState: AirPlay EnableState: 2 -> 3",
                          "OUT updateAirPlayRunningState"));
}

TEST_F(TheEnableState, IsTwoWhereAirPlayIsSwitchedOff) {
  (void)platform.airPlayIsSupported();
  daemonSwitches("disable");

  EXPECT_THAT(publishes(),
              ElementsAre("IN updateAirPlayRunningState",
                          "log updateAirPlayRunningState: airplay switch is : 0",
                          "settings.set torvo.sl2.i32.app.setting.airplay.enable 2 -> 0",
                          "log setAirPlayEnableState: AirPlay EnableState: 2 -> 2",
                          "OUT updateAirPlayRunningState"));
}

TEST_F(TheEnableState, DoesNotMoveTheSwitch) {
  daemonSwitches("disable");
  (void)publishes();

  EXPECT_THAT(publishes(), Contains("log updateAirPlayRunningState: airplay switch is : 0"));
}

TEST_F(TheEnableState, FollowsTheSwitchBackOn) {
  daemonSwitches("disable");
  daemonSwitches("enable");

  EXPECT_THAT(publishes(), Contains("log updateAirPlayRunningState: airplay switch is : 1"));
  EXPECT_EQ(std::get<int>(tv.setting(kEnable)), 3);
}

TEST_F(TheEnableState, IsZeroWhereAirPlayIsNotAvailable) {
  tv.setting(kSupport, 0);
  tv.setting(kEnable, 3);
  (void)platform.airPlayIsSupported();
  tv.take();

  EXPECT_THAT(publishes(),
              ElementsAre("IN updateAirPlayRunningState",
                          "settings.set torvo.sl2.i32.app.setting.airplay.enable 0 -> 0",
                          "log setAirPlayEnableState: AirPlay EnableState: 3 -> 0",
                          "ERR updateAirPlayRunningState: Airplay is disabled, Running "
                          "AirplayBridge Only.",
                          "OUT updateAirPlayRunningState"));
}

TEST_F(TheEnableState, DoesNotDependOnNetworkAndEula) {
  bridge.networkAvailableChanged(false);
  bridge.eulaChanged(false);

  (void)publishes();

  EXPECT_EQ(std::get<int>(tv.setting(kEnable)), 3);
}

TEST_F(TheEnableState, StaysAsItIsWithoutADelegate) {
  hasNoDelegate();

  EXPECT_THAT(publishes(), ElementsAre("IN updateAirPlayRunningState",
                                       "ERR updateAirPlayRunningState: No platform.",
                                       "OUT updateAirPlayRunningState"));
}

// ---- The end

class TheEndOfABridge : public ABridge {
 protected:
  // What the destructor of a bridge with these components does to them.
  Entries letsGoOf(norvale::IApmBridge* itsApm, norvale::IGamBridge* itsGam,
                   norvale::IPlatformDelegate* itsPlatform) {
    {
      norvale::AirPlayBridge another;
      another.init(itsApm, itsGam, itsPlatform);
    }
    return tv.takeOnly({"apm.removeClient", "gam.unbindClient", "platform.removeClient"});
  }
};

TEST_F(TheEndOfABridge, LetsGoOfAppManagerThenBusThenDelegate) {
  EXPECT_THAT(letsGoOf(&apm, &gam, &platform),
              ElementsAre("apm.removeClient", "gam.unbindClient", "platform.removeClient"));
}

TEST_F(TheEndOfABridge, PassesOverComponentsThatAreMissing) {
  EXPECT_THAT(letsGoOf(nullptr, &gam, &platform),
              ElementsAre("gam.unbindClient", "platform.removeClient"));
  EXPECT_THAT(letsGoOf(&apm, nullptr, &platform),
              ElementsAre("apm.removeClient", "platform.removeClient"));
  EXPECT_THAT(letsGoOf(&apm, &gam, nullptr), ElementsAre("apm.removeClient", "gam.unbindClient"));
  EXPECT_THAT(letsGoOf(nullptr, nullptr, nullptr), IsEmpty());
}

TEST_F(TheEndOfABridge, LeavesTheComponentsAlive) {
  (void)letsGoOf(&apm, &gam, &platform);
  tv.take();

  EXPECT_EQ(gam.stopAirPlay(), 0);
  EXPECT_EQ(apm.getAppName(), "AirPlayBridge");
  EXPECT_EQ(platform.getUiTargetMessageName(), "launcher");
}

}  // namespace
