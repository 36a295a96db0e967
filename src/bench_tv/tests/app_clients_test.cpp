#include "set/app_clients.h"

#include <gmock/gmock.h>

#include <cerrno>

#include "recorded_set.h"
#include "set/refusal.h"

namespace benchtv {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::ThrowsMessage;

class TheApplicationClients : public ::testing::Test {
 protected:
  TheApplicationClients() {
    faults.whenChanged([this] { apps.tellAvailable(); });
  }

  std::string lastLine() { return journalOf(folder).back(); }

  TemporaryFolder folder;
  Journal journal{folder.path()};
  Faults faults{journal};
  RecordingOutlet outlet;
  AppClients apps{faults, journal, outlet};
};

TEST_F(TheApplicationClients, AreToldThatTheyAreRegistered) {
  EXPECT_TRUE(apps.attach(":1.1"));
  EXPECT_EQ(apps.registerApp("AirPlayBridge", ":1.1"), 0);
  EXPECT_THAT(outlet.sent, ElementsAre(R"(:1.1: call 1 AirPlayBridge notifyAppEventMessage )"
                                       R"(["am","AirPlayBridge","register_ok"] 0)"));
  apps.answer(1, -3);
  EXPECT_THAT(journalOf(folder),
              ElementsAre(R"(apm app="AirPlayBridge" op="registerApp" result=0)",
                          R"(apm app="AirPlayBridge" dst="AirPlayBridge" id=1 msg="register_ok" )"
                          R"(op="notifyAppEventMessage" src="am")",
                          R"(apm app="AirPlayBridge" id=1 op="answer" result=-3)"));
  EXPECT_THAT([&] { apps.answer(1, 0); },
              ThrowsMessage<Refusal>("no callback with the id 1 awaits an answer"));
}

TEST_F(TheApplicationClients, SendMessagesToEachOther) {
  apps.registerApp("launcher", ":1.2");
  outlet.sent.clear();
  EXPECT_EQ(apps.sendMessage("AirPlayBridge", "launcher", "{}\n"), 0);
  EXPECT_THAT(outlet.sent, ElementsAre(R"(:1.2: call 2 launcher notifyAppEventMessage )"
                                       R"(["AirPlayBridge","launcher","{}\n"] 0)"));
  EXPECT_EQ(apps.sendMessage("AirPlayBridge", "nobody", "x"), -ENOENT);
  EXPECT_EQ(lastLine(),
            R"(apm message="x" op="sendMessage" result=-2 source="AirPlayBridge" target="nobody")");
}

TEST_F(TheApplicationClients, SetTheirStatus) {
  EXPECT_EQ(apps.setAppStatus("AirPlayBridge", 1), -ENOENT);
  apps.registerApp("AirPlayBridge", ":1.1");
  EXPECT_EQ(apps.setAppStatus("AirPlayBridge", 4), 0);
  EXPECT_EQ(lastLine(), R"(apm app="AirPlayBridge" op="setAppStatus" result=0 status=4)");
  EXPECT_THAT(apps.apps(), ElementsAre(Pair("AirPlayBridge", 4)));
}

TEST_F(TheApplicationClients, LoseAndRegainTheApplicationManager) {
  apps.attach(":1.1");
  apps.attach(":1.1");
  faults.set("apm-missing", "", 1);
  faults.set("bus-send", "", -1);
  EXPECT_FALSE(apps.attach(":1.2"));
  EXPECT_EQ(apps.registerApp("AirPlayBridge", ":1.1"), -ENODEV);
  EXPECT_EQ(apps.unregisterApp("AirPlayBridge"), -ENODEV);
  EXPECT_EQ(apps.setAppStatus("AirPlayBridge", 1), -ENODEV);
  EXPECT_EQ(apps.sendMessage("a", "b", "c"), -ENODEV);
  EXPECT_THROW(apps.call("AirPlayBridge", "onRunning", {"", ""}, 0), Refusal);
  faults.clear("", "");
  EXPECT_THAT(outlet.sent, ElementsAre(":1.1: missing", ":1.1: available", ":1.2: available"));
}

TEST_F(TheApplicationClients, AreForgottenWhenTheyHaveGone) {
  apps.attach(":1.1");
  apps.registerApp("AirPlayBridge", ":1.1");
  apps.clientGone(":1.1");
  outlet.sent.clear();
  faults.set("apm-missing", "", 1);
  EXPECT_THAT(outlet.sent, IsEmpty());
  EXPECT_THAT(apps.apps(), IsEmpty());
  EXPECT_THROW(apps.answer(1, 0), Refusal);
}

TEST_F(TheApplicationClients, AreCalledBackAsThePersonAtTheBenchSays) {
  apps.registerApp("AirPlayBridge", ":1.1");
  EXPECT_EQ(apps.call("AirPlayBridge", "onSTRSuspend", {"url"}, 2), 2U);
  EXPECT_EQ(lastLine(), R"(apm app="AirPlayBridge" appUrl="url" id=2 op="onSTRSuspend" reason=2)");
  std::string event(76, '\0');
  event[24] = 28;
  EXPECT_EQ(apps.call("AirPlayBridge", "onKeyEvent", {event}, 0), 3U);
  EXPECT_EQ(lastLine(), R"(apm app="AirPlayBridge" code=28 id=3 op="onKeyEvent")");
  EXPECT_EQ(apps.call("AirPlayBridge", "reserved11", {}, 0), 4U);
}

TEST_F(TheApplicationClients, AreNotCalledBackWithNonsense) {
  apps.registerApp("AirPlayBridge", ":1.1");
  const auto refusal = [&](const char* app, const char* operation, const Texts& texts) {
    try {
      apps.call(app, operation, texts, 0);
    } catch (const Refusal& refused) {
      return std::string(refused.what());
    }
    return std::string("taken");
  };
  EXPECT_EQ(refusal("AirPlayBridge", "onRunning", {"one"}), "onRunning takes 2 texts, not 1");
  EXPECT_EQ(refusal("AirPlayBridge", "onKeyEvent", {"short"}), "a key event has 76 bytes, not 5");
  EXPECT_EQ(refusal("nobody", "onRunning", {"", ""}), "no application \"nobody\" has registered");
  EXPECT_EQ(refusal("AirPlayBridge", "onRunning", {"", std::string("\0", 1)}),
            "a text holds no NUL character");
  EXPECT_EQ(refusal("AirPlayBridge", "onNothing", {}).substr(0, 35),
            "no operation \"onNothing\": there are");
}

}  // namespace
}  // namespace benchtv
