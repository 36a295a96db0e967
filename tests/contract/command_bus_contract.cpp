// What the service may count on of the command bus.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "gam_client.h"
#include "set_under_test.h"
#include "waiting.h"

namespace contract {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Lt;

constexpr char kName[] = "AirPlayBridge";
constexpr char kOtherName[] = "AirPlayBridge2";

std::string shown(const char* text) { return text == nullptr ? "(null)" : text; }

// The callbacks get no context, so what they bring and do is the process's.
struct Inbox {
  Seen<std::string> seen;
  std::function<void(const GAM_Message&)> then;
};
std::mutex inboxMutex;
std::shared_ptr<Inbox> currentInbox;

int arrive(const char* way, int type, const GAM_Message* message) {
  std::shared_ptr<Inbox> inbox;
  {
    const std::lock_guard lock(inboxMutex);
    inbox = currentInbox;
  }
  inbox->seen.add(std::string(way) + " " + std::to_string(type) + " " + shown(message->src) + "|" +
                  shown(message->ack) + "|" + shown(message->dest) + "|" + shown(message->cmd) +
                  "|" + shown(message->para));
  if (inbox->then) {
    inbox->then(*message);
  }
  return 0;
}

int onSync(int type, const GAM_Message* message) { return arrive("sync", type, message); }
int onAsync(int type, const GAM_Message* message) { return arrive("async", type, message); }

int join(const char* name = kName) {
  const GAM_Callbacks callbacks{onSync, onAsync};  // copied, so it may go
  return GAM_ClientInit(&callbacks, name);
}

int send(const char* ack, const char* cmd, const std::string& para) {
  const GAM_Message message{kName, ack, nullptr, cmd, para.c_str()};
  return GAM_SendCmd(&message);
}

class CommandBus : public ::testing::Test {
 protected:
  CommandBus() {
    const std::lock_guard lock(inboxMutex);
    currentInbox = inbox;
  }
  ~CommandBus() override {
    set.endFaults();
    GAM_ClientUninit();
  }

  void fromDaemon(const Text& cmd, const Text& para) {
    set.send(0, {"AirPlayDaemon", kName, kName, cmd, para}, Way::kAsync);
  }

