// App messages: the JSON texts of the UI, as launch text and as event message.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>

#include <memory>
#include <ostream>

#include "apm_bridge.h"
#include "app_manager_side.h"
#include "in_memory_tv.h"
#include "wired_bridge.h"

using norvale::APMBridge;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using ::testing::Values;

namespace {

using Entries = History::Entries;

template <class Row>
std::string nameOf(const ::testing::TestParamInfo<Row>& info) {
  return info.param.name;
}

const std::string kTellsTheUi =
    "apm.sendMessage AirPlayBridge->launcher "
    R"({"type": "AirPlayMessage", "cmd": "start", "result" : "failed"} -> 0)";

class AnAppMessage : public ::testing::Test {
 protected:
  AnAppMessage() {
    link.bindToClient(&bridge);
    EXPECT_TRUE(link.connect());
    tv.deliverPending();
    (void)tv.take();
  }

  int launches(const std::string& text) { return tv.app().onRunning("url", text); }
  int comesFromTheUi(const std::string& text) {
    return tv.app().notifyAppEventMessage("launcher", "AirPlayBridge", text);
  }
  // What happened, without the line that shows the text itself.
  Entries follows() {
    const Entries all = withoutFunctions(tv.take());
    return {all.begin() + 1, all.end()};
  }
  // What was refused, and what the UI heard of it.
  Entries complaints() { return withoutFunctions(tv.takeOnly({"ERR", "apm"})); }

