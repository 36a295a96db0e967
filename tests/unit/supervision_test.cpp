// Supervision: the daemon and mdnsd are started, found, watched.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
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
using norvale::AirPlayBridge;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsSupersetOf;
using ::testing::MatchesRegex;
using ::testing::Not;

using Time = VirtualLibc::Time;

constexpr char kAppStatus[] = "torvo.sl2.str.source.app.status";
constexpr char kFactory[] = "torvo.sl2.i32.norfactory.state.open";
constexpr char kReadyMarker[] = "/tmp/semaphore_ipc";

constexpr char kStartMdnsd[] = "gam.send AirPlayBridge|am|(null)|start|mdnsd -> 0";
constexpr char kStartDaemon[] = "gam.send AirPlayBridge|am|(null)|start|AirPlayDaemon -> 0";
constexpr char kResetDaemon[] = "gam.send AirPlayBridge|am|(null)|reset|AirPlayDaemon -> 0";

constexpr int kSomePid = 4711;

// The polls of a wait for a report, from the first to the one with the number |last|.
Entries polls(int last, const std::string& line) {
  Entries all;
  for (int count = 1; count <= last; ++count) {
    all.push_back("sleep 500000");
    all.push_back(line + std::to_string(count));
  }
  return all;
}

Entries mdnsdPolls(int last) {
  return polls(last, "log startMdnsd: waiting for mdns started, cnt:");
}

Entries daemonPolls(int last) {
  return polls(last, "log startAirPlayDaemon: waiting for AirPlayDaemon started, cnt:");
}

// The process's bridge, started on a set where AirPlay is on, 20 s after the set's own start.
class Supervision : public OneScenarioPerProcess {
 protected:
  Supervision() {
    time.startAt(20s);
    bridge.init(&apm, &gam, &platform);
    EXPECT_EQ(bridge.start(), 0);
    tv.take();
  }

  // The components go before the bridge, which is the process's.
  ~Supervision() override { bridge.init(nullptr, nullptr, nullptr); }

  void isDisabled() { tv.setting(kFactory, 1); }
  void isEnabled() { tv.setting(kFactory, 0); }

  void reports(const std::string& process, const std::string& status) {
    tv.changes(kAppStatus, R"({"appId":")" + process + R"(","appStatus":")" + status + R"("})");
  }

  // What happened, without how the delegate decides and how the bus link sends.
  Entries happened() {
    return tv.takeWithout(
        {"access /var/local/enable_airplay", "access /var/local/disable_airplay", "settings",
         "log airPlayIsEnabled:", "ERR airPlayIsEnabled:", "log sendGAMCommand:", "IN", "OUT",
         "IN onAppStatusChanged", "log onAppStatusChanged:"});
  }

  InMemoryTv tv;
  VirtualLibc time{tv.history()};
  NotedPlatform platform{tv.history()};
  NotedApm apm{tv.history()};
  NotedGam gam{tv.history()};
  AirPlayBridge& bridge = *AirPlayBridge::getInstance();
};

// ---- startMdnsd()

class StartingMdnsd : public Supervision {};

TEST_F(StartingMdnsd, AsksPolicySendsTheCommandWaitsAndAsksTheSystem) {
  time.after(1200ms, [&] { bridge.setMdnsdStatus(true); });

  bridge.startMdnsd();

  EXPECT_THAT(tv.take(), ElementsAreArray(
                             Entries{"IN startMdnsd", "access /var/local/enable_airplay -> missing",
                                     "access /var/local/enable_airplay -> missing",
                                     "access /var/local/disable_airplay -> missing",
                                     "settings.get torvo.sl2.i32.norfactory.state.open -> 0 0",
                                     "log airPlayIsEnabled: Enable airplay by default.",
                                     "log startMdnsd: Starting ...", "IN startMdnsd",
                                     "log sendGAMCommand: cmd: start,  dest: am, param: mdnsd",
                                     kStartMdnsd, "OUT startMdnsd"} +
                             mdnsdPolls(3) +
                             Entries{"base.getPidOf mdnsd -> 0",
                                     "log startMdnsd: PID of mdnsd: 0, time used: 0.000000",
                                     "log startMdnsd: mdnsd Started.", "OUT startMdnsd"}));
}

