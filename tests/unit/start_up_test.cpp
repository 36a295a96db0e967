// Start-up: what the process does from main() to the supervision loop, and the bridge's start().
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "airplay_bridge.h"
#include "entries.h"
#include "in_memory_tv.h"
#include "noted_components.h"
#include "one_scenario.h"
#include "run_to_its_end.h"
#include "service_main.h"
#include "virtual_libc.h"

namespace {

using namespace std::chrono_literals;
using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr char kEnable[] = "torvo.sl2.i32.app.setting.airplay.enable";
constexpr char kSupport[] = "torvo.sl2.i32.system.airplay.support";
constexpr char kFactory[] = "torvo.sl2.i32.norfactory.state.open";
constexpr char kNetwork[] = "torvo.sl2.i32.local.network.available";
constexpr char kAppStatus[] = "torvo.sl2.str.source.app.status";
constexpr char kUseCase[] = "torvo.sl2.i32.system.enum.pwr.use.case";
constexpr char kDppEula[] = "torvo.sl2.i32.basic.settings.eula.dpp.eula";
constexpr char kGeneralEula[] = "torvo.sl2.i32.basic.settings.eula.dpp.general";

constexpr char kBizReady[] = "/var/run/BIZREADY2";

Entries ofFunction(const Entries& entries, const std::string& function) {
  Entries found;
  std::copy_if(entries.begin(), entries.end(), std::back_inserter(found),
               [&function](const std::string& entry) {
                 return entry.find(" " + function + ": ") != std::string::npos;
               });
  return found;
}

// ---- The process

// The service's process. A run ends within supervision, at 90 s of uptime, unless the service ends
// before.
class TheProcess : public OneScenarioPerProcess {
 protected:
  TheProcess() { time.endAt(90s); }

  Ending boots() { return bootsWith({"airplay_bridge"}); }

  Ending bootsWith(Entries arguments) {
    return runToItsEnd([&arguments] {
      std::vector<char*> argv;
      for (std::string& argument : arguments) {
        argv.push_back(argument.data());
      }
      argv.push_back(nullptr);
      return airplay_bridge_main(static_cast<int>(arguments.size()), argv.data());
    });
  }

  // What happens between the first log line and the proxies: the waiting.
  Entries bootsAndWaits() {
    return without(1, between(boots().history, "log cspliceMain: TVS API is enabled : FALSE",
                              "process.getInstance"));
  }

