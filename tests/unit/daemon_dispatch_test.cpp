// What each command of the daemon leads to.
#include <functional>
#include <ostream>

#include "wired_bridge.h"

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using ::testing::Values;
using ::testing::ValuesIn;

namespace {

using Entries = History::Entries;

Entries operator+(Entries first, const Entries& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

template <class Row>
std::string nameOf(const ::testing::TestParamInfo<Row>& info) {
  return info.param.name;
}

class ADaemonCommand : public WiredBridge {
 protected:
  int says(const std::string& cmd, const std::string& para) {
    return bridge.processCMD_AirPlayMessageFromGAM(cmd, para);
  }

  // What a command leads to after the two steps that each begins with.
  Entries follows(const std::string& cmd, const std::string& para) {
    (void)tv.take();
    (void)says(cmd, para);
    const Entries all = happened();
    return {all.begin() + 2, all.end()};
  }
};

// ---- Every command in every state.

struct State {
  bool fromUi;
  bool fromInput;
  bool appIsUp;
  Texts lifeCycle;
};

std::vector<State> allStates() {
  std::vector<State> states;
  for (const bool fromUi : {false, true}) {
    for (const bool fromInput : {false, true}) {
      for (const bool appIsUp : {false, true}) {
        for (const Texts& lifeCycle :
             {Texts{}, Texts{"stopping", "currentSource"}, Texts{"started", ""}}) {
          states.push_back({fromUi, fromInput, appIsUp, lifeCycle});
        }
      }
    }
  }
  return states;
}

std::string stateLine(const State& state, const std::string& cmd, const std::string& para) {
  return "log  cmdfromUI: " + std::to_string(state.fromUi) +
         ", startFromInput: " + std::to_string(state.fromInput) +
         ", AirPlay App started: " + std::to_string(state.appIsUp) + ", cmd : " + cmd +
         ",  param: " + para;
}

std::string shown(const Texts& list) {
  return list.empty() ? "[]" : "[\"" + list[0] + "\",\"" + list[1] + "\"]";
}

using When = std::function<bool(const State&)>;

bool always(const State& /*state*/) { return true; }
bool fromUi(const State& state) { return state.fromUi; }
bool notFromUi(const State& state) { return !state.fromUi; }
bool fromInput(const State& state) { return state.fromInput; }
bool notFromInput(const State& state) { return !state.fromInput; }
bool stopping(const State& state) {
  return !state.lifeCycle.empty() && state.lifeCycle[0] == "stopping";
}
bool notStopping(const State& state) { return !stopping(state); }

struct Row {
  const char* name;
  const char* cmd;
  const char* para;
  When when;
  Entries effects;
};

std::ostream& operator<<(std::ostream& out, const Row& row) { return out << row.name; }

const std::string kSetsStopping =
    R"(settings.set torvo.sl2.vstr.app.setting.airplay.status ["stopping","currentSource"] -> 0)";
const std::string kAsksForConsent = toUi(
    R"({"cmd":"startAirPlay","sessionid":"BRIDGE-100.000000","source":"AirPlayBridge","type":"AirPlayMessage"})");

// The picture is off before each command.
const Entries kTurnsPictureOn{reads(kAudioOnly, "1"), writes(kAudioOnly, "0")};

std::vector<Row> allRows() {
  return {
      {"EchoOfTheUi", "start", "AirPlayApp", fromUi,
       kTurnsPictureOn +
           Entries{"log cmdfromUI: 0", "log start from UI", toAm("start", "[AirPlayApp]")}},
      {"EchoOfTheUiWithCwd", "start", "cwd=/p", fromUi,
       kTurnsPictureOn +
           Entries{"log cmdfromUI: 0", "log start from UI", toAm("start", "[cwd=/p]")}},
      {"EchoOfTheUiWithCwdWithinAWord", "start", "--xcwdy", fromUi,
       kTurnsPictureOn +
           Entries{"log cmdfromUI: 0", "log start from UI", toAm("start", "[--xcwdy]")}},
      {"EchoOfTheUiWithCapitals", "start", "CWD=/p", fromUi,
       kTurnsPictureOn +
           Entries{"log cmdfromUI: 0", "log start from UI", toAm("start", "[CWD=/p]")}},
      {"EchoOfTheUiWithNothing", "start", "", fromUi,
       kTurnsPictureOn + Entries{"log cmdfromUI: 0", "log start from UI", toAm("start", "[]")}},
      {"StartFromOutside", "start", "cwd=/p", notFromUi,
       kTurnsPictureOn +
           Entries{"log start from outside", "log Is TV Power On: 1", kAsksForConsent}},
      {"StartFromOutsideWithinAWord", "start", "--xcwdy", notFromUi,
       kTurnsPictureOn +
           Entries{"log start from outside", "log Is TV Power On: 1", kAsksForConsent}},
      {"NormalStart", "start", "AirPlayApp", notFromUi,
       kTurnsPictureOn +
           Entries{"log Normal message from Daemon: AirPlayApp", toAm("start", "[AirPlayApp]")}},
      {"NormalStartWithCapitals", "start", "CWD=/p", notFromUi,
       kTurnsPictureOn +
           Entries{"log Normal message from Daemon: CWD=/p", toAm("start", "[CWD=/p]")}},
      {"NormalStartWithNothing", "start", "", notFromUi,
       kTurnsPictureOn + Entries{"log Normal message from Daemon: ", toAm("start", "[]")}},

      {"Background", "backgm", "AirPlayApp", always, {toAm("backgm", "AirPlayApp")}},

      {"Stop", "stop", "AirPlayApp", notStopping, {kSetsStopping, toAm("stop", "AirPlayApp")}},
      {"StopWhileStopping", "stop", "AirPlayApp", stopping, {toAm("stop", "AirPlayApp")}},
      {"NeedStop", "need_stop", "x", notStopping, {kSetsStopping, toAm("stop", "x")}},
      {"NeedStopWhileStopping", "need_stop", "x", stopping, {toAm("stop", "x")}},

      {"KeyPress",
       "key_press",
       "",
       notFromInput,
       {"log key press command", "log Airplay did not start from input, leave airplay",
        kSetsStopping, toDaemon("BringAppToBackground")}},
      {"KeyPressInASessionFromInput",
       "key_press",
       "",
       fromInput,
       {"log key press command", "log Airplay start from input, will do nothing"}},

      {"InputAirPlay", "homekitnotify", "source=0", always,
       Entries{"log homekit command", reads(kInputs, R"(["HDMI1","a","b","c"])"),
               reads(kTuner, "1"), "log source: airplay", "log Is TV Power On: 1",
               toUi(R"({"cmd":"switchInput","sessionid":"","source":"AirPlayBridge",)"
                    R"("to":"AirPlay","type":"AirPlayMessage"})")} +
           kTurnsPictureOn},
      {"InputByNumber", "homekitnotify", "source=1", always,
       Entries{"log homekit command", reads(kInputs, R"(["HDMI1","a","b","c"])"),
               reads(kTuner, "1"), "log Is TV Power On: 1",
               toUi(R"({"cmd":"switchInput","sessionid":"","source":"AirPlayBridge",)"
                    R"("to":"HDMI1","type":"AirPlayMessage"})")} +
           kTurnsPictureOn},
      {"InputBeyondTheList",
       "homekitnotify",
       "source=2",
       always,
       {"log homekit command", reads(kInputs, R"(["HDMI1","a","b","c"])"), reads(kTuner, "1"),
        "ERR Error: Input source id is too large"}},

      {"WakeUpInStandby",
       "wakeup_screen",
       "on",
       always,
       {"log wakeup screen command", reads(kPowerUseCase, "0"), writes(kOpenFromStandby, "102"),
        writes(kPowerUseCase, "1")}},
      {"WakeUpOff", "wakeup_screen", "off", always, {"log wakeup screen command"}},

      {"SwitchedOn",
       "AirPlayEnabled",
       "enable",
       always,
       {"log airplay enable command", reads(kEnableState, "0"), writes(kEnableState, "3")}},
      {"SwitchedOff",
       "AirPlayEnabled",
       "disable",
       always,
       {"log airplay enable command", reads(kEnableState, "0"), writes(kEnableState, "2")}},
      {"SwitchedOffByAnyOtherWord",
       "AirPlayEnabled",
       "Enable",
       always,
       {"log airplay enable command", reads(kEnableState, "0"), writes(kEnableState, "2")}},

      {"HomeKitAccess",
       "HKAccess",
       "pair",
       always,
       {"log HomeKit Pairing or Reset",
        toUi(R"({"cmd":"HomeKitPairing","sessionid":"","source":"AirPlayBridge",)"
             R"("to":"pair","type":"AirPlayMessage"})")}},

      {"Unblank", "unblank", "screen", always, Entries{"log unblank screen"} + kTurnsPictureOn},
      {"UnblankSomethingElse", "unblank", "Screen", always, {"log unblank screen"}},

      {"UnknownCapitals", "START", "cwd", always, {"ERR Unknown cmd: START, para: cwd"}},
      {"UnknownLonger", "stopp", "x", always, {"ERR Unknown cmd: stopp, para: x"}},
      {"UnknownBlank", "stop ", "x", always, {"ERR Unknown cmd: stop , para: x"}},
      {"UnknownNothing", "", "", always, {"ERR Unknown cmd: , para: "}},
  };
}

class EveryDaemonCommand : public ADaemonCommand, public ::testing::WithParamInterface<Row> {
 protected:
  void put(const State& state) {
    if (state.fromInput) {
      (void)bridge.processCMD_AirPlay_StartFromInput();
    } else {
      (void)bridge.notifyAirPlayStopped();
    }
    bridge.setAirPlayCommandFromUIStatus(state.fromUi);
    bridge.setAirPlayAppStatus(state.appIsUp);
    tv.setting(kLifeCycle, state.lifeCycle);
    tv.setting(kAudioOnly, 1);
    tv.setting(kEnableState, 0);
    tv.setting(kPowerUseCase, 0);
    tv.setting(kInputs, Texts{"HDMI1", "a", "b", "c"});
    (void)tv.take();
  }

  void expectIn(State state, const Row& row) {
    const std::string line = stateLine(state, row.cmd, row.para);
    SCOPED_TRACE(line + " in " + shown(state.lifeCycle));
    put(state);

    EXPECT_EQ(says(row.cmd, row.para), 0);

    EXPECT_THAT(
        happened(),
        ElementsAreArray(Entries{reads(kLifeCycle, shown(state.lifeCycle)), line} + row.effects));
    // Only the echo of a start from the UI changes a flag.
    state.fromUi = state.fromUi && std::string(row.cmd) != "start";
    EXPECT_EQ(flags(), stateLine(state, "flags?", ""));
  }
};

TEST_P(EveryDaemonCommand, HasExactlyItsEffectsInEveryStateThatItDistinguishes) {
  for (const State& state : allStates()) {
    if (GetParam().when(state)) {
      expectIn(state, GetParam());
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Row, EveryDaemonCommand, ValuesIn(allRows()), nameOf<Row>);

// A condition that holds in no state would make a row an empty test.
TEST(TheRowsOfDaemonCommands, CoverEveryStateOfACommandOnce) {
  for (const Row& row : allRows()) {
    for (const State& state : allStates()) {
      int matches = 0;
      for (const Row& other : allRows()) {
        matches += std::string(other.cmd) == row.cmd && std::string(other.para) == row.para &&
                   other.when(state);
      }
      EXPECT_EQ(matches, 1) << row.name;
    }
  }
}

// ---- Around the dispatch.

TEST_F(ADaemonCommand, IsTracedAndReportedBeforeItIsCarriedOut) {
  EXPECT_EQ(says("what", "is this"), 0);

  EXPECT_THAT(tv.take(),
              ElementsAre("IN processCMD_AirPlayMessageFromGAM", reads(kLifeCycle, "[]"),
                          "log getAirPlayLifeCycle: airplay life cycle is empty",
                          "log processCMD_AirPlayMessageFromGAM:  cmdfromUI: 0, startFromInput: 0, "
                          "AirPlay App started: 0, cmd : what,  param: is this",
                          "ERR processCMD_AirPlayMessageFromGAM: Unknown cmd: what, para: is this",
                          "OUT processCMD_AirPlayMessageFromGAM"));
}

TEST_F(ADaemonCommand, CountsALifeCycleThatCannotBeReadAsEmpty) {
  tv.failRead(kLifeCycle, -5);

  (void)says("stop", "x");

  EXPECT_THAT(happened(),
              ElementsAre("settings.get torvo.sl2.vstr.app.setting.airplay.status -> -5",
                          "log  cmdfromUI: 0, startFromInput: 0, AirPlay App started: 0, "
                          "cmd : stop,  param: x",
                          kSetsStopping, toAm("stop", "x")));
}

TEST_F(ADaemonCommand, GivesTheResultOfTheStartThatItLeadsTo) {
  tv.gamSendResult(-7);
  EXPECT_EQ(says("start", "AirPlayApp"), -7);

  bridge.setAirPlayCommandFromUIStatus(true);
  EXPECT_EQ(says("start", "AirPlayApp"), -7);
}

TEST_F(ADaemonCommand, GivesNoResultOfAnythingElse) {
  tv.gamSendResult(-7);
  EXPECT_EQ(says("start", "cwd=/p"), 0);
  EXPECT_EQ(says("stop", "x"), 0);
  EXPECT_EQ(says("backgm", "x"), 0);
  EXPECT_EQ(says("key_press", ""), 0);
}

TEST_F(ADaemonCommand, IsAnEchoOfTheUiOnlyOnce) {
  bridge.setAirPlayCommandFromUIStatus(true);
  (void)says("start", "cwd=/p");

  EXPECT_THAT(follows("start", "cwd=/p"),
              ElementsAre(reads(kAudioOnly, "0"), "log start from outside", "log Is TV Power On: 1",
                          kAsksForConsent));
}

TEST_F(ADaemonCommand, ProvesThatTheDaemonAndMdnsdRun) {
  (void)says("what", "");

  EXPECT_EQ(accountOfProcesses(),
            "log STR suspending, airplay app status: 0, airplay daemon status: 1, mdnsd status: 1");
}

TEST_F(ADaemonCommand, SaysNothingNewAboutMdnsdWhileTheDaemonIsKnownToRun) {
  bridge.setAirPlayDaemonStatus(true);

  (void)says("what", "");

  EXPECT_EQ(accountOfProcesses(),
            "log STR suspending, airplay app status: 0, airplay daemon status: 1, mdnsd status: 0");
}

TEST_F(ADaemonCommand, ProvesItAgainAfterTheDaemonStopped) {
  (void)says("what", "");
  bridge.setAirPlayDaemonStatus(false);
  bridge.setMdnsdStatus(false);

  (void)says("what", "");

  EXPECT_EQ(accountOfProcesses(),
            "log STR suspending, airplay app status: 0, airplay daemon status: 1, mdnsd status: 1");
}

TEST_F(ADaemonCommand, SwitchesTheBridgeAsWellAsTheSetting) {
  (void)says("AirPlayEnabled", "disable");
  (void)tv.take();
  bridge.updateAirPlayRunningState();
  EXPECT_THAT(tv.takeOnly({"settings.set"}), ElementsAre(writes(kEnableState, "2")));

  (void)says("AirPlayEnabled", "enable");
  (void)tv.take();
  bridge.updateAirPlayRunningState();
  EXPECT_THAT(tv.takeOnly({"settings.set"}), ElementsAre(writes(kEnableState, "3")));
}

TEST_F(ADaemonCommand, LeavesAPictureThatIsOnAlone) {
  EXPECT_THAT(follows("unblank", "screen"),
              ElementsAre("log unblank screen", reads(kAudioOnly, "0")));
}

TEST_F(ADaemonCommand, GoesOnWhenThePictureCannotBeTurnedOn) {
  tv.failRead(kAudioOnly, -5);
  EXPECT_THAT(follows("start", "x"),
              ElementsAre("settings.get torvo.sl2.i32.system.audio.only -> -5",
                          "log Normal message from Daemon: x", toAm("start", "[x]")));
}

// ---- Missing components.

struct Missing {
  const char* name;
  bool gam;
  bool platform;
  bool apm;
};

class WithoutAComponent : public ADaemonCommand, public ::testing::WithParamInterface<Missing> {};

TEST_P(WithoutAComponent, ADaemonCommandIsDropped) {
  norvale::IGamBridge* const someGam = GetParam().gam ? nullptr : &gam;
  norvale::IPlatformDelegate* const somePlatform = GetParam().platform ? nullptr : &platform;
  norvale::IApmBridge* const someApm = GetParam().apm ? nullptr : &apm;
  bridge.init(someApm, someGam, somePlatform);

  EXPECT_EQ(says("start", "AirPlayApp"), 0);

  EXPECT_THAT(tv.take(), ElementsAre(::testing::MatchesRegex(
                             "ERR processCMD_AirPlayMessageFromGAM: No  component: "
                             R"((\(nil\)|0x[0-9a-f]+), (\(nil\)|0x[0-9a-f]+), )"
                             R"((\(nil\)|0x[0-9a-f]+))")));
}

TEST_P(WithoutAComponent, ADaemonCommandProvesNothing) {
  bridge.init(GetParam().apm ? nullptr : &apm, GetParam().gam ? nullptr : &gam,
              GetParam().platform ? nullptr : &platform);
  (void)says("what", "");
  bridge.init(&apm, &gam, &platform);

  EXPECT_EQ(accountOfProcesses(),
            "log STR suspending, airplay app status: 0, airplay daemon status: 0, mdnsd status: 0");
}

INSTANTIATE_TEST_SUITE_P(, WithoutAComponent,
                         Values(Missing{"Gam", true, false, false},
                                Missing{"Platform", false, true, false},
                                Missing{"Apm", false, false, true},
                                Missing{"All", true, true, true}),
                         nameOf<Missing>);

// ---- Inputs.

struct Input {
  const char* name;
  const char* para;
  Texts list;
  const char* target;  // null: refused
};

std::ostream& operator<<(std::ostream& out, const Input& row) { return out << row.name; }

const Texts kSixInputs{"TV",    "1b", "1c", "1d", "HDMI1", "2b", "2c", "2d",
                       "HDMI2", "3b", "3c", "3d", "AV",    "4b", "4c", "4d",
                       "VGA",   "5b", "5c", "5d", "USB",   "6b", "6c", "6d"};
// One more than the parameter can name.
const Texts kSevenInputs{"1", "", "",  "", "2", "", "",  "", "3", "", "",  "", "4", "",
                         "",  "", "5", "", "",  "", "6", "", "",  "", "7", "", "",  ""};
const Texts kTwoInputs{"TV", "1b", "1c", "1d", "HDMI1", "2b", "2c", "2d"};
const Texts kTwoInputsAndAPiece{"TV", "1b", "1c", "1d", "HDMI1", "2b",
                                "2c", "2d", "AV", "3b", "3c"};

class AnInputSwitch : public ADaemonCommand, public ::testing::WithParamInterface<Input> {
 protected:
  // Where the UI was sent; null when it was not.
  std::string sentTo() {
    const Entries sent = tv.takeOnly({"apm.sendMessage"});
    return sent.empty() ? "" : sent.front();
  }
  static std::string messageFor(const char* target) {
    return target == nullptr ? ""
                             : toUi(std::string(R"({"cmd":"switchInput","sessionid":"",)") +
                                    R"("source":"AirPlayBridge","to":")" + target +
                                    R"(","type":"AirPlayMessage"})");
  }
};

TEST_P(AnInputSwitch, GoesToTheInputThatTheParameterMeans) {
  tv.setting(kInputs, GetParam().list);
  (void)says("homekitnotify", GetParam().para);
  EXPECT_EQ(sentTo(), messageFor(GetParam().target));
}

INSTANTIATE_TEST_SUITE_P(
    , AnInputSwitch,
    Values(Input{"Zero", "source=0", kSixInputs, "AirPlay"},
           Input{"ZeroOfAnEmptyList", "source=0", {}, "AirPlay"},
           Input{"One", "source=1", kSixInputs, "TV"},
           Input{"Two", "source=2", kSixInputs, "HDMI1"},
           Input{"Three", "source=3", kSixInputs, "HDMI2"},
           Input{"Four", "source=4", kSixInputs, "AV"},
           Input{"Five", "source=5", kSixInputs, "VGA"},
           Input{"Six", "source=6", kSixInputs, "USB"},
           Input{"LastOfTwo", "source=2", kTwoInputs, "HDMI1"},
           Input{"ThreeOfTwo", "source=3", kTwoInputs, nullptr},
           Input{"ThreeOfTwoAndAPiece", "source=3", kTwoInputsAndAPiece, nullptr},
           Input{"OneOfNone", "source=1", {}, nullptr},
           Input{"Seven", "source=7", kSevenInputs, nullptr},
           Input{"NoDigit", "source=", kSixInputs, nullptr},
           Input{"TwoDigits", "source=01", kSixInputs, nullptr},
           Input{"DigitAndBlank", "source=1 ", kSixInputs, nullptr},
           Input{"Minus", "source=-1", kSixInputs, nullptr},
           Input{"Letter", "source=a", kSixInputs, nullptr},
           Input{"Capital", "Source=1", kSixInputs, nullptr},
           Input{"ZeroCapital", "SOURCE=0", kSixInputs, nullptr},
           Input{"DigitAlone", "1", kSixInputs, nullptr},
           Input{"Name", "HDMI1", kSixInputs, nullptr}, Input{"Nothing", "", kSixInputs, nullptr}),
    nameOf<Input>);

TEST_F(ADaemonCommand, RefusesAnInputWhenTheListCannotBeRead) {
  tv.failRead(kInputs, -5);
  EXPECT_THAT(
      follows("homekitnotify", "source=1"),
      ElementsAre("log homekit command", "settings.get torvo.sl2.vstr.source.input.name -> -5",
                  reads(kTuner, "1"), "ERR Error: Input source id is too large"));
}

TEST_F(ADaemonCommand, CountsInputsWithoutTheTunerOnASetThatHasNone) {
  tv.setting(kInputs, kTwoInputs);
  tv.setting(kTuner, 0);
  (void)says("homekitnotify", "source=1");
  EXPECT_THAT(tv.takeOnly({"apm"}),
              ElementsAre(toUi(R"({"cmd":"switchInput","sessionid":"","source":"AirPlayBridge",)"
                               R"("to":"HDMI1","type":"AirPlayMessage"})")));
}

// The list without a tuner is appended to what the caller has, so one kept would grow.
TEST_F(ADaemonCommand, ReadsTheInputsAfreshEachTime) {
  tv.setting(kInputs, kTwoInputs);
  tv.setting(kTuner, 0);
  (void)says("homekitnotify", "source=1");
  (void)tv.take();

  (void)says("homekitnotify", "source=2");

  EXPECT_THAT(tv.takeOnly({"apm"}), IsEmpty());
}

// ---- Waking the set.

struct UseCase {
  const char* name;
  int value;
};

class AWakeUp : public ADaemonCommand, public ::testing::WithParamInterface<UseCase> {};

TEST_P(AWakeUp, ChangesNothingUnlessTheSetIsInStandby) {
  tv.setting(kPowerUseCase, GetParam().value);
  EXPECT_THAT(follows("wakeup_screen", "on"),
              ElementsAre("log wakeup screen command",
                          reads(kPowerUseCase, std::to_string(GetParam().value))));
}

INSTANTIATE_TEST_SUITE_P(, AWakeUp,
                         Values(UseCase{"On", 1}, UseCase{"Two", 2}, UseCase{"Negative", -1},
                                UseCase{"Large", 256}),
                         nameOf<UseCase>);

TEST_F(ADaemonCommand, WakesNoSetWhosePowerCannotBeRead) {
  tv.setting(kPowerUseCase, 0);
  tv.failRead(kPowerUseCase, -5);
  EXPECT_THAT(follows("wakeup_screen", "on"),
              ElementsAre("log wakeup screen command",
                          "settings.get torvo.sl2.i32.system.enum.pwr.use.case -> -5"));
}

TEST_F(ADaemonCommand, TurnsThePowerOnEvenIfTheReasonCannotBeWritten) {
  tv.setting(kPowerUseCase, 0);
  tv.failWrite(kOpenFromStandby, -5);
  EXPECT_THAT(follows("wakeup_screen", "on"),
              ElementsAre("log wakeup screen command", reads(kPowerUseCase, "0"),
                          "settings.set torvo.sl2.i32.system.open.from.standby 102 -> -5",
                          writes(kPowerUseCase, "1")));
}

// ---- Messages to the UI while the set sleeps.

class ASleepingSet : public ADaemonCommand {
 protected:
  ASleepingSet() {
    bridge.notifyAirPlaySTRSuspend();
    (void)tv.take();
  }
  void wakesAfter(VirtualLibc::Time delay) {
    time.after(delay, [this] { bridge.notifyAirPlaySTRResume(); });
  }
  void sleepsAfter(VirtualLibc::Time delay) {
    time.after(delay, [this] { bridge.notifyAirPlaySTRSuspend(); });
  }

  static Entries polls(int count) {
    Entries entries;
    for (int poll = 0; poll < count; ++poll) {
      entries.insert(entries.end(), {"log TV is in suspend, wait for 500ms", "sleep 500000"});
    }
    return entries;
  }

  const Entries begins{reads(kAudioOnly, "0"), "log start from outside", "log Is TV Power On: 0"};
};

TEST_F(ASleepingSet, GetsTheMessageAtTheFirstLookAfterItWokeUp) {
  wakesAfter(1200ms);

  EXPECT_THAT(follows("start", "cwd=/p"),
              ElementsAreArray(begins + polls(3) + Entries{toDaemon("wakeup"), kAsksForConsent}));
  EXPECT_EQ(time.now(), 101500ms);
}

TEST_F(ASleepingSet, GetsTheMessageAfterHalfASecondAtTheEarliest) {
  wakesAfter(1ms);

  EXPECT_THAT(follows("start", "cwd=/p"),
              ElementsAreArray(begins + polls(1) + Entries{toDaemon("wakeup"), kAsksForConsent}));
  EXPECT_EQ(time.now(), 100500ms);
}

TEST_F(ASleepingSet, GetsTheMessageAfterTwentyOneSecondsAnyway) {
  EXPECT_THAT(
      follows("start", "cwd=/p"),
      ElementsAreArray(begins + polls(42) +
                       Entries{"log Already wait for 20s, TV is still not resume, stop waiting and "
                               "send the message to UI",
                               kAsksForConsent}));
  EXPECT_EQ(time.now(), 121s);
}

TEST_F(ASleepingSet, IsLookedAtAfterTheFortyFirstSleep) {
  wakesAfter(20500ms);

  EXPECT_THAT(follows("start", "cwd=/p"),
              ElementsAreArray(begins + polls(41) + Entries{toDaemon("wakeup"), kAsksForConsent}));
}

TEST_F(ASleepingSet, IsNotLookedAtAfterTheLastSleep) {
  wakesAfter(20600ms);

  EXPECT_THAT(
      follows("start", "cwd=/p"),
      ElementsAreArray(begins + polls(42) +
                       Entries{toDaemon("wakeup"),
                               "log Already wait for 20s, TV is still not resume, stop waiting and "
                               "send the message to UI",
                               kAsksForConsent}));
}

TEST_F(ASleepingSet, ThatFallsAsleepAgainBetweenTwoLooksIsWaitedForOn) {
  wakesAfter(700ms);
  sleepsAfter(900ms);
  wakesAfter(1700ms);

  const std::string account =
      "log STR suspending, airplay app status: 0, airplay daemon status: 1, mdnsd status: 1";
  EXPECT_THAT(follows("start", "cwd=/p"),
              ElementsAreArray(
                  begins + polls(2) +
                  Entries{toDaemon("wakeup"), "log cmdfromUI: 0", account, toDaemon("suspend")} +
                  polls(2) + Entries{toDaemon("wakeup"), kAsksForConsent}));
  EXPECT_EQ(time.now(), 102s);
}

TEST_F(ASleepingSet, ThatFallsAsleepOnceMoreBeginsNoNewWait) {
  sleepsAfter(10s);

  (void)says("start", "cwd=/p");

  EXPECT_EQ(time.now(), 121s);
}

TEST_F(ASleepingSet, SwitchesItsInputOnlyWhenItIsAwakeAndThenTurnsThePictureOn) {
  wakesAfter(600ms);
  tv.setting(kInputs, Texts{});
  tv.setting(kAudioOnly, 1);

  EXPECT_THAT(follows("homekitnotify", "source=0"),
              ElementsAreArray(
                  Entries{"log homekit command", reads(kInputs, "[]"), reads(kTuner, "1"),
                          "log source: airplay", "log Is TV Power On: 0"} +
                  polls(2) +
                  Entries{toDaemon("wakeup"), toUi(R"({"cmd":"switchInput","sessionid":"",)"
                                                   R"("source":"AirPlayBridge","to":"AirPlay",)"
                                                   R"("type":"AirPlayMessage"})")} +
                  kTurnsPictureOn));
}

TEST_F(ASleepingSet, GetsAPairingRequestAtOnce) {
  EXPECT_THAT(
      follows("HKAccess", "reset"),
      ElementsAre("log HomeKit Pairing or Reset", toUi(R"({"cmd":"HomeKitPairing","sessionid":"",)"
                                                       R"("source":"AirPlayBridge","to":"reset",)"
                                                       R"("type":"AirPlayMessage"})")));
  EXPECT_EQ(time.now(), 100s);
}

TEST_F(ASleepingSet, IsNotWaitedForBeforeANormalStart) {
  (void)says("start", "AirPlayApp");
  EXPECT_EQ(time.now(), 100s);
}

TEST_F(ASleepingSet, WhoseApplicationManagerLinkGoesMeanwhileGetsNothing) {
  time.after(100ms, [this] { bridge.init(nullptr, &gam, &platform); });

  (void)says("start", "cwd=/p");

  EXPECT_EQ(tv.takeLog().back(), "ERR sendMsgToUIAfterPowerOn: No APM.");
}

TEST_F(ADaemonCommand, IsNotHeldBackByASetThatWasStartedInStandbyAndWokeUp) {
  tv.setting(kPowerUseCase, 0);
  EXPECT_EQ(bridge.start(), 0);
  bridge.notifyAirPlaySTRResume();

  (void)says("start", "cwd=/p");

  EXPECT_EQ(time.now(), 100s);
}

// ---- Keys.

class AKey : public WiredBridge {
 protected:
  bool isPressed(int code) {
    const GAM_KeyEvent event = keyEvent(code);
    return bridge.processCMD_AirPlay_KeyCode(&event);
  }
};

TEST_F(AKey, GoesToTheInputPathWhileTheApplicationIsUp) {
  bridge.setAirPlayAppStatus(true);
  tv.gamInjectResult(1);

  EXPECT_TRUE(isPressed(28));

  EXPECT_THAT(tv.take(), ElementsAre("log InjectKeyEvent: receive key code 28",
                                     "gam.inject code=28 size=76 -> 1"));
}

TEST_F(AKey, IsNotHandledWhenTheInputPathSaysZero) {
  bridge.setAirPlayAppStatus(true);
  tv.gamInjectResult(0);
  EXPECT_FALSE(isPressed(28));
}

TEST_F(AKey, CountsAsHandledWhenTheInputPathFails) {
  bridge.setAirPlayAppStatus(true);
  tv.gamInjectResult(-3);
  EXPECT_TRUE(isPressed(28));
}

TEST_F(AKey, IsSwallowedWhileTheApplicationIsDown) {
  EXPECT_TRUE(isPressed(28));
  EXPECT_THAT(tv.take(), IsEmpty());
}

TEST_F(AKey, IsNotHandledWithoutACommandBus) {
  bridge.setAirPlayAppStatus(true);
  bridge.init(&apm, nullptr, &platform);

  EXPECT_FALSE(isPressed(28));

  EXPECT_THAT(tv.take(), ElementsAre("ERR processCMD_AirPlay_KeyCode: No GAM"));
}

// ---- Hostile texts: whatever they are, they are data.

// A text, and the same between the quotes of a JSON string. Made when they are needed, since some
// are long.
struct Hostile {
  const char* name;
  std::string (*text)();
  std::string (*asJson)();
};

std::ostream& operator<<(std::ostream& out, const Hostile& row) { return out << row.name; }

std::string tenMegabytes() {
  std::string text;
  text.resize(10 << 20, 'x');
  return text;
}
std::string deepNesting() {
  std::string text;
  text.resize(100000, '[');
  return text;
}

class AHostileText : public ADaemonCommand, public ::testing::WithParamInterface<Hostile> {
 protected:
  // What the history says first of its kind.
  std::string first(const char* kind) { return tv.takeOnly({kind}).at(0); }

  const std::string text = GetParam().text();
};

// Compared by == so that a failure does not print 10 MB.
TEST_P(AHostileText, IsStartedWithUnchanged) {
  (void)says("start", text);
  EXPECT_TRUE(first("gam.send") == toAm("start", "[" + text + "]"));
}

TEST_P(AHostileText, WaitsForConsentUnchanged) {
  (void)says("start", "cwd" + text);
  EXPECT_EQ(bridge.processCMD_AirPlay_StartFromDaemon("BRIDGE-100.000000"), 0);
  EXPECT_TRUE(first("gam.send") == toAm("start", "[cwd" + text + "]"));
}

TEST_P(AHostileText, GoesToTheUiAsJson) {
  (void)says("HKAccess", text);
  EXPECT_TRUE(first("apm.sendMessage") ==
              toUi(R"({"cmd":"HomeKitPairing","sessionid":"","source":"AirPlayBridge","to":")" +
                   GetParam().asJson() + R"(","type":"AirPlayMessage"})"));
}

TEST_P(AHostileText, IsAnUnknownCommand) {
  (void)tv.take();
  EXPECT_EQ(says(text, text), 0);
  EXPECT_THAT(tv.takeOnly({"ERR"}),
              ElementsAre(StartsWith("ERR processCMD_AirPlayMessageFromGAM: Unknown cmd: " +
                                     text.substr(0, 1000))));
  EXPECT_THAT(tv.takeCalls(), ElementsAre(reads(kLifeCycle, "[]")));
}

TEST_P(AHostileText, IsNoInputNoSwitchAndNoScreen) {
  (void)tv.take();
  (void)says("homekitnotify", text);
  (void)says("wakeup_screen", text);
  (void)says("unblank", text);
  EXPECT_THAT(tv.takeOnly({"settings.set", "gam.send", "apm.sendMessage"}), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    , AHostileText,
    Values(Hostile{"Format", [] { return std::string("%s%n%d%100000f"); },
                   [] { return std::string("%s%n%d%100000f"); }},
           Hostile{"InvalidUtf8", [] { return std::string("\xff\xfe\xc0\x80"); },
                   [] { return std::string(R"(\ufffd\ufffd\ufffd)"); }},
           Hostile{"ControlCharacters", [] { return std::string("\x01\x1b[2J\r\n\t\x7f"); },
                   [] { return std::string("\\u0001\\u001b[2J\\r\\n\\t\x7f"); }},
           Hostile{"Json", [] { return std::string(R"({"cmd":"start"}\")"); },
                   [] { return std::string(R"({\"cmd\":\"start\"}\\\")"); }},
           Hostile{"DeepNesting", deepNesting, deepNesting},
           Hostile{"TenMegabytes", tenMegabytes, tenMegabytes}),
    nameOf<Hostile>);

}  // namespace