  InMemoryTv tv;
  BridgeForTheAppManager bridge{tv.history()};
  APMBridge link{std::make_shared<ClientGetter>()};
};

// ---- Messages that are carried out.

struct Accepted {
  const char* name;
  const char* text;
  Entries effects;
};

std::ostream& operator<<(std::ostream& out, const Accepted& row) { return out << row.name; }

const std::string kStarting = R"(bridge.setAirPlayLifeCycle "starting" "NorvaleUI")";
const std::string kStartingByDaemon = R"(bridge.setAirPlayLifeCycle "starting" "Daemon")";
const std::string kQuits = "log UI window quit";

class AnAcceptedMessage : public AnAppMessage, public ::testing::WithParamInterface<Accepted> {};

TEST_P(AnAcceptedMessage, IsCarriedOutAsEventMessage) {
  EXPECT_EQ(comesFromTheUi(GetParam().text), 0);
  EXPECT_THAT(follows(), ElementsAreArray(GetParam().effects));
}

TEST_P(AnAcceptedMessage, GivesTheBridgesResult) {
  bridge.result = 7;
  EXPECT_EQ(comesFromTheUi(GetParam().text), 7);
}

TEST_P(AnAcceptedMessage, IsCarriedOutAsLaunchText) {
  Entries expected = GetParam().effects;
  expected.push_back("log Airplay running");
  EXPECT_EQ(launches(GetParam().text), 0);
  EXPECT_THAT(follows(), ElementsAreArray(expected));
}

TEST_P(AnAcceptedMessage, IsAFailedLaunchWhenTheBridgeRefuses) {
  bridge.result = -1;
  EXPECT_EQ(launches(GetParam().text), 0);
  EXPECT_THAT(complaints(), ElementsAre("ERR Airplay start failed", kTellsTheUi));
}

INSTANTIATE_TEST_SUITE_P(
    , AnAcceptedMessage,
    Values(
        Accepted{"TVInput",
                 R"({"type":"AirPlayMessage","cmd":"start","from":"TVInput"})",
                 {kStarting, "bridge.processCMD_AirPlay_StartFromInput"}},
        Accepted{"SwitchInput",
                 R"({"type":"AirPlayMessage","cmd":"start","from":"SwitchInput"})",
                 {kStarting, "bridge.processCMD_AirPlay_StartFromInput"}},
        Accepted{"Setting",
                 R"({"type":"AirPlayMessage","cmd":"start","from":"Setting"})",
                 {kStarting, "bridge.processCMD_AirPlay_StartFromSetting"}},
        Accepted{"HomeKitSetting",
                 R"({"type":"AirPlayMessage","cmd":"start","from":"HomeKitSetting"})",
                 {kStarting, "bridge.processCMD_AirPlay_StartFromHomeKitSetting"}},
        Accepted{
            "AirPlayApp",
            R"({"type":"AirPlayMessage","cmd":"start","from":"AirPlayApp","sessionid":"BRIDGE-1"})",
            {kStartingByDaemon, R"(bridge.processCMD_AirPlay_StartFromDaemon "BRIDGE-1")"}},
        Accepted{"AirPlayAppWithAnEmptyId",
                 R"({"type":"AirPlayMessage","cmd":"start","from":"AirPlayApp","sessionid":""})",
                 {kStartingByDaemon, R"(bridge.processCMD_AirPlay_StartFromDaemon "")"}},
        Accepted{"AirPlayAppWithoutAnId",
                 R"({"type":"AirPlayMessage","cmd":"start","from":"AirPlayApp"})",
                 {kStartingByDaemon, R"(bridge.processCMD_AirPlay_StartFromDaemon "UNKNOWN")"}},
        Accepted{"Stop",
                 R"({"type":"AirPlayMessage","cmd":"stop"})",
                 {kQuits, "bridge.processCMD_AirPlay_StopFromUI"}},
        Accepted{"StopFromSomewhere",
                 R"({"type":"AirPlayMessage","cmd":"stop","from":"TVInput"})",
                 {kQuits, "bridge.processCMD_AirPlay_StopFromUI"}},
        Accepted{"StopFromANumber",
                 R"({"type":"AirPlayMessage","cmd":"stop","from":5,"sessionid":[]})",
                 {kQuits, "bridge.processCMD_AirPlay_StopFromUI"}},
        Accepted{"OtherMembers",
                 R"({"from":"TVInput","x":{"y":[1]},"cmd":"start","to":5,"type":"AirPlayMessage"})",
                 {kStarting, "bridge.processCMD_AirPlay_StartFromInput"}},
        Accepted{"BlanksAndComments",
                 "/* a */ { \"type\" : \"AirPlayMessage\", // b\n \"cmd\" : \"stop\" }\n",
                 {kQuits, "bridge.processCMD_AirPlay_StopFromUI"}},
        Accepted{"EscapedLetters",
                 R"({"type":"AirPlayMessage","cmd":"\u0073top"})",
                 {kQuits, "bridge.processCMD_AirPlay_StopFromUI"}},
        Accepted{"TheLastOfTwo",
                 R"({"type":"AirPlayMessage","cmd":"start","cmd":"stop"})",
                 {kQuits, "bridge.processCMD_AirPlay_StopFromUI"}}),
    nameOf<Accepted>);

// ---- Messages that are refused.

struct Refused {
  const char* name;
  std::string text;
  Entries lines;
};

std::ostream& operator<<(std::ostream& out, const Refused& row) { return out << row.name; }

Entries noJson(const std::string& text) {
  return {"ERR Invalid   App message format  [" + text + "]"};
}

Refused notJson(const char* name, const std::string& text) { return {name, text, noJson(text)}; }

// A message of the right type, with these |members| as well.
Refused refused(const char* name, const std::string& members, const std::string& line) {
  return {name, R"({"type":"AirPlayMessage")" + members + "}", {"ERR " + line}};
}

// What fails the check of the type, or is no JSON, also gets the caller's line.
class AnInvalidMessage : public AnAppMessage, public ::testing::WithParamInterface<Refused> {};

TEST_P(AnInvalidMessage, IsRefusedAsEventMessage) {
  Entries expected = GetParam().lines;
  expected.push_back("ERR process Json Message failed");

  EXPECT_EQ(comesFromTheUi(GetParam().text), -1);

  EXPECT_THAT(follows(), ElementsAreArray(expected));
}

TEST_P(AnInvalidMessage, IsAFailedLaunch) {
  Entries expected = GetParam().lines;
  expected.insert(expected.end(),
                  {"ERR process Json Message failed", "ERR Airplay start failed", kTellsTheUi});

  EXPECT_EQ(launches(GetParam().text), 0);

  EXPECT_THAT(complaints(), ElementsAreArray(expected));
  EXPECT_THAT(tv.takeOnly({"bridge"}), ElementsAre("bridge.getUiTargetMessageName"));
}

const Entries kInvalidType{"ERR Message type Invalid"};

INSTANTIATE_TEST_SUITE_P(
    Type, AnInvalidMessage,
    Values(Refused{"Missing", R"({"cmd":"start"})", kInvalidType},
           Refused{"OtherCase", R"({"Type":"AirPlayMessage","cmd":"stop"})", kInvalidType},
           Refused{"Number", R"({"type":5,"cmd":"stop"})", kInvalidType},
           Refused{"Null", R"({"type":null,"cmd":"stop"})", kInvalidType},
           Refused{"List", R"({"type":["AirPlayMessage"]})", kInvalidType},
           Refused{"Object", R"({"type":{}})", kInvalidType},
           Refused{"True", R"({"type":true})", kInvalidType},
           Refused{"Unknown", R"({"type":"UNKNOWN","cmd":"stop"})", kInvalidType},
           Refused{"EmptyObject", "{}", kInvalidType}),
    nameOf<Refused>);

INSTANTIATE_TEST_SUITE_P(
    RootThatIsNoObject, AnInvalidMessage,
    Values(Refused{"Number", "5", kInvalidType}, Refused{"Fraction", "-1.5e3", kInvalidType},
           Refused{"String", R"("AirPlayMessage")", kInvalidType},
           Refused{"True", "true", kInvalidType}, Refused{"Null", "null", kInvalidType},
           Refused{"List", R"([{"type":"AirPlayMessage","cmd":"stop"}])", kInvalidType},
           Refused{"EmptyList", "[]", kInvalidType}),
    nameOf<Refused>);

INSTANTIATE_TEST_SUITE_P(
    NoJson, AnInvalidMessage,
    Values(notJson("Nothing", ""), notJson("Blanks", "  \n"), notJson("Word", "start"),
           notJson("Keyword", "low_memory "), notJson("OpenObject", R"({"type":"AirPlayMessage")"),
           notJson("OpenString", R"({"type":"AirPlay)"), notJson("Format", "%s%n%d%100000f"),
           notJson("ControlCharacters", "\x01\x1b[2J\r\n\t\x7f"),
           notJson("InvalidUtf8", "\xff\xfe\xc0\x80"), notJson("SingleQuotes", "{'type':'x'}")),
    nameOf<Refused>);

// What is refused for its command is refused without the caller's line.
class ARefusedMessage : public AnAppMessage, public ::testing::WithParamInterface<Refused> {};

TEST_P(ARefusedMessage, IsRefusedAsEventMessage) {
  EXPECT_EQ(comesFromTheUi(GetParam().text), -1);
  EXPECT_THAT(follows(), ElementsAreArray(GetParam().lines));
}

TEST_P(ARefusedMessage, IsAFailedLaunch) {
  Entries expected = GetParam().lines;
  expected.insert(expected.end(), {"ERR Airplay start failed", kTellsTheUi});

  EXPECT_EQ(launches(GetParam().text), 0);

  EXPECT_THAT(complaints(), ElementsAreArray(expected));
  EXPECT_THAT(tv.takeOnly({"bridge"}), ElementsAre("bridge.getUiTargetMessageName"));
}

INSTANTIATE_TEST_SUITE_P(
    Command, ARefusedMessage,
    Values(refused("Missing", "", "Unknown Command: UNKNOWN"),
           refused("OtherWord", R"(,"cmd":"pause")", "Unknown Command: pause"),
           refused("Empty", R"(,"cmd":"")", "Unknown Command: "),
           refused("Capital", R"(,"cmd":"Start","from":"TVInput")", "Unknown Command: Start"),
           refused("Capitals", R"(,"cmd":"START","from":"TVInput")", "Unknown Command: START"),
           refused("StopCapital", R"(,"cmd":"Stop")", "Unknown Command: Stop"),
           refused("Blank", R"(,"cmd":"stop ")", "Unknown Command: stop "),
           refused("HiddenEnd", R"(,"cmd":"stop\u0000x")", "Unknown Command: stop"),
           refused("Format", R"(,"cmd":"%s%n")", "Unknown Command: %s%n"),
           refused("InvalidUtf8", ",\"cmd\":\"\xff\xfe\"", "Unknown Command: \xff\xfe"),
           refused("ControlCharacters", ",\"cmd\":\"\x01\x1b[2J\\n\"",
                   "Unknown Command: \x01\x1b[2J\n"),
           refused("Number", R"(,"cmd":5)", "Invalid cmd"),
           refused("Null", R"(,"cmd":null)", "Invalid cmd"),
           refused("List", R"(,"cmd":["stop"])", "Invalid cmd"),
           refused("False", R"(,"cmd":false)", "Invalid cmd")),
    nameOf<Refused>);

INSTANTIATE_TEST_SUITE_P(
    From, ARefusedMessage,
    Values(refused("Missing", R"(,"cmd":"start")", "Unknown from: UNKNOWN"),
           refused("OtherWord", R"(,"cmd":"start","from":"Phone")", "Unknown from: Phone"),
           refused("OtherCase", R"(,"cmd":"start","from":"tvinput")", "Unknown from: tvinput"),
           refused("Empty", R"(,"cmd":"start","from":"")", "Unknown from: "),
           refused("Format", R"(,"cmd":"start","from":"%n%s")", "Unknown from: %n%s"),
           refused("Number", R"(,"cmd":"start","from":1.5)", "Invalid from"),
           refused("Null", R"(,"cmd":"start","from":null)", "Invalid from"),
           refused("Object", R"(,"cmd":"start","from":{})", "Invalid from")),
    nameOf<Refused>);

INSTANTIATE_TEST_SUITE_P(
    SessionId, ARefusedMessage,
    Values(refused("Number", R"(,"cmd":"start","from":"AirPlayApp","sessionid":1)",
                   "Invalid sessionid"),
           refused("Null", R"(,"cmd":"start","from":"AirPlayApp","sessionid":null)",
                   "Invalid sessionid"),
           refused("List", R"(,"cmd":"start","from":"AirPlayApp","sessionid":[])",
                   "Invalid sessionid")),
    nameOf<Refused>);

// ---- Messages of another type.

TEST_F(AnAppMessage, OfAnotherTypeIsNoneOfTheBridgesBusiness) {
  EXPECT_EQ(comesFromTheUi(R"({"type":"Other","cmd":"stop"})"), 0);
  EXPECT_THAT(tv.take(),
              ElementsAre("log notifyAppEventMessage: src: launcher, dst: AirPlayBridge, msg: "
                          R"({"type":"Other","cmd":"stop"})"));
}

TEST_F(AnAppMessage, OfAnotherTypeIsAFailedLaunch) {
  EXPECT_EQ(launches(R"({"type":"Other","cmd":"stop"})"), 0);
  EXPECT_THAT(tv.takeOnly({"bridge"}), ElementsAre("bridge.getUiTargetMessageName"));
  EXPECT_THAT(complaints(), ElementsAre("ERR Airplay start failed", kTellsTheUi));
}

TEST_F(AnAppMessage, IsOfAnotherTypeInOtherCase) {
  EXPECT_EQ(comesFromTheUi(R"({"type":"airplaymessage","cmd":"stop"})"), 0);
  EXPECT_EQ(comesFromTheUi(R"({"type":"AirPlayMessage\u0000","cmd":"stop"})"), 0);
  EXPECT_EQ(comesFromTheUi(R"({"type":"","cmd":5})"), 0);
  EXPECT_THAT(tv.takeOnly({"bridge", "ERR"}), IsEmpty());
}

// ---- Texts made to do harm. Each is refused by a line of its own, cut at 4 KB, and nothing more.

TEST_F(AnAppMessage, ThatIsTenMegabytesOfNoJsonIsRefused) {
  const std::string text(10 << 20, 'x');
  EXPECT_EQ(comesFromTheUi(text), -1);
  EXPECT_THAT(complaints(), ElementsAre(StartsWith("ERR Invalid   App message format  [xxxx"),
                                        "ERR process Json Message failed"));
}

TEST_F(AnAppMessage, OfTenMegabytesIsCarriedOut) {
  const std::string text =
      R"({"type":"AirPlayMessage","cmd":"stop","x":")" + std::string(10 << 20, 'x') + R"("})";
  EXPECT_EQ(comesFromTheUi(text), 0);
  EXPECT_THAT(tv.takeOnly({"bridge"}), ElementsAre("bridge.processCMD_AirPlay_StopFromUI"));
}

TEST_F(AnAppMessage, WithATenMegabyteSessionIdPassesItOnWhole) {
  const std::string id(10 << 20, 'x');
  EXPECT_EQ(
      comesFromTheUi(R"({"type":"AirPlayMessage","cmd":"start","from":"AirPlayApp","sessionid":")" +
                     id + R"("})"),
      0);
  EXPECT_TRUE(tv.takeOnly({"bridge"}).at(1) ==
              "bridge.processCMD_AirPlay_StartFromDaemon \"" + id + "\"");
}

