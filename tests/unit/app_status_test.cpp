// Application status reports, the input list, and the way out of mute.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "in_memory_tv.h"
#include "one_scenario.h"
#include "platform_delegate.h"
#include "recording_airplay_bridge.h"
#include "virtual_libc.h"

using norvale::PlatformDelegate;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::Values;
using namespace std::chrono_literals;

namespace {

constexpr char kAppStatus[] = "torvo.sl2.str.source.app.status";
constexpr char kLifeCycle[] = "torvo.sl2.vstr.app.setting.airplay.status";
constexpr char kInputs[] = "torvo.sl2.vstr.source.input.name";
constexpr char kTuner[] = "torvo.sl2.i32.channel.search.tuner.support";
constexpr char kMute[] = "torvo.sl2.i32.sound.main.mute";

constexpr char kWritesStarted[] =
    "settings.set torvo.sl2.vstr.app.setting.airplay.status [\"started\",\"\"] -> 0";
constexpr char kWritesStopped[] =
    "settings.set torvo.sl2.vstr.app.setting.airplay.status [\"stopped\",\"\"] -> 0";

// ---- Reports.

class AReport : public ::testing::Test {
 protected:
  AReport() {
    delegate.bindToClient(&bridge);
    delegate.connect();
    tv.take();
  }

  // The set publishes |text|.
  void publish(const std::string& text) { tv.changes(kAppStatus, text); }

