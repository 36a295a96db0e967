#include "stand_ins/receiver.h"

#include <gmock/gmock.h>

#include "recorded_set_link.h"

namespace benchtv {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using ::testing::ThrowsMessage;

class AReceiver : public ::testing::Test {
 protected:
  RecordedSetLink set;
  Receiver receiver{set};
};

TEST_F(AReceiver, ConnectsAndDisconnectsPhones) {
  receiver.act("connect", "");
  receiver.act("connect", "");
  receiver.act("disconnect", "");
  EXPECT_EQ(jsonText(receiver.state()), R"({"asleep":false,"enabled":true,"sessions":[1]})");
  EXPECT_THAT(
      set.done,
      ElementsAre(R"(note phone connect cmd="start" para="AirPlayApp cwd=/data/airplay session=1")",
                  "AirPlayDaemon -> AirPlayBridge: start|AirPlayApp cwd=/data/airplay session=1",
                  R"(note phone connect cmd="start" para="AirPlayApp cwd=/data/airplay session=2")",
                  "AirPlayDaemon -> AirPlayBridge: start|AirPlayApp cwd=/data/airplay session=2",
                  R"(note phone disconnect cmd="stop" para="AirPlayApp")",
                  "AirPlayDaemon -> AirPlayBridge: stop|AirPlayApp"));
}

struct PhoneVerb {
  const char* name;
  const char* verb;
  const char* argument;
  const char* sent;
};

class EveryVerb : public AReceiver, public ::testing::WithParamInterface<PhoneVerb> {};

TEST_P(EveryVerb, SendsItsCommand) {
  receiver.act(GetParam().verb, GetParam().argument);
  ASSERT_EQ(set.done.size(), 2U);
  EXPECT_THAT(set.done[0], StartsWith(std::string("note phone ") + GetParam().verb));
  EXPECT_EQ(set.done[1], std::string("AirPlayDaemon -> AirPlayBridge: ") + GetParam().sent);
}

INSTANTIATE_TEST_SUITE_P(
    OfThePhone, EveryVerb,
    ::testing::Values(PhoneVerb{"press", "press", "KEY_ENTER", "key_press|KEY_ENTER"},
                      PhoneVerb{"switchInput", "switch-input", "2", "homekitnotify|source=2"},
                      PhoneVerb{"pair", "pair", "reset now", "HKAccess|reset now"},
                      PhoneVerb{"pairPlain", "pair", "", "HKAccess|pair"},
                      PhoneVerb{"muteScreen", "mute-screen", "", "unblank|screen"},
                      PhoneVerb{"wake", "wake", "", "wakeup_screen|on"},
                      PhoneVerb{"background", "background", "", "backgm|AirPlayApp"},
                      PhoneVerb{"needStop", "need-stop", "", "need_stop|AirPlayApp"},
                      PhoneVerb{"enable", "enable", "", "AirPlayEnabled|enable"},
                      PhoneVerb{"disable", "disable", "", "AirPlayEnabled|disable"},
                      PhoneVerb{"say", "say", "unblank the screen", "unblank|the screen"},
                      PhoneVerb{"sayAlone", "say", "unblank", "unblank|"}),
    [](const auto& row) { return std::string(row.param.name); });

struct Answer {
  const char* command;
  const char* sent;
};

class EveryAnswer : public AReceiver, public ::testing::WithParamInterface<Answer> {};

TEST_P(EveryAnswer, IsThatOfAReceiver) {
  receiver.onCommand(GetParam().command, "AirPlayDaemon");
  EXPECT_THAT(set.done,
              ElementsAre(std::string("AirPlayDaemon -> AirPlayBridge: ") + GetParam().sent));
}

INSTANTIATE_TEST_SUITE_P(OfTheReceiver, EveryAnswer,
                         ::testing::Values(Answer{"action", "start|AirPlayApp page=input"},
                                           Answer{"settings", "start|AirPlayApp page=settings"},
                                           Answer{"HomeKitSettings",
                                                  "start|AirPlayApp page=homekit"},
                                           Answer{"BringAppToBackground", "backgm|AirPlayApp"},
                                           Answer{"StopApp", "stop|AirPlayApp"}),
                         [](const auto& row) { return std::string(row.param.command); });

TEST_F(AReceiver, SaysNothingWhileAsleep) {
  receiver.onCommand("suspend", "AirPlayDaemon");
  receiver.onCommand("action", "AirPlayDaemon");
  EXPECT_THAT(set.done, IsEmpty());
  EXPECT_THROW(receiver.act("press", "KEY_ENTER"), StandInRefusal);

  receiver.onCommand("wakeup", "AirPlayDaemon");
  receiver.act("press", "KEY_ENTER");
  EXPECT_EQ(set.done.size(), 2U);
}

TEST_F(AReceiver, IsWokenByAPhone) {
  receiver.onCommand("suspend", "AirPlayDaemon");
  receiver.act("connect", "");
  receiver.act("disconnect", "");
  EXPECT_EQ(set.done.size(), 4U);
}

TEST_F(AReceiver, IsFoundByNoPhoneWhileSwitchedOff) {
  receiver.onCommand("AirPlayEnabled", "disable");
  EXPECT_THROW(receiver.act("connect", ""), StandInRefusal);
  receiver.onCommand("AirPlayEnabled", "enable");
  receiver.act("connect", "");
  EXPECT_EQ(set.done.size(), 2U);
}

TEST_F(AReceiver, HasNoSessionThatNobodyHeardOf) {
  set.status = -2;
  EXPECT_THAT([&] { receiver.act("connect", ""); },
              ThrowsMessage<StandInRefusal>(
                  "the service did not get it (status -2): it has not joined the command bus, or a "
                  "fault is in force"));
  EXPECT_EQ(jsonText(receiver.state()["sessions"]), "[]");
}

TEST_F(AReceiver, RefusesWhatMakesNoSense) {
  const std::vector<std::pair<std::string, std::string>> senseless = {
      {"", ""},          {"Connect", ""},         {"disconnect", ""}, {"connect", "now"},
      {"press", ""},     {"press", "NO_KEY"},     {"say", ""},        {"switch-input", ""},
      {"wake", "up %s"}, {"switch-input", "two"}, {"%n", "%s"},       {"switch-input", "99999"},
  };
  for (const auto& [verb, argument] : senseless) {
    EXPECT_THROW(receiver.act(verb, argument), StandInRefusal) << verb << " " << argument;
  }
  EXPECT_THAT(set.done, IsEmpty());
}

}  // namespace
}  // namespace benchtv