TEST_F(StartingMdnsd, StopsWaitingAtTheFirstPollAfterTheSetsReport) {
  time.after(1200ms, [&] { reports("mdnsd", "started"); });

  bridge.startMdnsd();

  EXPECT_EQ(time.now(), 21500ms);
  EXPECT_THAT(happened(), ElementsAreArray(
                              Entries{"log startMdnsd: Starting ...", kStartMdnsd} + mdnsdPolls(3) +
                              Entries{"base.getPidOf mdnsd -> 0",
                                      "log startMdnsd: PID of mdnsd: 0, time used: 0.000000",
                                      "log startMdnsd: mdnsd Started."}));
}

TEST_F(StartingMdnsd, DoesNotWaitForAReportThatIsThereBeforeTheFirstPoll) {
  tv.onSend("am", "start", "mdnsd", [&] { bridge.setMdnsdStatus(true); });
  tv.runs("mdnsd", kSomePid);

  bridge.startMdnsd();

  EXPECT_THAT(happened(), ElementsAre("log startMdnsd: Starting ...", kStartMdnsd,
                                      "base.getPidOf mdnsd -> 4711",
                                      "log startMdnsd: PID of mdnsd: 4711, time used: 0.000000",
                                      "log startMdnsd: mdnsd Started."));
}

TEST_F(StartingMdnsd, GivesUpAfterElevenPollsWithoutReportAndProcess) {
  bridge.startMdnsd();

  EXPECT_EQ(time.now(), 25500ms);
  EXPECT_THAT(
      happened(),
      ElementsAreArray(Entries{"log startMdnsd: Starting ...", kStartMdnsd} + mdnsdPolls(11) +
                       Entries{"ERR startMdnsd: mdns start timeout", "base.getPidOf mdnsd -> 0",
                               "log startMdnsd: PID of mdnsd: 0, time used: 0.000000",
                               "ERR startMdnsd: mdnsd Timeout"}));
}

TEST_F(StartingMdnsd, IsTriedAgainAfterATimeout) {
  bridge.startMdnsd();
  bridge.startMdnsd();

  EXPECT_THAT(tv.takeOnly({"gam.send"}), ElementsAre(kStartMdnsd, kStartMdnsd));
}

TEST_F(StartingMdnsd, TakesAProcessForProof) {
  tv.runs("mdnsd", kSomePid);

  bridge.startMdnsd();
  EXPECT_THAT(
      happened(),
      ElementsAreArray(Entries{"log startMdnsd: Starting ...", kStartMdnsd} + mdnsdPolls(11) +
                       Entries{"ERR startMdnsd: mdns start timeout", "base.getPidOf mdnsd -> 4711",
                               "log startMdnsd: PID of mdnsd: 4711, time used: 0.000000",
                               "log startMdnsd: mdnsd Started."}));

  bridge.startMdnsd();
  EXPECT_THAT(happened(), ElementsAre("log startMdnsd: MDNSD is already running..."));
}

TEST_F(StartingMdnsd, LooksForAReportAfterTheTenthSleepForTheLastTime) {
  time.after(5s, [&] { bridge.setMdnsdStatus(true); });

  bridge.startMdnsd();

  EXPECT_THAT(
      happened(),
      ElementsAreArray(Entries{"log startMdnsd: Starting ...", kStartMdnsd} + mdnsdPolls(10) +
                       Entries{"base.getPidOf mdnsd -> 0",
                               "log startMdnsd: PID of mdnsd: 0, time used: 0.000000",
                               "log startMdnsd: mdnsd Started."}));
}

TEST_F(StartingMdnsd, LooksForNoReportAfterTheEleventhSleepButCountsIt) {
  time.after(5200ms, [&] { bridge.setMdnsdStatus(true); });

  bridge.startMdnsd();

  EXPECT_THAT(
      happened(),
      ElementsAreArray(Entries{"log startMdnsd: Starting ...", kStartMdnsd} + mdnsdPolls(11) +
                       Entries{"ERR startMdnsd: mdns start timeout", "base.getPidOf mdnsd -> 0",
                               "log startMdnsd: PID of mdnsd: 0, time used: 0.000000",
                               "log startMdnsd: mdnsd Started."}));
}

TEST_F(StartingMdnsd, CountsAReportThatComesWhileItAsksTheSystem) {
  tv.onGetPidOf("mdnsd", [&] { bridge.setMdnsdStatus(true); });

  bridge.startMdnsd();

  EXPECT_EQ(lastOf(happened()), "log startMdnsd: mdnsd Started.");
}