// Made when it is needed, since some are long.
struct Deep {
  const char* name;
  std::string (*text)();
};

std::ostream& operator<<(std::ostream& out, const Deep& row) { return out << row.name; }

class ADeepText : public AnAppMessage, public ::testing::WithParamInterface<Deep> {
 protected:
  const std::string text = GetParam().text();
};

TEST_P(ADeepText, IsNoJson) {
  EXPECT_EQ(comesFromTheUi(text), -1);
  EXPECT_THAT(complaints(),
              ElementsAre(StartsWith("ERR Invalid   App message format  [" + text.substr(0, 1000)),
                          "ERR process Json Message failed"));
}

TEST_P(ADeepText, IsAFailedLaunch) {
  EXPECT_EQ(launches(text), 0);
  EXPECT_THAT(tv.takeOnly({"apm"}), ElementsAre(kTellsTheUi));
}

std::string times(int count, const std::string& text) {
  std::string all;
  for (int i = 0; i < count; ++i) {
    all += text;
  }
  return all;
}

INSTANTIATE_TEST_SUITE_P(
    , ADeepText,
    Values(Deep{"Lists", [] { return times(2000, "[") + times(2000, "]"); }},
           Deep{"ManyLists", [] { return times(1000000, "["); }},
           Deep{"Objects", [] { return times(2000, R"({"type":)") + "1" + times(2000, "}"); }},
           Deep{"InAMember",
                [] {
                  return R"({"type":"AirPlayMessage","cmd":"stop","x":)" + times(2000, "[") +
                         times(2000, "]") + "}";
                }}),
    nameOf<Deep>);