  InMemoryTv tv;
  RecordingAirPlayBridge bridge{tv.history()};
  PlatformDelegate delegate;
};

TEST_F(AReport, OfAnApplicationThatStartedGoesAllTheWay) {
  publish(R"({"appId":"AirPlayApp","appStatus":"started"})");
  EXPECT_THAT(tv.take(),
              ElementsAre("IN onAppStatusChanged",
                          "log onAppStatusChanged: Application "
                          "status:'{\"appId\":\"AirPlayApp\",\"appStatus\":\"started\"}'.",
                          "bridge.notifyAirPlayStarted", "bridge.setAirPlayAppStatus true",
                          kWritesStarted, "OUT onAppStatusChanged"));
}

struct ReportCase {
  const char* name;
  std::string text;
  std::vector<std::string> effects;
};

void PrintTo(const ReportCase& row, std::ostream* out) { *out << row.name; }

class TheReport : public AReport, public ::testing::WithParamInterface<ReportCase> {};

TEST_P(TheReport, HasItsEffects) {
  publish(GetParam().text);
  EXPECT_THAT(tv.takeOnly({"IN", "OUT"}),
              ElementsAre("IN onAppStatusChanged", "OUT onAppStatusChanged"));
  std::vector<std::string> expected{"log onAppStatusChanged: Application status:'" +
                                    GetParam().text + "'."};
  expected.insert(expected.end(), GetParam().effects.begin(), GetParam().effects.end());
  EXPECT_THAT(tv.take(), ElementsAreArray(expected));
}

INSTANTIATE_TEST_SUITE_P(OfTheApplication, TheReport,
                         Values(ReportCase{"Started",
                                           R"({"appId":"AirPlayApp","appStatus":"started"})",
                                           {"bridge.notifyAirPlayStarted",
                                            "bridge.setAirPlayAppStatus true", kWritesStarted}},
                                ReportCase{"Paused",
                                           R"({"appId":"AirPlayApp","appStatus":"paused"})",
                                           {"bridge.notifyAirPlayPaused",
                                            "bridge.setAirPlayAppStatus false", kWritesStopped}},
                                ReportCase{"Stopped",
                                           R"({"appId":"AirPlayApp","appStatus":"stopped"})",
                                           {"bridge.notifyAirPlayStopped",
                                            "bridge.setAirPlayAppStatus false", kWritesStopped}},
                                ReportCase{"Otherwise",
                                           R"({"appId":"AirPlayApp","appStatus":"starting"})",
                                           {"ERR onAirPlayAppStatus: Invalid AirPlay status"}},
                                ReportCase{"InOtherCase",
                                           R"({"appId":"AirPlayApp","appStatus":"Started"})",
                                           {"ERR onAirPlayAppStatus: Invalid AirPlay status"}},
                                ReportCase{"WithoutStatus",
                                           R"({"appId":"AirPlayApp"})",
                                           {"ERR onAirPlayAppStatus: Invalid AirPlay status"}},
                                ReportCase{"WithANumber",
                                           R"({"appId":"AirPlayApp","appStatus":1})",
                                           {"ERR onAirPlayAppStatus: Invalid AirPlay status"}},
                                ReportCase{"WithAnObject",
                                           R"({"appId":"AirPlayApp","appStatus":{"started":1}})",
                                           {"ERR onAirPlayAppStatus: Invalid AirPlay status"}}),
                         [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(
    OfTheDaemon, TheReport,
    Values(ReportCase{"Started",
                      R"({"appId":"AirPlayDaemon","appStatus":"started"})",
                      {"bridge.setAirPlayDaemonStatus true"}},
           ReportCase{"Paused",
                      R"({"appId":"AirPlayDaemon","appStatus":"paused"})",
                      {"bridge.setAirPlayDaemonStatus true"}},
           ReportCase{"Stopped",
                      R"({"appId":"AirPlayDaemon","appStatus":"stopped"})",
                      {"bridge.setAirPlayDaemonStatus false"}},
           ReportCase{"Otherwise",
                      R"({"appId":"AirPlayDaemon","appStatus":""})",
                      {"ERR onAirPlayDaemonStatus: Invalid AirPlayDaemon status"}},
           ReportCase{"WithoutStatus",
                      R"({"appId":"AirPlayDaemon"})",
                      {"ERR onAirPlayDaemonStatus: Invalid AirPlayDaemon status"}},
           ReportCase{"WithNull",
                      R"({"appId":"AirPlayDaemon","appStatus":null})",
                      {"ERR onAirPlayDaemonStatus: Invalid AirPlayDaemon status"}}),
    [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(OfMdnsd, TheReport,
                         Values(ReportCase{"Started",
                                           R"({"appId":"mdnsd","appStatus":"started"})",
                                           {"bridge.setMdnsdStatus true"}},
                                ReportCase{"Paused",
                                           R"({"appId":"mdnsd","appStatus":"paused"})",
                                           {"bridge.setMdnsdStatus true"}},
                                ReportCase{"Stopped",
                                           R"({"appId":"mdnsd","appStatus":"stopped"})",
                                           {"bridge.setMdnsdStatus false"}},
                                ReportCase{"Otherwise",
                                           R"({"appId":"mdnsd","appStatus":"gone"})",
                                           {"ERR onMdnsdStatus: Invalid mdnsd status"}},
                                ReportCase{"WithoutStatus",
                                           R"({"appId":"mdnsd"})",
                                           {"ERR onMdnsdStatus: Invalid mdnsd status"}},
                                ReportCase{"WithAList",
                                           R"({"appId":"mdnsd","appStatus":["started"]})",
                                           {"ERR onMdnsdStatus: Invalid mdnsd status"}}),
                         [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(
    OfAnother, TheReport,
    Values(ReportCase{"Application",
                      R"({"appId":"hdmi1","appStatus":"started"})",
                      {"log onAppStatusChanged: Do not care this app [hdmi1] [started]"}},
           ReportCase{"ApplicationInAnUnknownStatus",
                      R"({"appId":"hdmi1","appStatus":"odd"})",
                      {"log onAppStatusChanged: Do not care this app [hdmi1] [odd]"}},
           ReportCase{"ApplicationWithoutStatus",
                      R"({"appId":"hdmi1"})",
                      {"log onAppStatusChanged: Do not care this app [hdmi1] [unknown]"}},
           ReportCase{"ApplicationWithoutName",
                      R"({"appId":"","appStatus":"started"})",
                      {"log onAppStatusChanged: Do not care this app [] [started]"}},
           ReportCase{"ApplicationOfALongerName",
                      R"({"appId":"AirPlayApp2","appStatus":"started"})",
                      {"log onAppStatusChanged: Do not care this app [AirPlayApp2] [started]"}},
           ReportCase{"ApplicationOfTheProcessesName",
                      R"({"appId":"airplaydemo","appStatus":"stopped"})",
                      {"log onAppStatusChanged: Do not care this app [airplaydemo] [stopped]"}},
           ReportCase{"ApplicationInOtherCase",
                      R"({"appId":"MDNSD","appStatus":"stopped"})",
                      {"log onAppStatusChanged: Do not care this app [MDNSD] [stopped]"}},
           ReportCase{"ApplicationThatLooksLikeAFormat",
                      R"({"appId":"%s%n","appStatus":"%d%n"})",
                      {"log onAppStatusChanged: Do not care this app [%s%n] [%d%n]"}},
           ReportCase{"MemberTwice",
                      R"({"appId":"hdmi1","appStatus":"started","appId":"mdnsd"})",
                      {"bridge.setMdnsdStatus true"}},
           ReportCase{"ApplicationWithAComment",
                      R"(/* report */ {"appId":"mdnsd", // here
                      "appStatus":"stopped"})",
                      {"bridge.setMdnsdStatus false"}},
           ReportCase{"ApplicationWithMoreMembers",
                      R"({"pid":7,"appId":"mdnsd","extra":[{}],"appStatus":"stopped"})",
                      {"bridge.setMdnsdStatus false"}}),
    [](const auto& row) { return std::string(row.param.name); });

const std::vector<std::string> kInvalidId{"ERR onAppStatusChanged: Invalid app id"};
const std::vector<std::string> kInvalidFormat{
    "ERR onAppStatusChanged: Invalid   App message format"};

INSTANTIATE_TEST_SUITE_P(
    WithoutAnId, TheReport,
    Values(ReportCase{"Absent", R"({"appStatus":"started"})", kInvalidId},
           ReportCase{"Unknown", R"({"appId":"unknown","appStatus":"started"})", kInvalidId},
           ReportCase{"Number", R"({"appId":5,"appStatus":"started"})", kInvalidId},
           ReportCase{"Null", R"({"appId":null,"appStatus":"started"})", kInvalidId},
           ReportCase{"Object", R"({"appId":{"a":1},"appStatus":"started"})", kInvalidId},
           ReportCase{"List", R"({"appId":["mdnsd"],"appStatus":"started"})", kInvalidId},
           ReportCase{"Boolean", R"({"appId":true,"appStatus":"started"})", kInvalidId},
           ReportCase{"EmptyObject", "{}", kInvalidId},
           ReportCase{"RootList", R"([{"appId":"mdnsd","appStatus":"started"}])", kInvalidId},
           ReportCase{"RootText", R"("mdnsd")", kInvalidId},
           ReportCase{"RootNumber", "17", kInvalidId}, ReportCase{"RootNull", "null", kInvalidId},
           ReportCase{"RootBoolean", "false", kInvalidId}),
    [](const auto& row) { return std::string(row.param.name); });

std::string nested(int depth) {
  return std::string(static_cast<std::size_t>(depth), '[') +
         std::string(static_cast<std::size_t>(depth), ']');
}

INSTANTIATE_TEST_SUITE_P(
    ThatIsNoJson, TheReport,
    Values(ReportCase{"Empty", "", kInvalidFormat}, ReportCase{"Text", "started", kInvalidFormat},
           ReportCase{"CutShort", R"({"appId":"mdnsd","appStatus":"sta)", kInvalidFormat},
           ReportCase{"Format", "%s%n%d", kInvalidFormat},
           ReportCase{"OpenComment", "/", kInvalidFormat},
           ReportCase{"ControlCharacters", "\x01\x02\x1b[2J", kInvalidFormat},
           ReportCase{"InvalidUtf8", "\xff\xfe", kInvalidFormat},
           ReportCase{"TooDeep", nested(1500), kInvalidFormat},
           ReportCase{"TooDeepInAMember", R"({"appId":)" + nested(1500) + "}", kInvalidFormat}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(AReport, OfAnyDepthDoesNoHarm) {
  publish(std::string(1'000'000, '['));
  publish(R"({"appId":)" + nested(900) + "}");
  EXPECT_THAT(tv.takeOnly({"ERR"}),
              ElementsAre("ERR onAppStatusChanged: Invalid   App message format",
                          "ERR onAppStatusChanged: Invalid app id"));
}

TEST_F(AReport, OfTenMegabytesIsUnderstood) {
  publish(R"({"appId":"mdnsd","filler":")" + std::string(10'000'000, 'x') +
          R"(","appStatus":"stopped"})");
  EXPECT_THAT(tv.takeOnly({"bridge"}), ElementsAre("bridge.setMdnsdStatus false"));
}

TEST_F(AReport, WithBadBytesInItsTextsIsNotCaredAbout) {
  publish("{\"appId\":\"\xff\xc3\x28\",\"appStatus\":\"\\u0007\"}");
  EXPECT_EQ(tv.takeLog().back(),
            "log onAppStatusChanged: Do not care this app [\xff\xc3\x28] [\a]");
}

TEST_F(AReport, OfANameThatGoesOnAfterANulIsNotTakenForTheName) {
  publish(R"({"appId":"mdnsd\u0000x","appStatus":"started"})");
  publish(R"({"appId":"mdnsd","appStatus":"started\u0000x"})");
  EXPECT_THAT(tv.takeOnly({"bridge"}), IsEmpty());
}

TEST_F(AReport, IsLoggedAndDroppedWithoutAClient) {
  delegate.removeClient(&bridge);
  publish(R"({"appId":"AirPlayApp","appStatus":"started"})");
  publish(R"({"appId":"AirPlayApp","appStatus":"odd"})");
  publish(R"({"appId":"hdmi1","appStatus":"started"})");
  EXPECT_THAT(tv.takeWithout({"IN", "OUT"}),
              ElementsAre("log onAppStatusChanged: Application "
                          "status:'{\"appId\":\"AirPlayApp\",\"appStatus\":\"started\"}'.",
                          "log onAppStatusChanged: Application "
                          "status:'{\"appId\":\"AirPlayApp\",\"appStatus\":\"odd\"}'.",
                          "log onAppStatusChanged: Application "
                          "status:'{\"appId\":\"hdmi1\",\"appStatus\":\"started\"}'."));
}

TEST_F(AReport, ThatIsInvalidIsCalledSoAlsoWithoutAClient) {
  delegate.removeClient(&bridge);
  publish("no JSON");
  publish("{}");
  EXPECT_THAT(tv.takeOnly({"ERR"}),
              ElementsAre("ERR onAppStatusChanged: Invalid   App message format",
                          "ERR onAppStatusChanged: Invalid app id"));
}

TEST_F(AReport, IsToldAlsoWhenTheLifeCycleCannotBeWritten) {
  tv.failWrite(kLifeCycle, -30);
  publish(R"({"appId":"AirPlayApp","appStatus":"stopped"})");
  EXPECT_THAT(tv.takeCalls(),
              ElementsAre("bridge.notifyAirPlayStopped", "bridge.setAirPlayAppStatus false",
                          "settings.set torvo.sl2.vstr.app.setting.airplay.status "
                          "[\"stopped\",\"\"] -> -30"));
}

TEST_F(AReport, ThatComesTwiceIsToldTwice) {
  publish(R"({"appId":"mdnsd","appStatus":"started"})");
  publish(R"({"appId":"mdnsd","appStatus":"started"})");
  EXPECT_THAT(tv.takeCalls(),
              ElementsAre("bridge.setMdnsdStatus true", "bridge.setMdnsdStatus true"));
}

// ---- Inputs.

const Texts kThreeInputs{"TV", "TV", "0",     "1",      "HDMI1", "HDMI 1",
                         "1",  "1",  "HDMI2", "HDMI 2", "2",     "0"};
const Texts kTwoHdmis{"HDMI1", "HDMI 1", "1", "1", "HDMI2", "HDMI 2", "2", "0"};

class TheInputList : public OneScenarioPerProcess {
 protected:
  TheInputList() {
    tv.setting(kInputs, kThreeInputs);
    tv.take();
  }

  Texts inputs() {
    Texts names;
    delegate.getInputSourceList(names);
    return names;
  }

  void askTimes(int times) {
    for (int i = 0; i < times; ++i) {
      inputs();
    }
  }

  InMemoryTv tv;
  PlatformDelegate delegate;
};

TEST_F(TheInputList, IsWholeOnASetWithATuner) {
  tv.setting(kTuner, 1);
  Texts names;
  EXPECT_EQ(delegate.getInputSourceList(names), 0);
  EXPECT_EQ(names, kThreeInputs);
  EXPECT_THAT(tv.take(),
              ElementsAre("IN getInputSourceList",
                          "settings.get torvo.sl2.vstr.source.input.name -> 0 "
                          "[\"TV\",\"TV\",\"0\",\"1\",\"HDMI1\",\"HDMI 1\",\"1\",\"1\","
                          "\"HDMI2\",\"HDMI 2\",\"2\",\"0\"]",
                          "settings.get torvo.sl2.i32.channel.search.tuner.support -> 0 1",
                          "OUT getInputSourceList"));
}

TEST_F(TheInputList, LacksTheTunerOnASetWithoutOne) {
  tv.setting(kTuner, 0);
  Texts names;
  EXPECT_EQ(delegate.getInputSourceList(names), 0);
  EXPECT_EQ(names, kTwoHdmis);
  EXPECT_THAT(tv.takeWithout({"settings"}),
              ElementsAre("IN getInputSourceList",
                          "log getInputNameList: Tuner  Supported: 0 , Original source count : 12 "
                          "/4",
                          "log getInputNameList: Processed Input list count: 8 /4 ",
                          "OUT getInputSourceList"));
}

TEST_F(TheInputList, IsGivenWithoutATraceToTheDelegateItself) {
  tv.setting(kTuner, 1);
  Texts names;
  EXPECT_EQ(delegate.getInputNameList(names), 0);
  EXPECT_EQ(names, kThreeInputs);
  EXPECT_THAT(tv.takeTrace(), IsEmpty());
}

TEST_F(TheInputList, IsWholeForAnyTunerValueButZero) {
  tv.setting(kTuner, -1);
  EXPECT_EQ(inputs(), kThreeInputs);
  tv.setting(kTuner, 2);
  EXPECT_EQ(inputs(), kThreeInputs);
}

TEST_F(TheInputList, IsWholeWhenTheTunerIsNotKnown) {
  tv.setting(kTuner, 0);
  tv.failRead(kTuner, -5);
  EXPECT_EQ(inputs(), kThreeInputs);
  EXPECT_THAT(tv.takeLog(),
              ElementsAre("ERR getInputNameList: Failed to access "
                          "SL2_TVAPI_I32_CHANNEL_SEARCH_TUNER_SUPPORT, assuming tuner is "
                          "supported"));
}

TEST_F(TheInputList, KeepsStringsThatMakeNoInputOnASetWithATuner) {
  tv.setting(kTuner, 1);
  tv.setting(kInputs, Texts{"TV", "x"});
  EXPECT_THAT(inputs(), ElementsAre("TV", "x"));
}

TEST_F(TheInputList, DropsStringsThatMakeNoInputOnASetWithoutATuner) {
  tv.setting(kTuner, 0);
  Texts fourteen = kThreeInputs;
  fourteen.insert(fourteen.end(), {"USB", "USB"});
  tv.setting(kInputs, fourteen);
  EXPECT_EQ(inputs(), kTwoHdmis);
  EXPECT_THAT(tv.takeLog(), ElementsAre("log getInputNameList: Tuner  Supported: 0 , Original "
                                        "source count : 14 /4",
                                        "log getInputNameList: Processed Input list count: 8 /4 "));
}

TEST_F(TheInputList, OfThreeStringsHasNoInput) {
  tv.setting(kTuner, 0);
  tv.setting(kInputs, Texts{"HDMI1", "HDMI 1", "1"});
  EXPECT_THAT(inputs(), IsEmpty());
  EXPECT_THAT(tv.takeLog(), ElementsAre("log getInputNameList: Tuner  Supported: 0 , Original "
                                        "source count : 3 /4",
                                        "log getInputNameList: Processed Input list count: 0 /4 "));
}

TEST_F(TheInputList, LacksOnlyInputsWhoseFirstStringIsExactlyTheTuners) {
  tv.setting(kTuner, 0);
  tv.setting(kInputs, Texts{"tv", "TV", "TV",  "TV", "TV ", "a", "b",  "c", "TV", "d",
                            "e",  "f",  "DTV", "g",  "h",   "i", "TV", "j", "k",  "l"});
  EXPECT_THAT(inputs(),
              ElementsAre("tv", "TV", "TV", "TV", "TV ", "a", "b", "c", "DTV", "g", "h", "i"));
}

TEST_F(TheInputList, ReplacesTheCallersOnASetWithATuner) {
  tv.setting(kTuner, 1);
  Texts names{"before"};
  delegate.getInputSourceList(names);
  EXPECT_EQ(names, kThreeInputs);
}

TEST_F(TheInputList, ReplacesTheCallersWhenTheTunerIsNotKnown) {
  tv.failRead(kTuner, -5);
  Texts names{"before"};
  delegate.getInputSourceList(names);
  EXPECT_EQ(names, kThreeInputs);
}

TEST_F(TheInputList, IsAppendedToTheCallersOnASetWithoutATuner) {
  tv.setting(kTuner, 0);
  tv.setting(kInputs, Texts{"HDMI1", "HDMI 1", "1", "1"});
  Texts names{"before"};
  delegate.getInputSourceList(names);
  EXPECT_THAT(names, ElementsAre("before", "HDMI1", "HDMI 1", "1", "1"));
  EXPECT_EQ(tv.takeLog().back(), "log getInputNameList: Processed Input list count: 5 /4 ");
}

TEST_F(TheInputList, ThatCannotBeReadEmptiesTheCallersOnASetWithATuner) {
  tv.setting(kTuner, 1);
  tv.failRead(kInputs, -5);
  Texts names{"before"};
  EXPECT_EQ(delegate.getInputSourceList(names), -5);
  EXPECT_THAT(names, IsEmpty());
}

TEST_F(TheInputList, ThatCannotBeReadAddsNothingOnASetWithoutATuner) {
  tv.setting(kTuner, 0);
  tv.failRead(kInputs, -5);
  Texts names{"before"};
  EXPECT_EQ(delegate.getInputSourceList(names), -5);
  EXPECT_THAT(names, ElementsAre("before"));
}

TEST_F(TheInputList, GivesTheListsResultAndNotTheTuners) {
  tv.failRead(kTuner, -7);
  Texts names;
  EXPECT_EQ(delegate.getInputNameList(names), 0);
  tv.failRead(kInputs, -5);
  EXPECT_EQ(delegate.getInputNameList(names), -5);
}

TEST_F(TheInputList, SaysTenTimesThatTheTunerIsNotKnown) {
  tv.failRead(kTuner, -5);
  askTimes(9);
  EXPECT_THAT(tv.takeLog(), SizeIs(9));
  askTimes(3);
  EXPECT_THAT(tv.takeLog(),
              ElementsAre("ERR getInputNameList: Failed to access "
                          "SL2_TVAPI_I32_CHANNEL_SEARCH_TUNER_SUPPORT, assuming tuner is supported",
                          "ERR getInputNameList: This log is Limit to  10 times, ignore further "
                          "logs. "));
}

TEST_F(TheInputList, SaysTenTimesWhatItLeftOut) {
  tv.setting(kTuner, 0);
  askTimes(9);
  EXPECT_THAT(tv.takeLog(), SizeIs(18));
  askTimes(3);
  EXPECT_THAT(
      tv.takeLog(),
      ElementsAre("log getInputNameList: Tuner  Supported: 0 , Original source count : 12 /4",
                  "log getInputNameList: This log is Limit to  10 times, ignore further logs. ",
                  "log getInputNameList: Processed Input list count: 8 /4 ",
                  "log getInputNameList: This log is Limit to  10 times, ignore further logs. "));
}

TEST_F(TheInputList, CountsItsLinesForAllDelegatesTogether) {
  tv.failRead(kTuner, -5);
  askTimes(11);
  tv.take();
  PlatformDelegate another;
  Texts names;
  another.getInputSourceList(names);
  EXPECT_THAT(tv.takeLog(), IsEmpty());
}

// ---- Mute.

class TheWayOutOfMute : public ::testing::Test {
 protected:
  TheWayOutOfMute() { tv.take(); }

  InMemoryTv tv;
  VirtualLibc time{tv.history()};
  PlatformDelegate delegate;
};

TEST_F(TheWayOutOfMute, IsOneKeyAndThreeHundredMilliseconds) {
  tv.setting(kMute, 2);
  delegate.setUnmute();
  EXPECT_THAT(tv.take(),
              ElementsAre("settings.get torvo.sl2.i32.sound.main.mute -> 0 2",
                          "action.invoke torvo.sl2.system.action.send.key [\"KEY_MUTE\"] -> 0",
                          "log setUnmute: System is mute, send a mute key to unmute, mute status "
                          "is 2",
                          "sleep 300000"));
  EXPECT_EQ(time.now(), 300ms);
}

TEST_F(TheWayOutOfMute, BeginsAtOne) {
  tv.setting(kMute, 1);
  delegate.setUnmute();
  EXPECT_THAT(tv.takeOnly({"action"}),
              ElementsAre("action.invoke torvo.sl2.system.action.send.key [\"KEY_MUTE\"] -> 0"));
}

TEST_F(TheWayOutOfMute, WaitsAlsoForAKeyThatWasRefused) {
  tv.setting(kMute, 1);
  tv.failInvoke(-5);
  delegate.setUnmute();
  EXPECT_THAT(tv.take(),
              ElementsAre("settings.get torvo.sl2.i32.sound.main.mute -> 0 1",
                          "action.invoke torvo.sl2.system.action.send.key [\"KEY_MUTE\"] -> -5",
                          "log setUnmute: System is mute, send a mute key to unmute, mute status "
                          "is 1",
                          "sleep 300000"));
}

TEST_F(TheWayOutOfMute, IsNotTakenOnASetThatIsNotMute) {
  tv.setting(kMute, 0);
  delegate.setUnmute();
  EXPECT_THAT(tv.take(), ElementsAre("settings.get torvo.sl2.i32.sound.main.mute -> 0 0",
                                     "log setUnmute: System is unmute, do nothing"));
}

TEST_F(TheWayOutOfMute, IsNotTakenOnANegativeStatus) {
  tv.setting(kMute, -3);
  delegate.setUnmute();
  EXPECT_THAT(tv.take(), ElementsAre("settings.get torvo.sl2.i32.sound.main.mute -> 0 -3",
                                     "ERR setUnmute: Error to get system mute status: -3"));
}

TEST_F(TheWayOutOfMute, IsNotTakenWhenTheStatusCannotBeRead) {
  tv.setting(kMute, 1);
  tv.failRead(kMute, -5);
  delegate.setUnmute();
  EXPECT_THAT(tv.take(), ElementsAre("settings.get torvo.sl2.i32.sound.main.mute -> -5",
                                     "ERR setUnmute: Error to get system mute status: -1"));
}

}  // namespace