TEST_F(StartingMdnsd, TellsHowLongTheLookUpTook) {
  tv.onGetPidOf("mdnsd", [&] { time.pass(1234us); });

  bridge.startMdnsd();

  EXPECT_THAT(tv.takeLog(), Contains("log startMdnsd: PID of mdnsd: 0, time used: 0.001234"));
}

TEST_F(StartingMdnsd, DoesNotCareWhetherTheCommandArrived) {
  tv.gamSendResult(-1);
  tv.runs("mdnsd", kSomePid);

  bridge.startMdnsd();

  EXPECT_THAT(happened(), IsSupersetOf({"gam.send AirPlayBridge|am|(null)|start|mdnsd -> -1",
                                        "log startMdnsd: waiting for mdns started, cnt:11",
                                        "log startMdnsd: mdnsd Started."}));
}

TEST_F(StartingMdnsd, DoesNothingWhileItRunsAndSaysSoTenTimes) {
  bridge.setMdnsdStatus(true);

  for (int i = 0; i < 12; ++i) {
    bridge.startMdnsd();
  }

  EXPECT_THAT(
      tv.takeWithout({"IN", "OUT"}),
      ElementsAreArray(repeated(10, {"log startMdnsd: MDNSD is already running..."}) +
                       Entries{"log startMdnsd: This log is Limit to  10 times, ignore further "
                               "logs. "}));
}

TEST_F(StartingMdnsd, DoesNothingWhileAirPlayIsDisabledAndSaysSoTenTimes) {
  isDisabled();

  for (int i = 0; i < 11; ++i) {
    bridge.startMdnsd();
  }

  EXPECT_THAT(
      happened(),
      ElementsAreArray(
          repeated(10, {"ERR startMdnsd: airplay is not enabled, mdnsd  can't start"}) +
          Entries{"ERR startMdnsd: This log is Limit to  10 times, ignore further logs. "}));
}

TEST_F(StartingMdnsd, IsTracedFromEndToEndHoweverItEnds) {
  bridge.setMdnsdStatus(true);
  bridge.startMdnsd();
  EXPECT_THAT(tv.take(), ElementsAre("IN startMdnsd", "log startMdnsd: MDNSD is already running...",
                                     "OUT startMdnsd"));
}

// ---- startAirPlayDaemon()

class StartingTheDaemon : public Supervision {
 protected:
  // What follows the look-up where the marker file is there.
  const Entries isReady = {"log startAirPlayDaemon: Waiting Daemon socket ready....",
                           "access /tmp/semaphore_ipc -> there",
                           "log startAirPlayDaemon: Daemon socket is ready: YES"};

  // ... and where it never comes.
  const Entries isNotReady =
      Entries{"log startAirPlayDaemon: Waiting Daemon socket ready...."} +
      repeated(50, {"access /tmp/semaphore_ipc -> missing", "sleep 100000"}) +
      Entries{"log startAirPlayDaemon: Daemon socket is ready: NO",
              "ERR startAirPlayDaemon: airplay daemon may be not ready yet."};
};

TEST_F(StartingTheDaemon, AsksPolicySendsTheCommandWaitsAsksTheSystemAndWaitsForTheMarker) {
  time.after(1200ms, [&] { bridge.setAirPlayDaemonStatus(true); });
  time.createFile(kReadyMarker);

  bridge.startAirPlayDaemon();

  EXPECT_THAT(
      tv.take(),
      ElementsAreArray(Entries{"access /var/local/enable_airplay -> missing",
                               "access /var/local/enable_airplay -> missing",
                               "access /var/local/disable_airplay -> missing",
                               "settings.get torvo.sl2.i32.norfactory.state.open -> 0 0",
                               "log airPlayIsEnabled: Enable airplay by default.",
                               "log startAirPlayDaemon: Starting AirPlay Daemon...",
                               "IN startAirPlayDaemon",
                               "log sendGAMCommand: cmd: start,  dest: am, param: AirPlayDaemon",
                               kStartDaemon, "OUT startAirPlayDaemon"} +
                       daemonPolls(3) +
                       Entries{"base.getPidOf airplaydemo -> 0",
                               "log startAirPlayDaemon: PID of airplaydemo: 0, time used: 0.000000",
                               "log startAirPlayDaemon: Waiting Daemon socket ready....",
                               "IN waitDaemonSocketReady", "access /tmp/semaphore_ipc -> there",
                               "OUT waitDaemonSocketReady",
                               "log startAirPlayDaemon: Daemon socket is ready: YES"}));
}