  InMemoryTv tv;
  VirtualLibc time{tv.history()};
};

TEST_F(TheProcess, PreparesTheOsLayerTheEnvironmentAndTheLogInThatOrder) {
  time.startAt(35s);

  const Ending end = boots();

  EXPECT_THAT(
      between(end.history, "osal.initOnce 1", "process.getInstance"),
      ElementsAre("osal.initOnce 1", "osal.initThread", "setenv LMQR2_UDPHOST=127.0.0.1:12321 keep",
                  "debug.init", "log cspliceMain: TVS API is enabled : FALSE"));
  EXPECT_EQ(firstOf(end.history), "osal.initOnce 1");
}

TEST_F(TheProcess, HandsItsCommandLineToTheOsLayerAndIgnoresItOtherwise) {
  time.startAt(35s);

  const Ending end = bootsWith({"airplay_bridge", "--help", "x"});

  EXPECT_EQ(firstOf(end.history), "osal.initOnce 3");
  EXPECT_EQ(end.how, Ending::kScriptOver);
}

TEST_F(TheProcess, GoesOnAtOnceOnASetThatIsUpAndReady) {
  time.startAt(12s);
  time.createFile(kBizReady);

  EXPECT_THAT(bootsAndWaits(),
              ElementsAre("access /var/run/BIZREADY2 -> there", "log cspliceMain: Biz is ready."));
}

TEST_F(TheProcess, SettlesThenPollsUntilTheBusinessLayerIsReady) {
  time.startAt(4200ms);
  time.at(11200ms, [&] { time.createFile(kBizReady); });

  EXPECT_THAT(bootsAndWaits(),
              ElementsAre("log cspliceMain: Give up CPU for  5800000 microseconds. ",
                          "sleep 5800000", "access /var/run/BIZREADY2 -> missing", "sleep 500000",
                          "log cspliceMain: Wait For Biz", "access /var/run/BIZREADY2 -> missing",
                          "sleep 500000", "log cspliceMain: Wait For Biz",
                          "access /var/run/BIZREADY2 -> missing", "sleep 500000",
                          "log cspliceMain: Wait For Biz", "access /var/run/BIZREADY2 -> there",
                          "log cspliceMain: Biz is ready."));
}

const Entries kOnePoll = {"access /var/run/BIZREADY2 -> missing", "sleep 500000",
                          "log cspliceMain: Wait For Biz"};

TEST_F(TheProcess, StopsWaitingForTheBusinessLayerAtThirtySecondsOfUptimeWithoutAWord) {
  time.startAt(12s);

  EXPECT_THAT(bootsAndWaits(), ElementsAreArray(repeated(36, kOnePoll)));
}

TEST_F(TheProcess, LooksAtTheMarkerOnceJustBeforeThirtySecondsOfUptime) {
  time.startAt(29999ms);

  EXPECT_THAT(bootsAndWaits(), ElementsAreArray(kOnePoll));
}

TEST_F(TheProcess, LooksForNoMarkerFromThirtySecondsOfUptimeOn) {
  time.startAt(30s);

  EXPECT_THAT(bootsAndWaits(), IsEmpty());
}

TEST_F(TheProcess, LooksForNoMarkerOnASetThatHasBeenUpForLong) {
  time.startAt(35s);

  EXPECT_THAT(bootsAndWaits(), IsEmpty());
}

TEST_F(TheProcess, TakesTheUptimeFromBeforeTheSettlingDelayForAllItsDecisions) {
  time.startAt(9s);
  time.at(9500ms, [&] { time.pass(60s); });

  EXPECT_THAT(bootsAndWaits(),
              ElementsAreArray(Entries{"log cspliceMain: Give up CPU for  1000000 microseconds. ",
                                       "sleep 1000000"} +
                               kOnePoll));
}

TEST_F(TheProcess, WaitsLongestAndWithoutADeadlineWhenTheClockCannotBeRead) {
  time.startAt(20s);
  time.breakClock(CLOCK_MONOTONIC);
  time.at(60800ms, [&] { time.createFile(kBizReady); });

  EXPECT_THAT(
      bootsAndWaits(),
      ElementsAreArray(
          Entries{"log cspliceMain: Give up CPU for  11000000 microseconds. ", "sleep 11000000"} +
          repeated(60, kOnePoll) +
          Entries{"access /var/run/BIZREADY2 -> there", "log cspliceMain: Biz is ready."}));
}

TEST_F(TheProcess, KeepsWaitingWhileTheClockCannotBeReadAndStopsOnceItCan) {
  time.startAt(28s);
  time.at(28200ms, [&] { time.breakClock(CLOCK_MONOTONIC); });
  time.at(32200ms, [&] { time.fixClock(CLOCK_MONOTONIC); });

  EXPECT_THAT(bootsAndWaits(), ElementsAreArray(repeated(9, kOnePoll)));
}

TEST_F(TheProcess, StartsTheHostedProxiesEachWithAHandleOfItsOwn) {
  time.startAt(35s);

  EXPECT_THAT(boots().calls(), Contains("process.getInstance").Times(2));
  EXPECT_THAT(
      between(boots().history, "process.getInstance", "settings.open " + std::string(kEnable)),
      ElementsAre("process.getInstance", "process.startAppMembersSync biz", "process.release",
                  "process.getInstance", "process.startAppMembersSync appmanager",
                  "process.release"));
}

TEST_F(TheProcess, MakesTheDelegateThenTheLinkToTheAppManagerThenTheOneToTheBus) {
  time.startAt(35s);

  const Ending end = boots();

  const Entries delegate =
      between(end.history, "settings.open " + std::string(kEnable), "IN APMBridge");
  EXPECT_THAT(delegate, SizeIs(28));
  EXPECT_THAT(delegate, Each(AnyOf(StartsWith("settings."), StartsWith("action."))));
  EXPECT_THAT(between(end.history, "IN APMBridge", "access /var/local/enable_airplay -> missing"),
              ElementsAre("IN APMBridge", "OUT APMBridge", "log GAMBridgeMTK: Call."));
}

TEST_F(TheProcess, AsksTheLibraryForTheAppManagersClientAtEachUse) {
  time.startAt(35s);
  tv.recordGetInstance();
  time.after(2s,
             [&] { tv.changes(kAppStatus, R"({"appId":"AirPlayApp","appStatus":"started"})"); });

  EXPECT_THAT(boots().calls(), Contains("apm.getInstance -> there").Times(2));
}

TEST_F(TheProcess, RunsOnWithoutAnAppManager) {
  time.startAt(35s);
  tv.recordGetInstance();
  tv.noAppManager();

  const Ending end = boots();

  EXPECT_EQ(end.how, Ending::kScriptOver);
  EXPECT_THAT(between(end.history, "apm.getInstance -> null", "OUT connect"),
              ElementsAre("apm.getInstance -> null",
                          "ERR connect: Failed to get an instance of AppManagerClient "));
}

TEST_F(TheProcess, GivesTheMainThreadToSupervisionOnceStarted) {
  time.startAt(35s);

  const Ending end = boots();

  EXPECT_EQ(end.how, Ending::kScriptOver);
  EXPECT_THAT(between(end.history, "OUT updateAirPlayRunningState", "log startMdnsd: Starting ..."),
              ElementsAre("OUT updateAirPlayRunningState", "IN startMdnsd",
                          "access /var/local/enable_airplay -> missing",
                          "access /var/local/enable_airplay -> missing",
                          "access /var/local/disable_airplay -> missing",
                          "settings.get torvo.sl2.i32.norfactory.state.open -> 0 0",
                          "log airPlayIsEnabled: Enable airplay by default."));
}

TEST_F(TheProcess, StaysAsABridgeWhereAirPlayIsSwitchedOffByTheFactory) {
  time.startAt(35s);
  tv.setting(kFactory, 1);

  const Ending end = boots();

  EXPECT_EQ(end.how, Ending::kScriptOver);
  EXPECT_THAT(end.log(), Contains("ERR updateAirPlayRunningState: Airplay is disabled, Running "
                                  "AirplayBridge Only."));
  EXPECT_THAT(end.calls(), Not(Contains(StartsWith("gam.send AirPlayBridge|am|(null)|start|"))));
}

TEST_F(TheProcess, EndsWithStatusZeroWhereAirPlayIsNotSupported) {
  time.startAt(35s);
  tv.setting(kSupport, 0);

  const Ending end = boots();

  EXPECT_EQ(end.how, Ending::kExited);
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(between(end.history, "log GAMBridgeMTK: Call.", "nothing more"),
              ElementsAre("log GAMBridgeMTK: Call.", "access /var/local/enable_airplay -> missing",
                          "settings.get torvo.sl2.i32.system.airplay.support -> 0 0",
                          EndsWith(": AirPlay is not supported for this device"),
                          "ERR start: Airplay is NOT supported, Exiting AirplayBridge.",
                          "ERR cspliceMain: Airplay is failed to start. "));
}

TEST_F(TheProcess, EndsWithStatusZeroAlsoWhenItMayNotSaySo) {
  time.startAt(35s);
  tv.setting(kSupport, 0);
  tv.logLevel(static_cast<cspDebugLevel>(0));

  const Ending end = boots();

  EXPECT_EQ(end.how, Ending::kExited);
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.log(), IsEmpty());
}