  SetUnderTest& set = theSet();
  const std::shared_ptr<Inbox> inbox = std::make_shared<Inbox>();
};

// ---- Joining.

TEST_F(CommandBus, LetsAClientJoin) { EXPECT_EQ(join(), 0); }

TEST_F(CommandBus, RefusesASecondJoinAndKeepsTheFirst) {
  ASSERT_EQ(join(), 0);
  EXPECT_EQ(join(kOtherName), -EALREADY);
  fromDaemon("still", "here");
  EXPECT_THAT(inbox->seen.waitFor(1),
              ElementsAre("async 0 AirPlayDaemon|AirPlayBridge|AirPlayBridge|"
                          "still|here"));
}

TEST_F(CommandBus, LetsAClientJoinAgainOnceItHasLeft) {
  ASSERT_EQ(join(), 0);
  EXPECT_EQ(GAM_ClientUninit(), 0);
  ASSERT_EQ(join(kOtherName), 0);
  EXPECT_EQ(send(kOtherName, "again", ""), 0);
  EXPECT_THAT(inbox->seen.waitFor(1),
              ElementsAre("async 0 AirPlayBridge|AirPlayBridge2|AirPlayBridge2|again|"));
}

TEST_F(CommandBus, PassesTheStatusOfAFailedJoinAndTheClientIsNotOnIt) {
  set.failInit(-13);
  EXPECT_EQ(join(), -13);
  EXPECT_THAT(send("am", "started", kName), Lt(0));
  set.endFaults();
  EXPECT_EQ(join(), 0);
  EXPECT_EQ(send("am", "started", kName), 0);
}

TEST_F(CommandBus, TakesNothingFromWhoHasNotJoined) {
  EXPECT_THAT(send("am", "started", kName), Lt(0));
  const GAM_KeyEvent key{};
  EXPECT_THAT(GAM_InjectInputEvent(&key, sizeof key), Lt(0));
}

TEST_F(CommandBus, TakesNothingFromWhoHasLeft) {
  ASSERT_EQ(join(), 0);
  GAM_ClientUninit();
  EXPECT_THAT(send("am", "started", kName), Lt(0));
}

// ---- Messages out.

TEST_F(CommandBus, TakesAMessageForTheApplicationManager) {
  ASSERT_EQ(join(), 0);
  EXPECT_EQ(send("am", "started", kName), 0);
}

TEST_F(CommandBus, TellsTheSenderThatNobodyHasTheName) {
  ASSERT_EQ(join(), 0);
  EXPECT_EQ(send("NobodyOfThatName", "start", ""), -ENOENT);
}

TEST_F(CommandBus, PassesTheStatusOfAFailedSend) {
  ASSERT_EQ(join(), 0);
  set.failSend(-11);
  EXPECT_EQ(send("am", "started", kName), -11);
}

TEST_F(CommandBus, DeliversToTheAckWhereThereIsNoDestAndPutsItThere) {
  ASSERT_EQ(join(), 0);
  const GAM_Message message{"src", kName, nullptr, "cmd", "para"};
  EXPECT_EQ(GAM_SendCmd(&message), 0);
  EXPECT_THAT(inbox->seen.waitFor(1),
              ElementsAre("async 0 src|AirPlayBridge|AirPlayBridge|cmd|para"));
}

TEST_F(CommandBus, DeliversToTheDestAndLeavesTheAck) {
  ASSERT_EQ(join(), 0);
  const GAM_Message message{"src", "someone else", kName, "cmd", "para"};
  EXPECT_EQ(GAM_SendCmd(&message), 0);
  EXPECT_THAT(inbox->seen.waitFor(1),
              ElementsAre("async 0 src|someone else|AirPlayBridge|cmd|para"));
}

TEST_F(CommandBus, KeepsNullNullAndEmptyEmpty) {
  ASSERT_EQ(join(), 0);
  const GAM_Message nulls{nullptr, kName, nullptr, nullptr, nullptr};
  const GAM_Message empties{"", kName, nullptr, "", ""};
  EXPECT_EQ(GAM_SendCmd(&nulls), 0);
  EXPECT_EQ(GAM_SendCmd(&empties), 0);
  EXPECT_THAT(inbox->seen.waitFor(2),
              ElementsAre("async 0 (null)|AirPlayBridge|AirPlayBridge|(null)|(null)",
                          "async 0 |AirPlayBridge|AirPlayBridge||"));
}

TEST_F(CommandBus, KeepsEveryByteButNul) {
  ASSERT_EQ(join(), 0);
  EXPECT_EQ(send(kName, "c\xff\x80", "%s \xc3\x28 \n \x01"), 0);
  EXPECT_THAT(inbox->seen.waitFor(1),
              ElementsAre("async 0 AirPlayBridge|AirPlayBridge|AirPlayBridge|"
                          "c\xff\x80|%s \xc3\x28 \n \x01"));
}

TEST_F(CommandBus, CarriesWhatFillsASocket) {
  ASSERT_EQ(join(), 0);
  const std::string para(kBig, 'x');
  EXPECT_EQ(send(kName, "big", para), 0);
  const std::vector<std::string> seen = inbox->seen.waitFor(1);
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_TRUE(seen[0] == "async 0 AirPlayBridge|AirPlayBridge|AirPlayBridge|big|" + para);
}

TEST_F(CommandBus, HasCopiedTheMessageOnReturn) {
  ASSERT_EQ(join(), 0);
  std::string para = "before";
  const GAM_Message message{"src", kName, nullptr, "cmd", para.data()};
  EXPECT_EQ(GAM_SendCmd(&message), 0);
  para.replace(0, 6, "after!");
  EXPECT_THAT(inbox->seen.waitFor(1),
              ElementsAre("async 0 src|AirPlayBridge|AirPlayBridge|cmd|before"));
}

// ---- Messages in.

TEST_F(CommandBus, BringsAMessageAsItIsToTheCallbackOfItsWay) {
  ASSERT_EQ(join(), 0);
  const Record record{"AirPlayDaemon", "ack", kName, "start", ""};
  set.send(0, record, Way::kAsync);
  set.send(0, record, Way::kSync);
  set.send(3, record, Way::kSync);
  set.send(-1, {std::nullopt, std::nullopt, kName, "bytes \xff", std::nullopt}, Way::kAsync);

  EXPECT_THAT(inbox->seen.waitFor(4),
              ElementsAre("async 0 AirPlayDaemon|ack|AirPlayBridge|start|",
                          "sync 0 AirPlayDaemon|ack|AirPlayBridge|start|",
                          "sync 3 AirPlayDaemon|ack|AirPlayBridge|start|",
                          "async -1 (null)|(null)|AirPlayBridge|bytes \xff|(null)"));
  EXPECT_TRUE(inbox->seen.cameOnOneOtherThread());
}

TEST_F(CommandBus, KeepsTheOrderOfTheSends) {
  ASSERT_EQ(join(), 0);
  std::vector<std::string> expected;
  for (int i = 0; i < 300; ++i) {
    const std::string number = std::to_string(i);
    EXPECT_EQ(send(kName, "cmd", number), 0);
    expected.push_back("async 0 AirPlayBridge|AirPlayBridge|AirPlayBridge|cmd|" + number);
  }
  EXPECT_EQ(inbox->seen.waitFor(300), expected);
  EXPECT_TRUE(inbox->seen.cameOnOneOtherThread());
}

TEST_F(CommandBus, HoldsTheNextMessageWhileACallbackBlocksAndLosesNone) {
  ASSERT_EQ(join(), 0);
  Gate gate;
  inbox->then = [pass = gate.passage()](const GAM_Message&) { pass(); };

  fromDaemon("first", "");
  EXPECT_TRUE(gate.waitForSomeone());
  for (int i = 0; i < 200; ++i) {
    EXPECT_EQ(send(kName, "more", ""), 0) << "a send must not wait for the callback";
  }
  EXPECT_EQ(inbox->seen.all().size(), 1u);
  gate.open();

  EXPECT_EQ(inbox->seen.waitFor(201).size(), 201u);
}

TEST_F(CommandBus, TakesCallsFromWithinACallback) {
  ASSERT_EQ(join(), 0);
  Seen<int> results;
  inbox->then = [&](const GAM_Message& message) {
    if (std::string(message.cmd) == "ask") {
      results.add(send(kName, "answer", "to myself"));
      results.add(send("am", "start", "[nothing]"));
      const GAM_KeyEvent key{};
      results.add(GAM_InjectInputEvent(&key, sizeof key));
    }
  };
  fromDaemon("ask", "");
  EXPECT_THAT(results.waitFor(3), ElementsAre(0, 0, 0));
  EXPECT_EQ(inbox->seen.waitFor(2).back(),
            "async 0 AirPlayBridge|AirPlayBridge|AirPlayBridge|answer|to myself");
}

TEST_F(CommandBus, TakesCallsFromManyThreadsAtOnceAndKeepsTheOrderOfEach) {
  ASSERT_EQ(join(), 0);
  constexpr int kThreads = 4;
  constexpr std::size_t kMessages = 50;
  std::atomic<int> failures{0};
  std::mutex mutex;
  std::array<std::vector<int>, kThreads> arrived;
  inbox->then = [&](const GAM_Message& message) {
    const std::lock_guard lock(mutex);
    arrived.at(static_cast<std::size_t>(std::atoi(message.cmd))).push_back(std::atoi(message.para));
  };
  inThreads(kThreads, [&](int thread) {
    const std::string cmd = std::to_string(thread);
    for (std::size_t i = 0; i < kMessages; ++i) {
      failures += send(kName, cmd.c_str(), std::to_string(i)) != 0;
    }
  });
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(inbox->seen.waitFor(kThreads * kMessages).size(), kThreads * kMessages);
  GAM_ClientUninit();  // the last callback has ended
  for (const std::vector<int>& each : arrived) {
    EXPECT_EQ(each.size(), kMessages);
    EXPECT_TRUE(std::is_sorted(each.begin(), each.end()));
  }
}

// ---- Leaving.

TEST_F(CommandBus, RunsNoCallbackOnceLeft) {
  ASSERT_EQ(join(), 0);
  Gate gate;
  std::atomic<bool> isUnderWay{false};
  std::atomic<bool> wasUnderWayAfterwards{false};
  inbox->then = [&](const GAM_Message&) {
    isUnderWay = true;
    gate.passage()();
    isUnderWay = false;
  };
  fromDaemon("first", "");
  for (int i = 0; i < 50; ++i) {
    fromDaemon("more", "");
  }
  EXPECT_TRUE(gate.waitForSomeone());

  std::size_t seenWhenLeft = 0;
  std::thread leaver([&] {
    GAM_ClientUninit();
    wasUnderWayAfterwards = isUnderWay.load();
    seenWhenLeft = inbox->seen.all().size();
  });
  gate.open();
  leaver.join();
  EXPECT_FALSE(wasUnderWayAfterwards);
  EXPECT_EQ(inbox->seen.all().size(), seenWhenLeft);
}

TEST_F(CommandBus, LetsAClientLeaveFromWithinACallback) {
  ASSERT_EQ(join(), 0);
  Seen<int> results;
  inbox->then = [&](const GAM_Message&) {
    GAM_ClientUninit();
    results.add(send("am", "started", kName));
  };
  fromDaemon("leave", "");
  const std::vector<int> seen = results.waitFor(1);
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_LT(seen[0], 0);
}

// ---- Keys.

TEST_F(CommandBus, InjectsAKey) {
  ASSERT_EQ(join(), 0);
  GAM_KeyEvent key{};
  key.code = 28;
  EXPECT_EQ(GAM_InjectInputEvent(&key, sizeof key), 0);
}

TEST_F(CommandBus, PassesTheStatusOfAFailedInjection) {
  ASSERT_EQ(join(), 0);
  set.failInject(-19);
  const GAM_KeyEvent key{};
  EXPECT_EQ(GAM_InjectInputEvent(&key, sizeof key), -19);
}

TEST_F(CommandBus, RefusesAKeyOfAnotherSize) {
  ASSERT_EQ(join(), 0);
  const GAM_KeyEvent key{};
  EXPECT_THAT(GAM_InjectInputEvent(&key, 75), Lt(0));
}

// ---- Without a set.

TEST_F(CommandBus, FailsAtOnceWhileTheSetIsGoneAndIsJoinedAgainWhenItIsBack) {
  ASSERT_EQ(join(), 0);
  set.die();
  EXPECT_LT(durationOf([] {
              const GAM_KeyEvent key{};
              EXPECT_THAT(send("am", "started", kName), Lt(0));
              EXPECT_THAT(GAM_InjectInputEvent(&key, sizeof key), Lt(0));
            }),
            std::chrono::seconds(2));
  EXPECT_THAT(inbox->seen.all(), IsEmpty());

  set.comeBack();
  EXPECT_TRUE(eventually([] { return send(kName, "back", "") == 0; }));
  EXPECT_THAT(inbox->seen.waitFor(1),
              ElementsAre("async 0 AirPlayBridge|AirPlayBridge|AirPlayBridge|back|"));
}

TEST_F(CommandBus, LetsNobodyJoinWhileTheSetIsGone) {
  set.die();
  EXPECT_LT(durationOf([] { EXPECT_THAT(join(), Lt(0)); }), std::chrono::seconds(2));
  set.comeBack();
  EXPECT_TRUE(eventually([] { return join() == 0; }));
}

}  // namespace
}  // namespace contract