TEST_F(StartingTheDaemon, StopsWaitingAtTheFirstPollAfterTheSetsReport) {
  time.after(1200ms, [&] { reports("AirPlayDaemon", "started"); });
  time.createFile(kReadyMarker);

  bridge.startAirPlayDaemon();

  EXPECT_EQ(time.now(), 21500ms);
}

TEST_F(StartingTheDaemon, TakesAnyMessageOfTheDaemonForProof) {
  time.after(700ms, [&] { tv.daemonSays("unblank", "nothing"); });
  time.createFile(kReadyMarker);

  bridge.startAirPlayDaemon();
  EXPECT_EQ(time.now(), 21s);
  tv.take();

  bridge.startMdnsd();
  bridge.startAirPlayDaemon();
  EXPECT_THAT(happened(),
              ElementsAre("log startMdnsd: MDNSD is already running...",
                          "log startAirPlayDaemon: AirPlayDaemon is already running..."));
}

TEST_F(StartingTheDaemon, DoesNotWaitForAReportThatIsThereBeforeTheFirstPoll) {
  tv.onSend("am", "start", "AirPlayDaemon", [&] { bridge.setAirPlayDaemonStatus(true); });
  tv.runs("airplaydemo", kSomePid);
  time.createFile(kReadyMarker);

  bridge.startAirPlayDaemon();

  EXPECT_THAT(happened(),
              ElementsAreArray(
                  Entries{"log startAirPlayDaemon: Starting AirPlay Daemon...", kStartDaemon,
                          "base.getPidOf airplaydemo -> 4711",
                          "log startAirPlayDaemon: PID of airplaydemo: 4711, time used: 0.000000"} +
                  isReady));
}

TEST_F(StartingTheDaemon, GivesUpAfterElevenPollsAndStillWaitsForTheMarker) {
  bridge.startAirPlayDaemon();

  EXPECT_EQ(time.now(), 30500ms);
  EXPECT_THAT(happened(),
              ElementsAreArray(
                  Entries{"log startAirPlayDaemon: Starting AirPlay Daemon...", kStartDaemon} +
                  daemonPolls(11) +
                  Entries{"ERR startAirPlayDaemon: AirPlayDaemon start timeout 5s",
                          "base.getPidOf airplaydemo -> 0",
                          "log startAirPlayDaemon: PID of airplaydemo: 0, time used: 0.000000"} +
                  isNotReady));
}

TEST_F(StartingTheDaemon, IsTriedAgainAfterATimeoutThoughTheMarkerIsThere) {
  time.createFile(kReadyMarker);

  bridge.startAirPlayDaemon();
  bridge.startAirPlayDaemon();

  EXPECT_THAT(tv.takeOnly({"gam.send"}), ElementsAre(kStartDaemon, kStartDaemon));
}

TEST_F(StartingTheDaemon, TakesAProcessForProofThoughTheMarkerNeverComes) {
  tv.runs("airplaydemo", kSomePid);

  bridge.startAirPlayDaemon();
  EXPECT_THAT(happened(),
              ElementsAreArray(
                  Entries{"log startAirPlayDaemon: Starting AirPlay Daemon...", kStartDaemon} +
                  daemonPolls(11) +
                  Entries{"ERR startAirPlayDaemon: AirPlayDaemon start timeout 5s",
                          "base.getPidOf airplaydemo -> 4711",
                          "log startAirPlayDaemon: PID of airplaydemo: 4711, time used: 0.000000"} +
                  isNotReady));

  bridge.startAirPlayDaemon();
  EXPECT_THAT(happened(),
              ElementsAre("log startAirPlayDaemon: AirPlayDaemon is already running..."));
}

TEST_F(StartingTheDaemon, LooksForAReportAfterTheTenthSleepForTheLastTime) {
  time.after(5s, [&] { bridge.setAirPlayDaemonStatus(true); });
  time.createFile(kReadyMarker);

  bridge.startAirPlayDaemon();

  EXPECT_THAT(happened(),
              ElementsAreArray(
                  Entries{"log startAirPlayDaemon: Starting AirPlay Daemon...", kStartDaemon} +
                  daemonPolls(10) +
                  Entries{"base.getPidOf airplaydemo -> 0",
                          "log startAirPlayDaemon: PID of airplaydemo: 0, time used: 0.000000"} +
                  isReady));
}