// ---- The settling delay

struct Uptime {
  const char* name;
  VirtualLibc::Time uptime;
  const char* delay;  // microseconds
};

void PrintTo(const Uptime& uptime, std::ostream* out) { *out << uptime.name; }

class TheSettlingDelay : public TheProcess, public ::testing::WithParamInterface<Uptime> {};

TEST_P(TheSettlingDelay, LastsUntilTenSecondsOfUptime) {
  time.startAt(GetParam().uptime);
  time.createFile(kBizReady);
  const std::string delay = GetParam().delay;

  EXPECT_THAT(bootsAndWaits(),
              ElementsAre("log cspliceMain: Give up CPU for  " + delay + " microseconds. ",
                          "sleep " + delay, "access /var/run/BIZREADY2 -> there",
                          "log cspliceMain: Biz is ready."));
}

INSTANTIATE_TEST_SUITE_P(OfTheProcess, TheSettlingDelay,
                         ::testing::Values(Uptime{"AtTheVeryStart", 0s, "10000000"},
                                           Uptime{"AtAQuarterOfASecond", 250ms, "9750000"},
                                           Uptime{"AtFourAndAFifth", 4200ms, "5800000"},
                                           Uptime{"AtNineAndAHalf", 9500ms, "500000"}),
                         [](const auto& row) { return std::string(row.param.name); });

