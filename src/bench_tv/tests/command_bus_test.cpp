#include "set/command_bus.h"

#include <gmock/gmock.h>

#include <cerrno>

#include "recorded_set.h"

namespace benchtv {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class TheCommandBus : public ::testing::Test {
 protected:
  TheCommandBus() {
    bus.whenForAppManager([this](const Record& record) { forAppManager.push_back(*record.cmd); });
    bus.join("AirPlayBridge", ":1.1");
    bus.join("AirPlayDaemon", ":1.2");
  }

  // From the service, as it fills its records.
  int send(Field ack, Field dest = std::nullopt, int type = 0) {
    return bus.send(":1.1", type, false, {"AirPlayBridge", ack, dest, "wakeup", std::nullopt});
  }

  std::string lastLine() { return journalOf(folder).back(); }

  TemporaryFolder folder;
  Journal journal{folder.path()};
  Faults faults{journal};
  RecordingOutlet outlet;
  std::vector<std::string> forAppManager;
  CommandBus bus{faults, journal, outlet};
};

TEST_F(TheCommandBus, DeliversToTheNameInPositionTwoWhereThreeIsAbsent) {
  EXPECT_EQ(send("AirPlayDaemon"), 0);
  EXPECT_THAT(outlet.sent, ElementsAre(":1.2: type 0 \"AirPlayBridge\" \"AirPlayDaemon\" "
                                       "\"AirPlayDaemon\" \"wakeup\" null"));
  EXPECT_EQ(lastLine(), R"(bus ack="AirPlayDaemon" cmd="wakeup" dest=null op="send" para=null )"
                        R"(src="AirPlayBridge" status=0 sync=false to="AirPlayDaemon" type=0)");
}

TEST_F(TheCommandBus, DeliversToTheNameInPositionThreeAndKeepsTheRest) {
  const Record record{std::nullopt, std::nullopt, "AirPlayBridge", "", "%s%n\xff"};
  EXPECT_EQ(bus.send(":1.2", 5, true, record), 0);
  EXPECT_THAT(outlet.sent,
              ElementsAre(":1.1: type 5 sync null null \"AirPlayBridge\" \"\" \"%s%n\xff\""));
}

TEST_F(TheCommandBus, RefusesWhatNobodyHolds) {
  EXPECT_EQ(send("Nobody"), -ENOENT);
  EXPECT_EQ(send("AirPlayDaemon", ""), -ENOENT);
  EXPECT_EQ(send(std::nullopt), -ENOENT);
  EXPECT_EQ(lastLine(), R"(bus ack=null cmd="wakeup" dest=null op="send" para=null )"
                        R"(src="AirPlayBridge" status=-2 sync=false to=null type=0)");
  EXPECT_THAT(outlet.sent, IsEmpty());
}

TEST_F(TheCommandBus, RefusesSendersThatHaveNotJoined) {
  EXPECT_EQ(bus.send(":1.9", 0, false, {"X", "AirPlayDaemon", {}, "wakeup", ""}), -ENOTCONN);
  EXPECT_EQ(bus.sendAsBench(0, false, {"X", "AirPlayDaemon", {}, "wakeup", ""}), 0);
}

TEST_F(TheCommandBus, HandsCommandsForAmToTheApplicationManager) {
  EXPECT_EQ(send("am"), 0);
  EXPECT_EQ(send("am", std::nullopt, 3), 0);
  EXPECT_THAT(forAppManager, ElementsAre("wakeup"));
  EXPECT_THAT(outlet.sent, IsEmpty());
}

TEST_F(TheCommandBus, GivesANameToWhoeverJoinedLast) {
  bus.join("AirPlayDaemon", ":1.3");
  bus.clientGone(":1.2");
  EXPECT_EQ(send("AirPlayDaemon"), 0);
  EXPECT_EQ(outlet.sent.back().substr(0, 5), ":1.3:");
}

TEST_F(TheCommandBus, ForgetsTheNamesOfAClientThatHasGone) {
  bus.clientGone(":1.2");
  EXPECT_EQ(lastLine(), R"(bus op="leave" src="AirPlayDaemon")");
  EXPECT_EQ(send("AirPlayDaemon"), -ENOENT);
  bus.leave("AirPlayBridge");
  EXPECT_EQ(send("am"), -ENOTCONN);
  EXPECT_THAT(bus.names(), IsEmpty());
}

TEST_F(TheCommandBus, KeepsTheApplicationManagersName) {
  EXPECT_EQ(bus.join("am", ":1.4"), -EBUSY);
  EXPECT_EQ(bus.join("", ":1.4"), -EINVAL);
  EXPECT_EQ(lastLine(), R"(bus op="join" src="" status=-22)");
}

TEST_F(TheCommandBus, TakesTheKeyCodeFromByte24OfAnInjectedEvent) {
  std::string event(76, '\xee');
  event.replace(24, 4, std::string("\x71\x00\x00\x00", 4));
  EXPECT_EQ(bus.inject(":1.1", event), 0);
  EXPECT_EQ(lastLine(), "key code=113 status=0");
  EXPECT_EQ(bus.inject(":1.1", event + "x"), -EINVAL);
  EXPECT_EQ(bus.inject(":1.9", event), -ENOTCONN);
}

TEST_F(TheCommandBus, FailsAsAFaultSays) {
  faults.set("bus-init", "", -7);
  faults.set("bus-send", "", -8);
  faults.set("bus-inject", "", -9);
  EXPECT_EQ(bus.join("Late", ":1.4"), -7);
  EXPECT_EQ(send("AirPlayDaemon"), -8);
  EXPECT_EQ(bus.inject(":1.1", std::string(76, '\0')), -9);
  EXPECT_THAT(outlet.sent, IsEmpty());
  EXPECT_THAT(bus.names(), ElementsAre("AirPlayBridge", "AirPlayDaemon"));
}

}  // namespace
}  // namespace benchtv