TEST_F(StartingTheDaemon, LooksForNoReportAfterTheEleventhSleepButCountsIt) {
  time.after(5200ms, [&] { bridge.setAirPlayDaemonStatus(true); });
  time.createFile(kReadyMarker);

  bridge.startAirPlayDaemon();
  EXPECT_THAT(happened(),
              ElementsAreArray(
                  Entries{"log startAirPlayDaemon: Starting AirPlay Daemon...", kStartDaemon} +
                  daemonPolls(11) +
                  Entries{"ERR startAirPlayDaemon: AirPlayDaemon start timeout 5s",
                          "base.getPidOf airplaydemo -> 0",
                          "log startAirPlayDaemon: PID of airplaydemo: 0, time used: 0.000000"} +
                  isReady));

  bridge.startAirPlayDaemon();
  EXPECT_THAT(happened(),
              ElementsAre("log startAirPlayDaemon: AirPlayDaemon is already running..."));
}

TEST_F(StartingTheDaemon, TellsHowLongTheLookUpTook) {
  tv.onGetPidOf("airplaydemo", [&] { time.pass(2500us); });

  bridge.startAirPlayDaemon();

  EXPECT_THAT(tv.takeLog(),
              Contains("log startAirPlayDaemon: PID of airplaydemo: 0, time used: 0.002500"));
}

TEST_F(StartingTheDaemon, DoesNothingWhileItRunsAndSaysSoTenTimes) {
  bridge.setAirPlayDaemonStatus(true);

  for (int i = 0; i < 12; ++i) {
    bridge.startAirPlayDaemon();
  }

  EXPECT_THAT(
      tv.take(),
      ElementsAreArray(
          repeated(10, {"log startAirPlayDaemon: AirPlayDaemon is already running..."}) +
          Entries{
              "log startAirPlayDaemon: This log is Limit to  10 times, ignore further logs. "}));
}

TEST_F(StartingTheDaemon, DoesNothingWhileAirPlayIsDisabledAndSaysSoFiveTimes) {
  isDisabled();

  for (int i = 0; i < 11; ++i) {
    bridge.startAirPlayDaemon();
  }

  EXPECT_THAT(
      happened(),
      ElementsAreArray(
          repeated(5, {"ERR startAirPlayDaemon: airplay is not enabled, daemon can't start."}) +
          Entries{"ERR startAirPlayDaemon: This log is Limit to  5 times, ignore further logs. "}));
}

// ---- waitDaemonSocketReady()

class TheDaemonsMarker : public Supervision {};

TEST_F(TheDaemonsMarker, NeedsNoWaitWhenItIsThere) {
  time.createFile(kReadyMarker);

  EXPECT_TRUE(bridge.waitDaemonSocketReady());

  EXPECT_THAT(tv.take(),
              ElementsAre("IN waitDaemonSocketReady", "access /tmp/semaphore_ipc -> there",
                          "OUT waitDaemonSocketReady"));
}

TEST_F(TheDaemonsMarker, IsLookedForTenTimesASecond) {
  time.after(150ms, [&] { time.createFile(kReadyMarker); });

  EXPECT_TRUE(bridge.waitDaemonSocketReady());

  EXPECT_THAT(tv.take(),
              ElementsAre("IN waitDaemonSocketReady", "access /tmp/semaphore_ipc -> missing",
                          "sleep 100000", "access /tmp/semaphore_ipc -> missing", "sleep 100000",
                          "access /tmp/semaphore_ipc -> there", "OUT waitDaemonSocketReady"));
}

TEST_F(TheDaemonsMarker, IsFoundByTheFiftiethLook) {
  time.after(4900ms, [&] { time.createFile(kReadyMarker); });

  EXPECT_TRUE(bridge.waitDaemonSocketReady());

  EXPECT_EQ(time.now(), 24900ms);
}

TEST_F(TheDaemonsMarker, IsNotLookedForAfterTheFiftiethSleep) {
  time.after(4950ms, [&] { time.createFile(kReadyMarker); });

  EXPECT_FALSE(bridge.waitDaemonSocketReady());

  EXPECT_THAT(
      tv.take(),
      ElementsAreArray(Entries{"IN waitDaemonSocketReady"} +
                       repeated(50, {"access /tmp/semaphore_ipc -> missing", "sleep 100000"}) +
                       Entries{"OUT waitDaemonSocketReady"}));
}

// ---- resetAirPlayDaemon()

class ResettingTheDaemon : public Supervision {};