class TheSettledSet : public TheProcess, public ::testing::WithParamInterface<Uptime> {};

TEST_P(TheSettledSet, MakesForNoDelay) {
  time.startAt(GetParam().uptime);
  time.createFile(kBizReady);

  EXPECT_THAT(bootsAndWaits(),
              ElementsAre("access /var/run/BIZREADY2 -> there", "log cspliceMain: Biz is ready."));
}

INSTANTIATE_TEST_SUITE_P(OfTheProcess, TheSettledSet,
                         ::testing::Values(Uptime{"AtTenSeconds", 10s, ""},
                                           Uptime{"AtTwelveSeconds", 12s, ""},
                                           Uptime{"AtAlmostThirtySeconds", 29s, ""}),
                         [](const auto& row) { return std::string(row.param.name); });

// ---- AirPlayBridge::start()

// A bridge that has its components and has not started, on a set that has been up for 20 s.
class AStart : public OneScenarioPerProcess {
 protected:
  AStart() {
    time.startAt(20s);
    bridge.init(&apm, &gam, &platform);
    tv.take();
  }

  // The lines that start() itself logs.
  Entries linesOfStart() {
    EXPECT_EQ(bridge.start(), 0);
    return ofFunction(tv.take(), "start");
  }

  // Whether the bridge takes the set for switched on: what it says when the daemon has a message
  // for the UI, which it holds back while it does not.
  std::string lineOnPower() {
    tv.take();
    (void)bridge.processCMD_AirPlayMessageFromGAM("homekitnotify", "source=0");
    return firstOf(ofFunction(tv.take(), "sendMsgToUIAfterPowerOn"));
  }

  InMemoryTv tv;
  VirtualLibc time{tv.history()};
  NotedPlatform platform{tv.history()};
  NotedApm apm{tv.history()};
  NotedGam gam{tv.history()};
  norvale::AirPlayBridge bridge;
};

TEST_F(AStart, BindsThenConnectsThenReadsThenPublishes) {
  EXPECT_EQ(bridge.start(), 0);

  EXPECT_THAT(
      tv.takeCalls(),
      ElementsAre("access /var/local/enable_airplay -> missing",
                  "settings.get torvo.sl2.i32.system.airplay.support -> 0 1",
                  "settings.get torvo.sl2.str.norfactory.fullbrand -> 0 \"Norvale\"",
                  "settings.get torvo.sl2.i32.norfactory.logo -> 0 1",
                  "settings.get torvo.sl2.i32.norfactory.region -> 0 0",
                  // bind
                  "apm.bindToClient", "gam.bindToClient", "platform.bindToClient",
                  // connect
                  "gam.connect", "gam.init AirPlayBridge -> 0",
                  "gam.send AirPlayBridge|am|(null)|started|AirPlayBridge -> 0",  //
                  "apm.connect", "apm.registerApp AirPlayBridge -> 0",            //
                  "platform.connect",
                  "settings.connect torvo.sl2.i32.local.network.available 1000 -> 0",
                  "settings.connect torvo.sl2.str.source.app.status 1000 -> 0",
                  "settings.connect torvo.sl2.str.source.app.current 1000 -> 0",
                  "settings.get torvo.sl2.i32.basic.settings.eula.dpp.eula -> 0 1",
                  "settings.get torvo.sl2.i32.basic.settings.eula.dpp.general -> 0 1",
                  // identity
                  "settings.get torvo.sl2.str.norfactory.fullbrand -> 0 \"Norvale\"",
                  "settings.get torvo.sl2.str.norfactory.production.type -> 0 \"NV55U8\"",
                  "settings.get torvo.sl2.str.norfactory.software.version -> 0 "
                  "\"V0001.01.00A.N0101\"",
                  "settings.get torvo.sl2.str.norfactory.materiel.serial -> 0 \"SN0000000001\"",
                  // state
                  "settings.get torvo.sl2.i32.local.network.available -> 0 1",
                  "settings.get torvo.sl2.i32.basic.settings.eula.dpp.eula -> 0 1",
                  "settings.get torvo.sl2.i32.basic.settings.eula.dpp.general -> 0 1",
                  "settings.get torvo.sl2.i32.app.setting.airplay.enable -> 0 0",
                  "base.getPidOf AirPlayApp -> 0",
                  "settings.get torvo.sl2.i32.system.enum.pwr.use.case -> 0 2",
                  // publish
                  "access /var/local/enable_airplay -> missing",
                  "access /var/local/enable_airplay -> missing",
                  "access /var/local/disable_airplay -> missing",
                  "settings.get torvo.sl2.i32.norfactory.state.open -> 0 0",
                  "settings.get torvo.sl2.i32.app.setting.airplay.enable -> 0 0",
                  "settings.set torvo.sl2.i32.app.setting.airplay.enable 3 -> 0"));
}