TEST_F(AnAppMessage, ThatIsNestedAsDeepAsCanBeReadIsCarriedOut) {
  EXPECT_EQ(comesFromTheUi(R"({"type":"AirPlayMessage","cmd":"stop","x":)" + times(900, "[") +
                           times(900, "]") + "}"),
            0);
  EXPECT_THAT(tv.takeOnly({"bridge"}), ElementsAre("bridge.processCMD_AirPlay_StopFromUI"));
}

TEST_F(AnAppMessage, MayHoldNumbersThatNoMachineHolds) {
  EXPECT_EQ(comesFromTheUi(R"({"type":"AirPlayMessage","cmd":"stop","x":99999999999999999999999})"),
            0);
  EXPECT_EQ(comesFromTheUi(R"({"type":1e99999})"), -1);
}

// ---- The steps by themselves.

TEST_F(AnAppMessage, IsHandedOverWithItsType) {
  Json::Value root;
  Json::Value type;
  EXPECT_EQ(link.processJsonMessage(R"({"type":"Other","cmd":"x"})", root, type), 0);
  EXPECT_EQ(type, "Other");
  EXPECT_EQ(root["cmd"], "x");
}

TEST_F(AnAppMessage, OfAnotherTypeIsRefusedAsLifeCycleWithoutALine) {
  EXPECT_EQ(link.processAirPlayLifeCycle(R"({"type":"Other"})"), -1);
  EXPECT_THAT(tv.take(), IsEmpty());
}