TEST_F(ResettingTheDaemon, SendsTheCommandAndAwaitsNothing) {
  bridge.resetAirPlayDaemon();

  EXPECT_EQ(time.now(), 20s);
  EXPECT_THAT(tv.take(),
              ElementsAre("IN resetAirPlayDaemon",
                          "log sendGAMCommand: cmd: reset,  dest: am, param: AirPlayDaemon",
                          kResetDaemon, "OUT resetAirPlayDaemon"));
}

TEST_F(ResettingTheDaemon, DoesNotAskWhetherAirPlayIsEnabled) {
  isDisabled();

  bridge.resetAirPlayDaemon();

  EXPECT_THAT(tv.takeCalls(), ElementsAre(kResetDaemon));
}

TEST_F(ResettingTheDaemon, ChangesNothingThatIsKnownOfTheProcesses) {
  bridge.setAirPlayDaemonStatus(true);
  bridge.setMdnsdStatus(true);

  bridge.resetAirPlayDaemon();
  tv.take();

  bridge.startMdnsd();
  bridge.startAirPlayDaemon();
  EXPECT_THAT(happened(),
              ElementsAre("log startMdnsd: MDNSD is already running...",
                          "log startAirPlayDaemon: AirPlayDaemon is already running..."));
}

// ---- ... without a component

struct Incomplete {
  const char* name;
  void (*asks)(AirPlayBridge& bridge);
  const char* function;
  bool apm;
  bool gam;
  bool platform;
};

void PrintTo(const Incomplete& row, std::ostream* out) { *out << row.name; }

class AnIncompleteBridge : public Supervision, public ::testing::WithParamInterface<Incomplete> {};

TEST_P(AnIncompleteBridge, SaysSoAndDoesNothing) {
  bridge.init(GetParam().apm ? nullptr : &apm, GetParam().gam ? nullptr : &gam,
              GetParam().platform ? nullptr : &platform);

  GetParam().asks(bridge);

  EXPECT_THAT(tv.takeWithout({"IN", "OUT"}),
              ElementsAre(MatchesRegex(std::string("ERR ") + GetParam().function +
                                       ": No  component: (0x[0-9a-f]+|\\(nil\\)), "
                                       "(0x[0-9a-f]+|\\(nil\\)), (0x[0-9a-f]+|\\(nil\\))")));
}

constexpr auto kMdnsdStart = [](AirPlayBridge& bridge) { bridge.startMdnsd(); };
constexpr auto kDaemonStart = [](AirPlayBridge& bridge) { bridge.startAirPlayDaemon(); };
constexpr auto kDaemonReset = [](AirPlayBridge& bridge) { bridge.resetAirPlayDaemon(); };

// clang-format off
INSTANTIATE_TEST_SUITE_P(
    AskedTo, AnIncompleteBridge,
    ::testing::Values(
        Incomplete{"StartMdnsdWithoutAppManager",  kMdnsdStart,  "startMdnsd",         true,  false, false},
        Incomplete{"StartMdnsdWithoutBus",         kMdnsdStart,  "startMdnsd",         false, true,  false},
        Incomplete{"StartMdnsdWithoutDelegate",    kMdnsdStart,  "startMdnsd",         false, false, true},
        Incomplete{"StartDaemonWithoutAppManager", kDaemonStart, "startAirPlayDaemon", true,  false, false},
        Incomplete{"StartDaemonWithoutBus",        kDaemonStart, "startAirPlayDaemon", false, true,  false},
        Incomplete{"StartDaemonWithoutDelegate",   kDaemonStart, "startAirPlayDaemon", false, false, true},
        Incomplete{"ResetDaemonWithoutAppManager", kDaemonReset, "resetAirPlayDaemon", true,  false, false},
        Incomplete{"ResetDaemonWithoutBus",        kDaemonReset, "resetAirPlayDaemon", false, true,  false},
        Incomplete{"ResetDaemonWithoutDelegate",   kDaemonReset, "resetAirPlayDaemon", false, false, true}),
    [](const auto& row) { return std::string(row.param.name); });
// clang-format on

TEST_F(Supervision, TracesTheStartOfMdnsdAlsoWithoutComponents) {
  bridge.init(nullptr, nullptr, nullptr);

  bridge.startMdnsd();

  EXPECT_THAT(tv.take(),
              ElementsAre("IN startMdnsd", "ERR startMdnsd: No  component: (nil), (nil), (nil)",
                          "OUT startMdnsd"));
}

// ---- run()