TEST_F(AStart, LogsTheStateThatItFinds) {
  EXPECT_THAT(linesOfStart(),
              ElementsAre("log start: Network enabled is true, EULA enabled is true",
                          "log start: PID of AirplayApp: 0",
                          "log start: TV is  powered on when bridge started."));
}

TEST_F(AStart, LogsTheProductsIdentity) {
  EXPECT_EQ(bridge.start(), 0);

  EXPECT_THAT(between(tv.takeLog(), "log getBrandName: BrandName: 0, Norvale",
                      "log start: Network enabled is true, EULA enabled is true"),
              ElementsAre("log getBrandName: BrandName: 0, Norvale",
                          "log getModelName: ModelName: 0, NV55U8",
                          "log getSoftwareVersion: Software Version: 0, V0001.01.00A.N0101",
                          "log getDeviceSN: DeviceSN:0 [SN0000000001]"));
}

TEST_F(AStart, StopsAtASetThatDoesNotSupportAirPlay) {
  tv.setting(kSupport, 0);

  EXPECT_EQ(bridge.start(), -1);

  EXPECT_THAT(tv.take(),
              ElementsAre("access /var/local/enable_airplay -> missing",
                          "settings.get torvo.sl2.i32.system.airplay.support -> 0 0",
                          EndsWith(": AirPlay is not supported for this device"),
                          "ERR start: Airplay is NOT supported, Exiting AirplayBridge."));
}

TEST_F(AStart, GoesOnWhenNothingConnects) {
  tv.gamInitResult(-1);
  tv.noAppManager();
  tv.failConnect(kNetwork, -110);
  tv.failConnect(kAppStatus, -110);

  EXPECT_THAT(linesOfStart(),
              ElementsAre("log start: Network enabled is true, EULA enabled is true",
                          "log start: PID of AirplayApp: 0",
                          "log start: TV is  powered on when bridge started."));
  EXPECT_EQ(std::get<int>(tv.setting(kEnable)), 3);
}

TEST_F(AStart, LeavesPausesUnreported) {
  EXPECT_EQ(bridge.start(), 0);

  EXPECT_FALSE(bridge.isPauseReportEnabled());
}

TEST_F(AStart, TrustsANetworkThatIsThereAlreadyWithoutDelay) {
  EXPECT_EQ(bridge.start(), 0);
  tv.take();

  EXPECT_TRUE(bridge.isNetworkAvailable());
  EXPECT_THAT(tv.take(), IsEmpty());
}

TEST_F(AStart, PublishesThatAirPlayIsNotAvailableAndSucceedsWhereItIsDisabled) {
  tv.setting(kFactory, 1);

  EXPECT_EQ(bridge.start(), 0);

  EXPECT_THAT(ofFunction(tv.take(), "updateAirPlayRunningState"),
              ElementsAre("ERR updateAirPlayRunningState: Airplay is disabled, Running "
                          "AirplayBridge Only."));
  EXPECT_EQ(std::get<int>(tv.setting(kEnable)), 0);
}

// ---- ... without a component

struct Missing {
  const char* name;
  bool apm;
  bool gam;
  bool platform;
};

