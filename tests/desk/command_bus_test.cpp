// Records of the command bus on their whole way, from the service and to it.
#include <gmock/gmock.h>

#include "bus_member.h"
#include "desk_tv.h"
#include "told.h"

namespace desk {
namespace {

using ::testing::Lt;
using ::testing::SizeIs;

const std::nullopt_t kNull = std::nullopt;
constexpr int kNobodyHoldsIt = -2;
constexpr char kDppEula[] = "torvo.sl2.i32.basic.settings.eula.dpp.eula";

class CommandBus : public Desk {};

TEST_F(CommandBus, KeepsAllFieldsAndFillsInTheAddresseeAlone) {
  tv.boot();
  BusMember member(tv->runFolder(), "Member");

  EXPECT_EQ(member.sends({kNull, "Member", kNull, "", "k\xc3\xa4se \xff %s"}), 0);
  EXPECT_EQ(member.sends({"", kNull, "Member", kNull, kNull}, 7, true), 0);

  EXPECT_EQ(member.receives(),
            (Delivery{0, false, {kNull, "Member", "Member", "", "k\xc3\xa4se \xff %s"}}));
  EXPECT_EQ(member.receives(), (Delivery{7, true, {"", kNull, "Member", kNull, kNull}}));
  tv.seesInOrder({"kind=bus type=0 sync=false src=null ack=Member dest=null cmd='' to=Member",
                  "kind=bus type=7 sync=true src='' ack=null dest=Member cmd=null para=null"});
}

TEST_F(CommandBus, DeliversToTheThirdFieldWhereThereIsOneElseToTheSecond) {
  tv.boot();
  BusMember member(tv->runFolder(), "Member");

  EXPECT_EQ(member.sends({"Member", "Nobody", "Member", "third", ""}), 0);
  EXPECT_EQ(member.sends({"Member", "Member", kNull, "second", ""}), 0);

  EXPECT_EQ(member.receives(), (Delivery{0, false, {"Member", "Nobody", "Member", "third", ""}}));
  EXPECT_EQ(member.receives(), (Delivery{0, false, {"Member", "Member", "Member", "second", ""}}));
}

TEST_F(CommandBus, GivesTheSenderANegativeResultForANameThatNobodyHolds) {
  tv.boot();
  BusMember member(tv->runFolder(), "Member");

  EXPECT_EQ(member.sends({"Member", "Nobody", kNull, "cmd", "para"}), kNobodyHoldsIt);
  EXPECT_EQ(member.sends({"Member", "Member", "Nobody", "cmd", "para"}), kNobodyHoldsIt);
  EXPECT_THAT(member.sends({"Member", kNull, kNull, "cmd", "para"}), Lt(0));

  tv.seesInOrder({"kind=bus ack=Nobody dest=null to=Nobody status=-2",
                  "kind=bus ack=Member dest=Nobody to=Nobody status=-2",
                  "kind=bus ack=null dest=null to=null status=-2"});
}

TEST_F(CommandBus, TakesFromTheServiceARecordWithoutAThirdField) {
  tv.bootUntilReady();
  BusMember member(tv->runFolder(), "AirPlayDaemon");  // the later one gets what comes

  tv.control().setSetting(kDppEula, 0);

  EXPECT_EQ(member.receives(), (Delivery{0,
                                         false,
                                         {"AirPlayBridge", "AirPlayDaemon", "AirPlayDaemon",
                                          "BringAppToBackground", "AirPlayDaemon"}}));
  EXPECT_EQ(tv.sees(sends("AirPlayDaemon", "BringAppToBackground", "AirPlayDaemon"))["dest"],
            Json::Value());
}

TEST_F(CommandBus, BringsTheServiceTheFieldsAsTheyWereSent) {
  tv.boot();
  BusMember member(tv->runFolder(), "Member");

  member.sends({kNull, "AirPlayBridge", kNull, "unblank", ""});
  member.sends({"", kNull, "AirPlayBridge", "unblank",
                "scr\xc3\xa9"
                "en"});
  member.sends({"Member", "AirPlayBridge", kNull, "synchronous", "para"}, 0, true);
  member.sends({"Member", "AirPlayBridge", kNull, "notice", "para"}, 3);

  tv.seesInOrder(
      {logs("Called, cmd=unblank, src=(null), ack=AirPlayBridge, dest=AirPlayBridge, para=."),
       logs("Process airplay daemon command"),
       logs("Called, cmd=unblank, src=, ack=(null), dest=AirPlayBridge, para=scr\xc3\xa9"
            "en."),
       logs("Process airplay daemon command"), logs("Called,type=0."),
       logs("Called, cmd=synchronous, src=Member, ack=AirPlayBridge, dest=AirPlayBridge, "
            "para=para."),
       logs("Called,type=3.")});
  EXPECT_THAT(tv.all(logs("Process airplay daemon command")), SizeIs(2));
}

TEST_F(CommandBus, HasTheServicesLinesInTheJournalBeforeTheMessagesTheyAnnounce) {
  tv.bootUntilReady();
  const std::uint64_t before = tv.now();

  // Each of these writes has the service send a message.
  const benchtv::ControlLink control = tv.control();
  for (int i = 0; i < 25; ++i) control.setSetting(kDppEula, 0);

  const std::string sent = sends("AirPlayDaemon", "BringAppToBackground", "AirPlayDaemon");
  tv.waitUntil("all messages", [&] { return tv.all(sent).size() == 25; });
  const Lines account =
      only(told(tv->events(before)), {"cmd: BringAppToBackground", "|BringAppToBackground|"});
  ASSERT_EQ(account.size(), 50U);
  for (std::size_t i = 0; i < account.size(); i += 2) {
    EXPECT_EQ(account[i],
              "I cmd: BringAppToBackground,  dest: AirPlayDaemon, param: AirPlayDaemon");
    EXPECT_EQ(account[i + 1],
              "bus AirPlayBridge|AirPlayDaemon|null|BringAppToBackground|AirPlayDaemon -> 0");
  }
}

TEST_F(CommandBus, EndsTheServiceByARecordWithoutACommandAndTheJournalSaysSo) {
  tv.bootUntilReady();
  const std::uint64_t before = tv.now();

  EXPECT_EQ(tv.control().sendRecord({"AirPlayDaemon", "AirPlayBridge", kNull, kNull, "para"}), 0);

  tv.seesInOrder({"kind=bus op=send to=AirPlayBridge cmd=null",
                  logs("Called, cmd=(null), src=AirPlayDaemon, ack=AirPlayBridge, "
                       "dest=AirPlayBridge, para=para."),
                  logs("Process airplay daemon command"),
                  "kind=log text~'terminate called after throwing an instance of'",
                  processEnds("service") + " status=-6"},
                 before);
  // The set lives, and a new service works on it.
  const std::uint64_t then = tv.now();
  tv->startRole("service");
  tv.sees(logs("Daemon socket is ready: YES"), then);
}

}  // namespace
}  // namespace desk