// The loop, until |end| of uptime. |asked| are the moments at which it asked whether AirPlay is
// enabled, |mdnsdStarts| and |daemonStarts| those at which it had a process started.
class TheLoop : public Supervision {
 protected:
  TheLoop() {
    time.createFile(kReadyMarker);
    tv.onSend("am", "start", "mdnsd", [this] { mdnsdStarts.push_back(time.now()); });
    tv.onSend("am", "start", "AirPlayDaemon", [this] { daemonStarts.push_back(time.now()); });
  }

  // A set that reports each start of the two processes at once.
  void startsWhatItIsAsked() {
    tv.onSend("am", "start", "mdnsd", [this] { bridge.setMdnsdStatus(true); });
    tv.onSend("am", "start", "AirPlayDaemon", [this] { bridge.setAirPlayDaemonStatus(true); });
  }

  void runsUntil(Time end) {
    time.endAt(end);
    EXPECT_THROW(bridge.run(), ScriptOver);
  }

  std::vector<Time> mdnsdStarts;
  std::vector<Time> daemonStarts;
};

TEST_F(TheLoop, HasMdnsdStartedThenTheDaemonThenTicksEverySecond) {
  startsWhatItIsAsked();

  runsUntil(22s);

  EXPECT_THAT(happened(),
              ElementsAre("log startMdnsd: Starting ...", kStartMdnsd, "base.getPidOf mdnsd -> 0",
                          "log startMdnsd: PID of mdnsd: 0, time used: 0.000000",
                          "log startMdnsd: mdnsd Started.",
                          "log startAirPlayDaemon: Starting AirPlay Daemon...", kStartDaemon,
                          "base.getPidOf airplaydemo -> 0",
                          "log startAirPlayDaemon: PID of airplaydemo: 0, time used: 0.000000",
                          "log startAirPlayDaemon: Waiting Daemon socket ready....",
                          "access /tmp/semaphore_ipc -> there",
                          "log startAirPlayDaemon: Daemon socket is ready: YES",  //
                          "sleep 1000000", "sleep 1000000", "sleep 1000000"));
}

TEST_F(TheLoop, ChecksForTheFirstTimeOnTheTenthTick) {
  startsWhatItIsAsked();
  runsUntil(30s - 1us);
  EXPECT_THAT(tv.takeLog(), Not(Contains("log startMdnsd: MDNSD is already running...")));
}

TEST_F(TheLoop, ChecksBothProcessesInTheirOrderAtEachTenthTick) {
  startsWhatItIsAsked();

  runsUntil(50s);

  const Entries tenTicks(10, "sleep 1000000");
  const Entries check = {"log startMdnsd: MDNSD is already running...",
                         "log startAirPlayDaemon: AirPlayDaemon is already running..."};
  const std::size_t starts = 12;
  EXPECT_THAT(without(starts, happened()),
              ElementsAreArray(tenTicks + check + tenTicks + check + tenTicks + check +
                               Entries{"sleep 1000000"}));
}

TEST_F(TheLoop, DoesNotCheckAtNineAndAHalfSeconds) {
  startsWhatItIsAsked();
  time.at(20500ms, [&] { time.pass(1s); });  // the ticks come at half seconds

  runsUntil(30400ms);

  EXPECT_THAT(tv.takeLog(), Not(Contains("log startMdnsd: MDNSD is already running...")));
}

TEST_F(TheLoop, AsksWhetherAirPlayIsEnabledOnlyWhenACheckIsDue) {
  startsWhatItIsAsked();

  runsUntil(31s);

  const std::string question = "settings.get torvo.sl2.i32.norfactory.state.open -> 0 0";
  EXPECT_THAT(tv.takeOnly({"sleep", "settings.get"}),
              ElementsAreArray(repeated(2, {question}) + repeated(10, {"sleep 1000000"}) +
                               Entries{question} + repeated(2, {"sleep 1000000"})));
}

TEST_F(TheLoop, ActsInTheFirstSecondAfterAirPlayBecomesEnabled) {
  isDisabled();
  startsWhatItIsAsked();
  time.at(35300ms, [&] { isEnabled(); });

  runsUntil(60s);

  EXPECT_THAT(mdnsdStarts, ElementsAre(36s));
  EXPECT_THAT(daemonStarts, ElementsAre(36s));
}