void PrintTo(const Missing& missing, std::ostream* out) { *out << missing.name; }

class AnIncompleteStart : public AStart, public ::testing::WithParamInterface<Missing> {};

TEST_P(AnIncompleteStart, IsRefusedBeforeAnythingHappens) {
  bridge.init(GetParam().apm ? nullptr : &apm, GetParam().gam ? nullptr : &gam,
              GetParam().platform ? nullptr : &platform);

  EXPECT_EQ(bridge.start(), -1);

  EXPECT_THAT(tv.take(),
              ElementsAre(MatchesRegex("ERR start: Invalid components: "
                                       "(0x[0-9a-f]+|\\(nil\\)), (0x[0-9a-f]+|\\(nil\\)), "
                                       "(0x[0-9a-f]+|\\(nil\\))")));
}

INSTANTIATE_TEST_SUITE_P(Without, AnIncompleteStart,
                         ::testing::Values(Missing{"TheAppManager", true, false, false},
                                           Missing{"TheBus", false, true, false},
                                           Missing{"TheDelegate", false, false, true},
                                           Missing{"Any", true, true, true}),
                         [](const auto& row) { return std::string(row.param.name); });

// ---- ... and the set's state. A value of none cannot be read.

class AStartWithState : public AStart {
 protected:
  void has(const std::string& key, std::optional<int> value) {
    if (value) {
      tv.setting(key, *value);
    } else {
      tv.failRead(key, -5);
    }
  }
};

struct Network {
  const char* name;
  std::optional<int> network;
  const char* said;
  bool isThere;
};

void PrintTo(const Network& network, std::ostream* out) { *out << network.name; }

class AStartsNetwork : public AStartWithState, public ::testing::WithParamInterface<Network> {};

TEST_P(AStartsNetwork, IsThereOnlyWhenTheSetSaysOne) {
  has(kNetwork, GetParam().network);

  EXPECT_THAT(linesOfStart(), Contains(std::string("log start: Network enabled is ") +
                                       GetParam().said + ", EULA enabled is true"));
  EXPECT_EQ(bridge.isNetworkAvailable(), GetParam().isThere);
}

INSTANTIATE_TEST_SUITE_P(With, AStartsNetwork,
                         ::testing::Values(Network{"None", 0, "false", false},
                                           Network{"One", 1, "true", true},
                                           Network{"AnotherValue", 2, "false", false},
                                           Network{"NoAnswer", std::nullopt, "false", false}),
                         [](const auto& row) { return std::string(row.param.name); });

struct Eula {
  const char* name;
  std::optional<int> dpp;
  std::optional<int> general;
  const char* said;
  bool isAccepted;
};

void PrintTo(const Eula& eula, std::ostream* out) { *out << eula.name; }

class AStartsEula : public AStartWithState, public ::testing::WithParamInterface<Eula> {};

TEST_P(AStartsEula, IsAcceptedOnlyWhenBothValuesAreOne) {
  has(kDppEula, GetParam().dpp);
  has(kGeneralEula, GetParam().general);

  EXPECT_THAT(linesOfStart(),
              Contains(std::string("log start: Network enabled is true, EULA enabled is ") +
                       GetParam().said));
  EXPECT_EQ(bridge.getEulaStatus(), GetParam().isAccepted);
}

INSTANTIATE_TEST_SUITE_P(With, AStartsEula,
                         ::testing::Values(Eula{"Both", 1, 1, "true", true},
                                           Eula{"DppAlone", 1, 0, "false", false},
                                           Eula{"GeneralAlone", 0, 1, "false", false},
                                           Eula{"Neither", 0, 0, "false", false},
                                           Eula{"AnotherDpp", 2, 1, "false", false},
                                           Eula{"AnotherGeneral", 1, 2, "false", false},
                                           Eula{"NoDpp", std::nullopt, 1, "false", false},
                                           Eula{"NoGeneral", 1, std::nullopt, "false", false}),
                         [](const auto& row) { return std::string(row.param.name); });

struct Switch {
  const char* name;
  std::optional<int> stored;
  const char* said;
  int published;
};

void PrintTo(const Switch& row, std::ostream* out) { *out << row.name; }

class AStartsSwitch : public AStartWithState, public ::testing::WithParamInterface<Switch> {};