TEST_F(AnAppMessage, GivesTheBridgesResultAsLifeCycle) {
  bridge.result = 7;
  EXPECT_EQ(link.processAirPlayLifeCycle(R"({"type":"AirPlayMessage","cmd":"stop"})"), 7);
}

class AnAppMessageForNobody : public AnAppMessage {
 protected:
  AnAppMessageForNobody() {
    link.removeClient();
    (void)tv.take();
  }
};

TEST_F(AnAppMessageForNobody, IsDroppedAfterTheCheckOfItsCommand) {
  Json::Value root;
  root["cmd"] = "start";
  root["from"] = 5;
  EXPECT_EQ(link.processAirPlayMessage(root), 0);
  EXPECT_THAT(withoutFunctions(tv.take()),
              ElementsAre("ERR Client is not set yet, ignore  start."));
}

TEST_F(AnAppMessageForNobody, IsRefusedForACommandThatIsNoText) {
  Json::Value root;
  root["cmd"] = 5;
  EXPECT_EQ(link.processAirPlayMessage(root), -1);
  EXPECT_THAT(withoutFunctions(tv.take()), ElementsAre("ERR Invalid cmd"));
}

TEST_F(AnAppMessageForNobody, IsDroppedWhenItIsAValidLifeCycle) {
  EXPECT_EQ(link.processAirPlayLifeCycle(R"({"type":"AirPlayMessage"})"), 0);
  EXPECT_THAT(withoutFunctions(tv.take()),
              ElementsAre("ERR Client is not set yet, ignore  UNKNOWN."));
}

}  // namespace