TEST_F(TheLoop, CountsTheNextTenSecondsFromTheCheckThatActed) {
  isDisabled();
  time.at(35300ms, [&] {
    isEnabled();
    startsWhatItIsAsked();
  });
  time.at(40s, [&] { bridge.setMdnsdStatus(false); });

  runsUntil(60s);

  EXPECT_THAT(mdnsdStarts, ElementsAre(36s, 46s));
}

TEST_F(TheLoop, AsksAgainEverySecondWhileAirPlayIsDisabled) {
  isDisabled();

  runsUntil(33s);

  EXPECT_THAT(
      tv.takeOnly({"sleep", "settings.get"}),
      ElementsAreArray(repeated(2, {"settings.get torvo.sl2.i32.norfactory.state.open -> 0 1"}) +
                       repeated(9, {"sleep 1000000"}) +
                       repeated(4, {"sleep 1000000",
                                    "settings.get torvo.sl2.i32.norfactory.state.open -> 0 1"}) +
                       Entries{"sleep 1000000"}));
}

// The check counts from the moment before the starts, so one that takes long is followed by another
// on the next tick.
TEST_F(TheLoop, ChecksOnTheNextTickAfterStartsThatTimedOut) {
  time.removeFile(kReadyMarker);

  runsUntil(75s);

  EXPECT_THAT(mdnsdStarts, ElementsAre(20s, 46s, 63s));
  EXPECT_THAT(daemonStarts, ElementsAre(25500ms, 51500ms, 68500ms));
}

TEST_F(TheLoop, LeavesADeadProcessAloneUntilTheSetReportsItStopped) {
  startsWhatItIsAsked();
  tv.runs("airplaydemo", 0);
  time.at(43s, [&] { reports("AirPlayDaemon", "stopped"); });

  runsUntil(60s);

  EXPECT_THAT(daemonStarts, ElementsAre(20s, 50s));
  EXPECT_THAT(mdnsdStarts, ElementsAre(20s));
}

TEST_F(TheLoop, HasMdnsdStartedAgainThatTheSetReportsStopped) {
  startsWhatItIsAsked();
  time.at(43s, [&] { reports("mdnsd", "stopped"); });

  runsUntil(60s);

  EXPECT_THAT(mdnsdStarts, ElementsAre(20s, 50s));
  EXPECT_THAT(daemonStarts, ElementsAre(20s));
}

TEST_F(TheLoop, ChecksNothingWhileTheClockCannotBeRead) {
  startsWhatItIsAsked();
  time.breakClock(CLOCK_MONOTONIC);

  runsUntil(60s);

  EXPECT_THAT(tv.takeLog(), Not(Contains("log startMdnsd: MDNSD is already running...")));
}

TEST_F(TheLoop, NeverResetsTheDaemonOfASetThatIsNotInAHotel) {
  runsUntil(60s);

  EXPECT_THAT(tv.takeCalls(), Not(Contains(kResetDaemon)));
}

// ---- ... in a hotel. This build's delegate never is; a variant's may be.

class HotelPlatform : public NotedPlatform {
 public:
  using NotedPlatform::NotedPlatform;

  bool isHotelMode() override { return isHotel; }
  bool airPlayIsEnabled() override { return enabled; }

  bool isHotel = true;
  bool enabled = true;
};

class TheLoopInAHotel : public TheLoop {
 protected:
  TheLoopInAHotel() {
    bridge.init(&apm, &gam, &hotel);
    startsWhatItIsAsked();
    tv.take();
  }

  HotelPlatform hotel{tv.history()};
};

TEST_F(TheLoopInAHotel, ResetsTheDaemonAndGivesItThreeSecondsBetweenTheStarts) {
  runsUntil(24s);

  EXPECT_THAT(tv.takeOnly({"gam.send", "sleep"}),
              ElementsAre(kStartMdnsd, kResetDaemon, "sleep 3000000", kStartDaemon, "sleep 1000000",
                          "sleep 1000000"));
}

TEST_F(TheLoopInAHotel, ResetsNothingWhileAirPlayIsDisabled) {
  hotel.enabled = false;

  runsUntil(21s);

  EXPECT_THAT(tv.takeOnly({"gam.send", "sleep"}), ElementsAre("sleep 1000000", "sleep 1000000"));
}

TEST_F(TheLoopInAHotel, CountsTheTimeToTheFirstCheckFromTheEndOfTheStarts) {
  time.at(25s, [&] { bridge.setMdnsdStatus(false); });

  runsUntil(40s);

  EXPECT_THAT(mdnsdStarts, ElementsAre(20s, 33s));
}

}  // namespace