TEST_P(AStartsSwitch, IsOffOnlyWhenTheStoredStateIsTwo) {
  has(kEnable, GetParam().stored);

  EXPECT_EQ(bridge.start(), 0);

  EXPECT_THAT(tv.takeLog(), Contains(std::string("log updateAirPlayRunningState: "
                                                 "airplay switch is : ") +
                                     GetParam().said));
  EXPECT_EQ(std::get<int>(tv.setting(kEnable)), GetParam().published);
}

INSTANTIATE_TEST_SUITE_P(With, AStartsSwitch,
                         ::testing::Values(Switch{"StateTwo", 2, "0", 2},
                                           Switch{"StateThree", 3, "1", 3},
                                           Switch{"StateOne", 1, "1", 3},
                                           Switch{"StateZero", 0, "1", 3},
                                           Switch{"AnUnknownState", 102, "1", 3},
                                           Switch{"AStateThatCannotBeRead", std::nullopt, "1", 3}),
                         [](const auto& row) { return std::string(row.param.name); });

struct Power {
  const char* name;
  std::optional<int> useCase;
  const char* line;
  const char* isOn;
};

void PrintTo(const Power& row, std::ostream* out) { *out << row.name; }

class AStartsPower : public AStartWithState, public ::testing::WithParamInterface<Power> {};

constexpr char kPoweredOn[] = "log start: TV is  powered on when bridge started.";
constexpr char kNotPoweredOn[] = "ERR start: TV is not powered on when bridge started.";
constexpr char kIsOn[] = "log sendMsgToUIAfterPowerOn: Is TV Power On: 1";
constexpr char kIsNotOn[] = "log sendMsgToUIAfterPowerOn: Is TV Power On: 0";

TEST_P(AStartsPower, IsOffOnlyInUseCaseZero) {
  has(kUseCase, GetParam().useCase);

  EXPECT_EQ(lastOf(linesOfStart()), GetParam().line);
  EXPECT_EQ(lineOnPower(), GetParam().isOn);
}

INSTANTIATE_TEST_SUITE_P(In, AStartsPower,
                         ::testing::Values(Power{"UseCaseZero", 0, kNotPoweredOn, kIsNotOn},
                                           Power{"UseCaseOne", 1, kPoweredOn, kIsOn},
                                           Power{"UseCaseTwo", 2, kPoweredOn, kIsOn},
                                           Power{"ANegativeUseCase", -1, kPoweredOn, kIsOn},
                                           Power{"AUseCaseThatCannotBeRead", std::nullopt,
                                                 kPoweredOn, kIsOn}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(AStart, FindsTheSetOnAlsoAfterItHasSeenASuspend) {
  bridge.notifyAirPlaySTRSuspend();
  tv.take();

  EXPECT_EQ(lastOf(linesOfStart()), kPoweredOn);
  EXPECT_EQ(lineOnPower(), kIsOn);
}

// ---- ... and the application. Its state shows in what a dead daemon leads to.

constexpr char kStopApp[] = "gam.send AirPlayBridge|am|(null)|stop|AirPlayApp -> 0";

TEST_F(AStart, FindsTheApplicationByItsProcess) {
  tv.runs("AirPlayApp", 4711);

  EXPECT_THAT(linesOfStart(), Contains("log start: PID of AirplayApp: 4711"));
  bridge.setAirPlayDaemonStatus(false);
  EXPECT_THAT(tv.takeCalls(), ElementsAre(kStopApp));
}

TEST_F(AStart, TakesAnApplicationWithoutAProcessForOneThatIsNotUp) {
  EXPECT_THAT(linesOfStart(), Contains("log start: PID of AirplayApp: 0"));
  bridge.setAirPlayDaemonStatus(false);
  EXPECT_THAT(tv.takeCalls(), IsEmpty());
}

TEST_F(AStart, NeverTakesAnApplicationForGone) {
  bridge.setAirPlayAppStatus(true);

  EXPECT_THAT(linesOfStart(), Contains("log start: PID of AirplayApp: 0"));
  bridge.setAirPlayDaemonStatus(false);
  EXPECT_THAT(tv.takeCalls(), ElementsAre(kStopApp));
}

}  // namespace
