#include "stand_ins/tv_ui.h"

#include <gmock/gmock.h>

#include "recorded_set_link.h"

namespace benchtv {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

class TheTvUi : public ::testing::Test {
 protected:
  void request(const std::string& session) {
    ui.onAppMessage("AirPlayBridge", R"({"cmd":"startAirPlay","sessionid":")" + session +
                                         R"(","source":"AirPlayBridge","type":"AirPlayMessage"})"
                                         "\n");
  }

  std::vector<std::string> takeDone() { return std::exchange(set.done, {}); }

  RecordedSetLink set;
  TvUi ui{set};
};

TEST_F(TheTvUi, AcceptsTheRequestThatHasWaitedLongest) {
  request("BRIDGE-1");
  request("BRIDGE-2");
  ui.act("accept", "");
  EXPECT_THAT(
      takeDone(),
      ElementsAre(
          R"(note ui consent session="BRIDGE-1")", R"(note ui consent session="BRIDGE-2")",
          R"(note ui accept session="BRIDGE-1")",
          R"(launcher -> AirPlayBridge: {"cmd":"start","from":"AirPlayApp","sessionid":"BRIDGE-1","type":"AirPlayMessage"})"));
  EXPECT_EQ(jsonText(ui.state()), R"({"policy":"ask","requests":["BRIDGE-2"]})");
}

TEST_F(TheTvUi, AcceptsAnyRequestByItsId) {
  request("BRIDGE-1");
  request("BRIDGE-2");
  ui.act("accept", "BRIDGE-2");
  ui.act("accept", "BRIDGE-2");
  EXPECT_EQ(set.done.size(), 6U);
  EXPECT_EQ(jsonText(ui.state()["requests"]), R"(["BRIDGE-1"])");
}

TEST_F(TheTvUi, DeclinesWithoutAWord) {
  request("BRIDGE-1");
  takeDone();
  ui.act("decline", "");
  EXPECT_THAT(takeDone(), ElementsAre(R"(note ui decline session="BRIDGE-1")"));
  EXPECT_THAT(
      [&] { ui.act("accept", ""); },
      ThrowsMessage<StandInRefusal>("no phone waits for an answer: phone connect, then this"));
}

TEST_F(TheTvUi, AnswersByPolicy) {
  ui.act("policy", "accept");
  request("BRIDGE-1");
  ui.act("policy", "decline");
  request("BRIDGE-2");
  EXPECT_THAT(
      takeDone(),
      ElementsAre(
          R"(note ui policy policy="accept")", R"(note ui consent session="BRIDGE-1")",
          R"(note ui accept session="BRIDGE-1")",
          R"(launcher -> AirPlayBridge: {"cmd":"start","from":"AirPlayApp","sessionid":"BRIDGE-1","type":"AirPlayMessage"})",
          R"(note ui policy policy="decline")", R"(note ui consent session="BRIDGE-2")",
          R"(note ui decline session="BRIDGE-2")"));
}

TEST_F(TheTvUi, SwitchesInputsAndShowsPages) {
  ui.onAppMessage("AirPlayBridge",
                  R"({"type":"AirPlayMessage","cmd":"switchInput","sessionid":"","to":"HDMI 1"})");
  ui.onAppMessage("AirPlayBridge",
                  R"({"type":"AirPlayMessage","cmd":"HomeKitPairing","sessionid":"","to":"x"})");
  ui.onAppMessage("AirPlayBridge",
                  R"({"type": "AirPlayMessage", "cmd": "start", "result" : "failed"})");
  ui.onAppMessage("am", "register_ok");
  EXPECT_THAT(takeDone(), ElementsAre(R"(note ui switch-input to="HDMI 1")",
                                      R"(set torvo.sl2.str.source.app.current "HDMI 1")",
                                      R"(note ui pairing to="x")", "note ui start-failed"));
}

struct Place {
  const char* where;
  const char* from;
};

class EveryPlace : public TheTvUi, public ::testing::WithParamInterface<Place> {};

TEST_P(EveryPlace, StartsAirPlay) {
  ui.act("start", GetParam().where);
  const std::string from = GetParam().from;
  EXPECT_THAT(takeDone(),
              ElementsAre("note ui start from=\"" + from + "\"",
                          R"(call AirPlayBridge onRunning ["AirPlayBridge","{\"cmd\":\"start\",)"
                          R"(\"from\":\")" +
                              from + R"(\",\"type\":\"AirPlayMessage\"}"])"));
}

INSTANTIATE_TEST_SUITE_P(OfTheUi, EveryPlace,
                         ::testing::Values(Place{"input", "TVInput"},
                                           Place{"switch-input", "SwitchInput"},
                                           Place{"setting", "Setting"},
                                           Place{"homekit", "HomeKitSetting"}),
                         [](const auto& row) { return std::string(row.param.from); });

TEST_F(TheTvUi, QuitsAirPlay) {
  ui.act("quit", "");
  EXPECT_THAT(takeDone(),
              ElementsAre("note ui quit",
                          R"(launcher -> AirPlayBridge: {"cmd":"stop","type":"AirPlayMessage"})"));
}

TEST_F(TheTvUi, ShowsWhatItDoesNotUnderstand) {
  ui.onAppMessage("x", "not JSON %s%n");
  ui.onAppMessage("x", "[1]");
  ui.onAppMessage("x", R"({"type":"AirPlayMessage","cmd":7})");
  ui.onAppMessage("x", R"({"type":3,"cmd":"startAirPlay"})");
  ui.onAppMessage("x", std::string(100'000, '['));
  EXPECT_THAT(
      takeDone(),
      ElementsAre(
          R"(note ui not-understood source="x" message="not JSON %s%n")",
          R"(note ui not-understood source="x" message="[1]")",
          R"(note ui not-understood source="x" message="{\"type\":\"AirPlayMessage\",\"cmd\":7}")",
          R"(note ui not-understood source="x" message="{\"type\":3,\"cmd\":\"startAirPlay\"}")",
          R"(note ui not-understood source="x" message=")" + std::string(1000, '[') + "\""));
}

TEST_F(TheTvUi, RefusesWhatMakesNoSense) {
  for (const char* verb : {"", "Accept", "decline", "accept", "start", "policy", "%s"}) {
    EXPECT_THROW(ui.act(verb, ""), StandInRefusal) << verb;
  }
  EXPECT_THROW(ui.act("start", "moon"), StandInRefusal);
  EXPECT_THROW(ui.act("policy", "Ask"), StandInRefusal);
  EXPECT_THROW(ui.act("quit", "now"), StandInRefusal);
  EXPECT_THAT(takeDone(), IsEmpty());
}

TEST_F(TheTvUi, SaysWhenTheServiceIsNotThere) {
  set.status = -2;
  EXPECT_THROW(ui.act("quit", ""), StandInRefusal);
}

}  // namespace
}  // namespace benchtv
