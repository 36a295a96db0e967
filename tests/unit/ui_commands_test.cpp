// What the UI's commands, the application's reports and the set's sleep lead to.
#include <ostream>

#include "wired_bridge.h"

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::Values;

namespace {

using norvale::AirPlayBridge;

template <class Row>
std::string nameOf(const ::testing::TestParamInfo<Row>& info) {
  return info.param.name;
}

// The flags of the bridge as its own log line shows them.
std::string flagsLine(int fromUi, int fromInput, int appIsUp) {
  return "log  cmdfromUI: " + std::to_string(fromUi) +
         ", startFromInput: " + std::to_string(fromInput) +
         ", AirPlay App started: " + std::to_string(appIsUp) + ", cmd : flags?,  param: ";
}

class AUiCommand : public WiredBridge {
 protected:
  void sessionFromInput() {
    (void)bridge.processCMD_AirPlay_StartFromInput();
    (void)tv.take();
  }
  void sessionFromInputIsUp() {
    bridge.setAirPlayAppStatus(true);
    sessionFromInput();
  }
  void withoutGam() { bridge.init(&apm, nullptr, &platform); }
  void withoutApm() { bridge.init(nullptr, &gam, &platform); }
  void withAll() { bridge.init(&apm, &gam, &platform); }
};

TEST_F(AUiCommand, StatusIsStoredAndLogged) {
  bridge.setAirPlayCommandFromUIStatus(true);
  EXPECT_THAT(tv.take(), ElementsAre("log setAirPlayCommandFromUIStatus: cmdfromUI: 1"));
  EXPECT_EQ(flags(), flagsLine(1, 0, 0));

  bridge.setAirPlayCommandFromUIStatus(false);
  EXPECT_THAT(tv.take(), ElementsAre("log setAirPlayCommandFromUIStatus: cmdfromUI: 0"));
  EXPECT_EQ(flags(), flagsLine(0, 0, 0));
}

// ---- Starts.

struct Start {
  const char* name;
  int (AirPlayBridge::*operation)();
  const char* cmd;
  int setsFromInput;
};

std::ostream& operator<<(std::ostream& out, const Start& row) { return out << row.name; }

class AStart : public AUiCommand, public ::testing::WithParamInterface<Start> {
 protected:
  int starts() { return (bridge.*GetParam().operation)(); }
  static std::string operation() { return std::string("processCMD_AirPlay_") + GetParam().name; }
};

TEST_P(AStart, TellsTheDaemonAndExpectsItsEcho) {
  EXPECT_EQ(starts(), 0);

  EXPECT_THAT(happened(), ElementsAre("log cmdfromUI: 1", toDaemon(GetParam().cmd)));
  EXPECT_EQ(flags(), flagsLine(1, GetParam().setsFromInput, 0));
}

TEST_P(AStart, AnnouncesAnApplicationThatIsUpAgain) {
  bridge.setAirPlayAppStatus(true);

  EXPECT_EQ(starts(), 0);

  EXPECT_THAT(happened(), ElementsAre("log cmdfromUI: 1", reports(1), toDaemon(GetParam().cmd)));
}

TEST_P(AStart, RenewsTheTimeOfTheLastStartOfAnApplicationThatIsUp) {
  bridge.setAirPlayAppStatus(true);
  (void)starts();
  (void)bridge.processCMD_AirPlay_StopFromUI();
  EXPECT_EQ(time.now(), 101s);
}

TEST_P(AStart, OfAnApplicationThatIsDownIsNoStartYet) {
  (void)starts();
  (void)bridge.processCMD_AirPlay_StopFromUI();
  EXPECT_EQ(time.now(), 100s);
}

TEST_P(AStart, KeepsAnEarlierStartFromTheInputList) {
  sessionFromInput();
  (void)starts();
  EXPECT_EQ(flags(), flagsLine(1, 1, 0));
}

TEST_P(AStart, GivesTheResultOfTheCommand) {
  tv.gamSendResult(-7);
  EXPECT_EQ(starts(), -7);
  tv.gamSendResult(5);
  EXPECT_EQ(starts(), 5);
}

TEST_P(AStart, IsTracedUnderItsName) {
  (void)starts();
  EXPECT_THAT(tv.takeTrace(),
              ElementsAre("IN " + operation(), ::testing::StartsWith("IN UIStart"),
                          ::testing::StartsWith("OUT UIStart"), "OUT " + operation()));
}

TEST_P(AStart, ChangesNothingWithoutACommandBus) {
  bridge.setAirPlayAppStatus(true);
  withoutGam();

  EXPECT_EQ(starts(), 0);

  EXPECT_THAT(tv.take(), ElementsAre("IN " + operation(), "ERR " + operation() + ": No GAM",
                                     "OUT " + operation()));
  withAll();
  EXPECT_EQ(flags(), flagsLine(0, 0, 1));
}

TEST_P(AStart, WithoutAnApplicationManagerStillTellsTheDaemon) {
  bridge.setAirPlayAppStatus(true);
  withoutApm();

  EXPECT_EQ(starts(), 0);

  EXPECT_THAT(happened(), ElementsAre("log cmdfromUI: 1", "ERR No APM", toDaemon(GetParam().cmd)));
}

INSTANTIATE_TEST_SUITE_P(
    , AStart,
    Values(Start{"StartFromInput", &AirPlayBridge::processCMD_AirPlay_StartFromInput, "action", 1},
           Start{"StartFromSetting", &AirPlayBridge::processCMD_AirPlay_StartFromSetting,
                 "settings", 0},
           Start{"StartFromHomeKitSetting",
                 &AirPlayBridge::processCMD_AirPlay_StartFromHomeKitSetting, "HomeKitSettings", 0}),
    nameOf<Start>);

// ---- The stop from the UI.

TEST_F(AUiCommand, StopBringsAnApplicationThatIsUpToTheBackground) {
  sessionFromInputIsUp();
  time.pass(10s);

  EXPECT_EQ(bridge.processCMD_AirPlay_StopFromUI(), 0);

  EXPECT_THAT(tv.take(),
              ElementsAre("log setAirPlayCommandFromUIStatus: cmdfromUI: 0", "IN stopAirPlay",
                          "log sendGAMCommand: cmd: BringAppToBackground,  dest: AirPlayDaemon, "
                          "param: AirPlayDaemon",
                          toDaemon("BringAppToBackground"), "OUT stopAirPlay"));
  EXPECT_EQ(flags(), flagsLine(0, 1, 1));
}

TEST_F(AUiCommand, StopGivesTheResultOfTheCommand) {
  bridge.setAirPlayAppStatus(true);
  tv.gamSendResult(-7);
  EXPECT_EQ(bridge.processCMD_AirPlay_StopFromUI(), -7);
}

TEST_F(AUiCommand, StopOfAnApplicationThatIsDownSendsNothing) {
  sessionFromInput();
  tv.gamSendResult(-7);

  EXPECT_EQ(bridge.processCMD_AirPlay_StopFromUI(), 0);

  EXPECT_THAT(happened(),
              ElementsAre("log cmdfromUI: 0",
                          "log AirPlay App was not in foreground, ignore stop command"));
  EXPECT_EQ(flags(), flagsLine(0, 1, 0));
}

TEST_F(AUiCommand, StopBeforeAnyStartDoesNotWait) {
  bridge.setAirPlayAppStatus(true);
  (void)bridge.processCMD_AirPlay_StopFromUI();
  EXPECT_EQ(time.now(), 100s);
}

TEST_F(AUiCommand, StopRightAfterAStartWaitsASecond) {
  (void)bridge.notifyAirPlayStarted();
  bridge.setAirPlayAppStatus(true);
  time.pass(300ms);
  (void)tv.take();

  EXPECT_EQ(bridge.processCMD_AirPlay_StopFromUI(), 0);

  EXPECT_THAT(happened(),
              ElementsAre("log cmdfromUI: 0", "log Stop command from UI comes too fast, sleep 1s",
                          "sleep 1000000", toDaemon("BringAppToBackground")));
  EXPECT_EQ(time.now(), 101300ms);
}

TEST_F(AUiCommand, StopLooksForTheApplicationAfterTheWait) {
  (void)bridge.notifyAirPlayStarted();
  bridge.setAirPlayAppStatus(true);
  (void)tv.take();
  time.after(500ms, [this] { bridge.setAirPlayAppStatus(false); });

  EXPECT_EQ(bridge.processCMD_AirPlay_StopFromUI(), 0);

  EXPECT_THAT(
      happened(),
      ElementsAre("log cmdfromUI: 0", "log Stop command from UI comes too fast, sleep 1s",
                  "sleep 1000000", "log AirPlay App was not in foreground, ignore stop command"));
}

TEST_F(AUiCommand, StopWaitsAlsoForAnApplicationThatIsDown) {
  (void)bridge.notifyAirPlayStarted();
  (void)bridge.processCMD_AirPlay_StopFromUI();
  EXPECT_EQ(time.now(), 101s);
}

TEST_F(AUiCommand, StopWaitsForAStartOnlyOnceTheSecondIsNotOver) {
  (void)bridge.notifyAirPlayStarted();
  (void)bridge.processCMD_AirPlay_StopFromUI();
  (void)bridge.processCMD_AirPlay_StopFromUI();
  EXPECT_EQ(time.now(), 101s);
}

struct Gap {
  const char* name;
  VirtualLibc::Time gap;
  VirtualLibc::Time wait;
};

class AStopAfterAStart : public AUiCommand, public ::testing::WithParamInterface<Gap> {};

TEST_P(AStopAfterAStart, WaitsWhenLessThanASecondHasPassed) {
  (void)bridge.notifyAirPlayStarted();
  time.pass(GetParam().gap);

  (void)bridge.processCMD_AirPlay_StopFromUI();

  EXPECT_EQ(time.now(), 100s + GetParam().gap + GetParam().wait);
}

INSTANTIATE_TEST_SUITE_P(, AStopAfterAStart,
                         Values(Gap{"AtOnce", 0us, 1s}, Gap{"At0999", 999ms, 1s},
                                Gap{"JustBefore", 999999us, 1s}, Gap{"At1000", 1s, 0s},
                                Gap{"At1001", 1001ms, 0s}),
                         nameOf<Gap>);

TEST_F(AUiCommand, StopWaitsAfterAStartEvenIfItsClockCannotBeRead) {
  (void)bridge.notifyAirPlayStarted();
  time.pass(10s);
  time.breakClock(CLOCK_MONOTONIC);
  (void)tv.take();

  (void)bridge.processCMD_AirPlay_StopFromUI();

  EXPECT_THAT(tv.takeOnly({"sleep"}), ElementsAre("sleep 1000000"));
}

TEST_F(AUiCommand, StopDoesNotWaitForAStartWhoseTimeCouldNotBeRead) {
  time.breakClock(CLOCK_MONOTONIC);
  (void)bridge.notifyAirPlayStarted();
  time.fixClock(CLOCK_MONOTONIC);

  (void)bridge.processCMD_AirPlay_StopFromUI();

  EXPECT_EQ(time.now(), 100s);
}

TEST_F(AUiCommand, StopChangesNothingWithoutACommandBus) {
  sessionFromInputIsUp();
  withoutGam();

  EXPECT_EQ(bridge.processCMD_AirPlay_StopFromUI(), 0);

  EXPECT_THAT(tv.take(), ElementsAre("ERR processCMD_AirPlay_StopFromUI: No GAM"));
  EXPECT_EQ(time.now(), 100s);
  withAll();
  EXPECT_EQ(flags(), flagsLine(1, 1, 1));
}

// ---- The other stop, and the start that timed out.

TEST_F(AUiCommand, StopForMemoryAsksForNothingAndWaitsForNothing) {
  (void)bridge.notifyAirPlayStarted();
  bridge.setAirPlayCommandFromUIStatus(true);
  (void)tv.take();

  EXPECT_EQ(bridge.processCMD_AirPlay_Stop(), 0);

  EXPECT_THAT(happened(), ElementsAre("log cmdfromUI: 0", toDaemon("StopApp")));
  EXPECT_EQ(time.now(), 100s);
}

TEST_F(AUiCommand, StopForMemoryLeavesTheSessionFromInput) {
  sessionFromInputIsUp();
  (void)bridge.processCMD_AirPlay_Stop();
  EXPECT_EQ(flags(), flagsLine(0, 1, 1));
}

TEST_F(AUiCommand, StopForMemoryGivesTheResultOfTheCommand) {
  tv.gamSendResult(-7);
  EXPECT_EQ(bridge.processCMD_AirPlay_Stop(), -7);
}

TEST_F(AUiCommand, StopForMemoryChangesNothingWithoutACommandBus) {
  sessionFromInput();
  withoutGam();

  EXPECT_EQ(bridge.processCMD_AirPlay_Stop(), 0);

  EXPECT_THAT(tv.take(), ElementsAre("ERR processCMD_AirPlay_Stop: No GAM"));
  withAll();
  EXPECT_EQ(flags(), flagsLine(1, 1, 0));
}

TEST_F(AUiCommand, StartTimeoutEndsTheSessionFromInput) {
  sessionFromInput();

  EXPECT_EQ(bridge.processCMD_AirPlay_StartTimeout(), 0);

  EXPECT_THAT(happened(), ElementsAre("log cmdfromUI: 0", toDaemon("BringAppToBackground")));
  EXPECT_EQ(flags(), flagsLine(0, 0, 0));
}

TEST_F(AUiCommand, StartTimeoutGivesTheResultOfTheCommand) {
  tv.gamSendResult(-7);
  EXPECT_EQ(bridge.processCMD_AirPlay_StartTimeout(), -7);
}

TEST_F(AUiCommand, StartTimeoutChangesNothingWithoutACommandBus) {
  sessionFromInput();
  withoutGam();

  EXPECT_EQ(bridge.processCMD_AirPlay_StartTimeout(), 0);

  EXPECT_THAT(tv.take(), ElementsAre("ERR processCMD_AirPlay_StartTimeout: No GAM"));
  withAll();
  EXPECT_EQ(flags(), flagsLine(1, 1, 0));
}

// ---- What became of the application.

TEST_F(AUiCommand, ReportOfAStartedApplicationKeepsTheFlags) {
  sessionFromInput();

  EXPECT_EQ(bridge.notifyAirPlayStarted(), 0);

  EXPECT_THAT(happened(), ElementsAre(reports(1)));
  EXPECT_EQ(flags(), flagsLine(1, 1, 0));
}

TEST_F(AUiCommand, ReportOfAPausedApplicationGoesNoFurther) {
  sessionFromInput();

  EXPECT_EQ(bridge.notifyAirPlayPaused(), 0);

  EXPECT_THAT(happened(), ElementsAre("log cmdfromUI: 0"));
  EXPECT_EQ(flags(), flagsLine(0, 0, 0));
}

TEST_F(AUiCommand, ReportOfAStoppedApplicationEndsTheSession) {
  sessionFromInput();

  EXPECT_EQ(bridge.notifyAirPlayStopped(), 0);

  EXPECT_THAT(happened(), ElementsAre("log cmdfromUI: 0", reports(4)));
  EXPECT_EQ(flags(), flagsLine(0, 0, 0));
}

// A variant of the bridge in which pauses are reported.
class PauseReportingBridge : public AirPlayBridge {
 public:
  bool isPauseReportEnabled() override { return true; }
};

TEST_F(AUiCommand, ReportOfAPausedApplicationGoesOnWhereTheBridgeSaysSo) {
  PauseReportingBridge reporting;
  reporting.init(&apm, &gam, &platform);

  EXPECT_EQ(reporting.notifyAirPlayPaused(), 0);

  EXPECT_THAT(happened(), ElementsAre("log cmdfromUI: 0", reports(2)));
}

struct Report {
  const char* name;
  int (AirPlayBridge::*operation)();
};

std::ostream& operator<<(std::ostream& out, const Report& row) { return out << row.name; }

class AReport : public AUiCommand, public ::testing::WithParamInterface<Report> {};

TEST_P(AReport, ChangesNothingWithoutAnApplicationManagerLink) {
  sessionFromInput();
  withoutApm();

  EXPECT_EQ((bridge.*GetParam().operation)(), 0);

  EXPECT_THAT(tv.take(), ElementsAre(std::string("ERR ") + GetParam().name + ": No APM"));
  withAll();
  EXPECT_EQ(flags(), flagsLine(1, 1, 0));
}

TEST_P(AReport, WithoutAnApplicationManagerLinkIsNoStart) {
  withoutApm();
  (void)(bridge.*GetParam().operation)();
  (void)bridge.processCMD_AirPlay_StopFromUI();
  EXPECT_EQ(time.now(), 100s);
}

INSTANTIATE_TEST_SUITE_P(
    , AReport,
    Values(Report{"notifyAirPlayStarted", &AirPlayBridge::notifyAirPlayStarted},
           Report{"notifyAirPlayPaused", &AirPlayBridge::notifyAirPlayPaused},
           Report{"notifyAirPlayStopped", &AirPlayBridge::notifyAirPlayStopped}),
    nameOf<Report>);

// ---- Suspend to RAM.

class ASuspend : public AUiCommand {
 protected:
  // How long a message for the UI is held back.
  VirtualLibc::Time delayOfAMessage() {
    const VirtualLibc::Time before = time.now();
    (void)bridge.processCMD_AirPlayMessageFromGAM("start", "cwd");
    return time.now() - before;
  }
};

TEST_F(ASuspend, TellsTheDaemonAndHoldsMessagesBack) {
  bridge.setAirPlayCommandFromUIStatus(true);
  (void)tv.take();

  bridge.notifyAirPlaySTRSuspend();

  EXPECT_THAT(happened(), ElementsAre("log cmdfromUI: 0",
                                      "log STR suspending, airplay app status: 0, airplay daemon "
                                      "status: 0, mdnsd status: 0",
                                      toDaemon("suspend")));
  EXPECT_EQ(delayOfAMessage(), 21s);
}

TEST_F(ASuspend, KeepsTheSessionFromInput) {
  sessionFromInput();
  bridge.notifyAirPlaySTRSuspend();
  EXPECT_EQ(flags(), flagsLine(0, 1, 0));
}

TEST_F(ASuspend, AccountsForTheApplication) {
  bridge.setAirPlayAppStatus(true);
  EXPECT_EQ(accountOfProcesses(),
            "log STR suspending, airplay app status: 1, airplay daemon status: 0, mdnsd status: 0");
}

TEST_F(ASuspend, AccountsForTheDaemon) {
  bridge.setAirPlayDaemonStatus(true);
  EXPECT_EQ(accountOfProcesses(),
            "log STR suspending, airplay app status: 0, airplay daemon status: 1, mdnsd status: 0");
}

TEST_F(ASuspend, AccountsForMdnsd) {
  bridge.setMdnsdStatus(true);
  EXPECT_EQ(accountOfProcesses(),
            "log STR suspending, airplay app status: 0, airplay daemon status: 0, mdnsd status: 1");
}

TEST_F(ASuspend, HoldsNothingBackWithoutACommandBus) {
  bridge.setAirPlayCommandFromUIStatus(true);
  (void)tv.take();
  withoutGam();

  bridge.notifyAirPlaySTRSuspend();

  EXPECT_THAT(tv.take(), ElementsAre("ERR notifyAirPlaySTRSuspend: No GAM"));
  withAll();
  EXPECT_EQ(flags(), flagsLine(1, 0, 0));
  bridge.setAirPlayCommandFromUIStatus(false);
  EXPECT_EQ(delayOfAMessage(), 0s);
}

TEST_F(ASuspend, EndsWithAResumeThatWakesTheDaemon) {
  bridge.notifyAirPlaySTRSuspend();
  (void)tv.take();

  bridge.notifyAirPlaySTRResume();

  EXPECT_THAT(tv.take(), ElementsAre("IN wakeUpAirPlayDaemon",
                                     "log sendGAMCommand: cmd: wakeup,  dest: AirPlayDaemon, "
                                     "param: AirPlayDaemon",
                                     toDaemon("wakeup"), "OUT wakeUpAirPlayDaemon"));
  EXPECT_EQ(delayOfAMessage(), 0s);
}

TEST_F(ASuspend, LeavesTheSetOnBeforeTheDaemonIsWoken) {
  bridge.notifyAirPlaySTRSuspend();
  VirtualLibc::Time delay = 1s;
  tv.onSend("AirPlayDaemon", "wakeup", "AirPlayDaemon", [&] { delay = delayOfAMessage(); });

  bridge.notifyAirPlaySTRResume();

  EXPECT_EQ(delay, 0s);
}

TEST_F(ASuspend, IsOnBeforeTheDaemonIsTold) {
  VirtualLibc::Time delay = 0s;
  tv.onSend("AirPlayDaemon", "suspend", "AirPlayDaemon", [&] { delay = delayOfAMessage(); });

  bridge.notifyAirPlaySTRSuspend();

  EXPECT_EQ(delay, 21s);
}

constexpr char kNoApm[] =
    R"(ERR notifyAirPlaySTRResume: No APM (\(nil\)|0x[0-9a-f]+), (\(nil\)|0x[0-9a-f]+))";

TEST_F(ASuspend, DoesNotEndWithoutAnApplicationManagerLink) {
  bridge.notifyAirPlaySTRSuspend();
  (void)tv.take();
  withoutApm();

  bridge.notifyAirPlaySTRResume();

  EXPECT_THAT(tv.take(), ElementsAre(::testing::MatchesRegex(kNoApm)));
  withAll();
  EXPECT_EQ(delayOfAMessage(), 21s);
}

TEST_F(ASuspend, DoesNotEndWithoutACommandBus) {
  bridge.notifyAirPlaySTRSuspend();
  (void)tv.take();
  withoutGam();

  bridge.notifyAirPlaySTRResume();

  EXPECT_THAT(tv.take(), ElementsAre(::testing::MatchesRegex(kNoApm)));
  withAll();
  EXPECT_EQ(delayOfAMessage(), 21s);
}

}  // namespace
