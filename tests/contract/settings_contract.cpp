// What the service may count on of the settings model.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "set_under_test.h"
#include "settings_access.h"
#include "waiting.h"

namespace contract {
namespace {

using lomodelapi::ObserverNumericInteger;
using lomodelapi::ObserverString;
using lomodelapi::ObserverVectorString;
using norvale::system::access::ActionAccess;
using norvale::system::access::ActionArgument;
using norvale::system::access::ActionHandler;
using norvale::system::access::ValueAccessT;
using norvale::system::access::ValueHandler;
using norvale::system::access::ValueObject;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Lt;

using IntegerAccess = ValueAccessT<ObserverNumericInteger>;
using TextAccess = ValueAccessT<ObserverString>;
using ListAccess = ValueAccessT<ObserverVectorString>;

constexpr char kInteger[] = "torvo.sl2.i32.system.open.from.standby";
constexpr char kOtherInteger[] = "torvo.sl2.i32.system.audio.only";
constexpr char kText[] = "torvo.sl2.str.source.app.status";
constexpr char kList[] = "torvo.sl2.vstr.app.setting.airplay.status";
constexpr char kBarrier[] = "torvo.sl2.i32.system.lasertv.enable";
constexpr char kSendKey[] = "torvo.sl2.system.action.send.key";
constexpr char kUnknown[] = "torvo.sl2.i32.no.such.key";
constexpr int kTimeoutMs = 1000;

// Keeps what it hears, and then does what the case wants.
class Listener : public ValueHandler {
 public:
  void onValueChanged(const ValueObject& value) override {
    heard.add(value.toString());
    if (then) {
      then(value);
    }
  }

  Seen<std::string> heard;
  std::function<void(const ValueObject&)> then;
};

class Settings : public ::testing::Test {
 protected:
  Settings() {
    set.change(kInteger, 1);
    set.change(kOtherInteger, 0);
    set.change(kText, std::string("text"));
    set.change(kList, Texts{"a", "b"});
    settle();
  }
  ~Settings() override { set.endFaults(); }

  // Returns when the news of all writes so far has been delivered: a handler that is connected next
  // hears of later ones alone. (News under way at the time of a connect may still reach it.)
  void settle() {
    static int mark = 0;
    const auto witness = std::make_shared<Listener>();
    IntegerAccess barrier(kBarrier, witness);
    ASSERT_TRUE(eventually([&] { return barrier.connect(kTimeoutMs) == 0; }));
    set.change(kBarrier, ++mark);
    ASSERT_TRUE(witness->heard.waitUntil(std::to_string(mark)));
  }

  SetUnderTest& set = theSet();
};

// ---- Reading and writing.

TEST_F(Settings, AreReadAsTheSetHoldsThem) {
  IntegerAccess integer(kInteger);
  TextAccess text(kText);
  ListAccess list(kList);
  int number = -1;
  std::string words;
  Texts items{"what was there before"};

  EXPECT_EQ(integer.get(number), 0);
  EXPECT_EQ(text.get(words), 0);
  EXPECT_EQ(list.get(items), 0);

  EXPECT_EQ(number, 1);
  EXPECT_EQ(words, "text");
  EXPECT_THAT(items, ElementsAre("a", "b"));
}

TEST_F(Settings, AreNeverStale) {
  IntegerAccess integer(kInteger);
  for (int round = 0; round < 100; ++round) {
    set.change(kInteger, round);
    int number = -1;
    ASSERT_EQ(integer.get(number), 0);
    ASSERT_EQ(number, round);
  }
}

TEST_F(Settings, HoldEveryIntegerOf32Bits) {
  IntegerAccess integer(kInteger);
  for (const int written : {0, -1, INT_MIN, INT_MAX}) {
    int number = 7;
    EXPECT_EQ(integer.set(written), 0);
    EXPECT_EQ(integer.get(number), 0);
    EXPECT_EQ(number, written);
  }
}

TEST_F(Settings, HoldEveryTextWithoutNul) {
  TextAccess text(kText);
  const std::string big(kBig, 'x');
  for (const std::string& written : {std::string(), std::string("%s \"quoted\"\n"),
                                     std::string("bad \xff\xfe\x80 bytes"), big}) {
    std::string read = "before";
    EXPECT_EQ(text.set(written), 0);
    EXPECT_EQ(text.get(read), 0);
    EXPECT_TRUE(read == written) << "of " << written.size() << " bytes";
  }
}

TEST_F(Settings, HoldEveryList) {
  ListAccess list(kList);
  for (const Texts& written : {Texts{}, Texts{""}, Texts{"", "", "\xff"}, Texts(1000, "item")}) {
    Texts read{"before"};
    EXPECT_EQ(list.set(written), 0);
    EXPECT_EQ(list.get(read), 0);
    EXPECT_EQ(read, written);
  }
}

TEST_F(Settings, HaveOnReturnWhatWasWritten) {
  IntegerAccess(kInteger).set(42);
  TextAccess(kText).set("written");
  ListAccess(kList).set({"stopping", "currentSource"});

  EXPECT_EQ(set.value(kInteger), Value(42));
  EXPECT_EQ(set.value(kText), Value(std::string("written")));
  EXPECT_EQ(set.value(kList), Value(Texts{"stopping", "currentSource"}));
}

// ---- Failure.

TEST_F(Settings, OfAnUnknownKeyFailAndLeaveTheArgument) {
  IntegerAccess integer(kUnknown);
  TextAccess text(kUnknown);
  ListAccess list(kUnknown);
  int number = 5;
  std::string words = "before";
  Texts items{"before"};

  EXPECT_EQ(integer.get(number), -ENOENT);
  EXPECT_EQ(text.get(words), -ENOENT);
  EXPECT_EQ(list.get(items), -ENOENT);
  EXPECT_EQ(integer.set(1), -ENOENT);
  EXPECT_EQ(text.set("x"), -ENOENT);
  EXPECT_EQ(list.set({"x"}), -ENOENT);
  EXPECT_EQ(integer.connect(kTimeoutMs), -ENOENT);

  EXPECT_EQ(number, 5);
  EXPECT_EQ(words, "before");
  EXPECT_THAT(items, ElementsAre("before"));
}

TEST_F(Settings, OfAnotherKindFailAndLeaveTheArgument) {
  IntegerAccess integer(kText);
  TextAccess text(kInteger);
  ListAccess list(kText);
  int number = 5;
  std::string words = "before";
  Texts items{"before"};

  EXPECT_EQ(integer.get(number), -EINVAL);
  EXPECT_EQ(text.get(words), -EINVAL);
  EXPECT_EQ(list.get(items), -EINVAL);
  EXPECT_EQ(integer.set(2), -EINVAL);
  EXPECT_EQ(text.set("x"), -EINVAL);
  EXPECT_EQ(list.set({"x"}), -EINVAL);

  EXPECT_EQ(number, 5);
  EXPECT_EQ(words, "before");
  EXPECT_THAT(items, ElementsAre("before"));
  EXPECT_EQ(set.value(kText), Value(std::string("text")));
  EXPECT_EQ(set.value(kInteger), Value(1));
}

TEST_F(Settings, PassTheStatusOfAFailedReadAndLeaveTheArgument) {
  set.failRead(kInteger, -5);
  set.failRead(kText, 17);
  set.failRead(kList, -71);
  int number = 5;
  std::string words = "before";
  Texts items{"before"};

  EXPECT_EQ(IntegerAccess(kInteger).get(number), -5);
  EXPECT_EQ(TextAccess(kText).get(words), 17);
  EXPECT_EQ(ListAccess(kList).get(items), -71);

  EXPECT_EQ(number, 5);
  EXPECT_EQ(words, "before");
  EXPECT_THAT(items, ElementsAre("before"));
}

TEST_F(Settings, AreReadAgainOnceTheFaultHasGone) {
  IntegerAccess integer(kInteger);
  int number = 5;
  set.failRead(kInteger, -5);
  EXPECT_EQ(integer.get(number), -5);
  set.endFaults();
  EXPECT_EQ(integer.get(number), 0);
  EXPECT_EQ(number, 1);
}

TEST_F(Settings, KeepTheirValueWhenAWriteFailsAndTellNobody) {
  const auto listener = std::make_shared<Listener>();
  IntegerAccess integer(kInteger, listener);
  ASSERT_EQ(integer.connect(kTimeoutMs), 0);
  set.failWrite(kInteger, -28);

  EXPECT_EQ(integer.set(2), -28);
  EXPECT_EQ(set.value(kInteger), Value(1));

  set.endFaults();
  EXPECT_EQ(integer.set(3), 0);
  EXPECT_THAT(listener->heard.waitFor(1), ElementsAre("3"));
}

TEST_F(Settings, FailAtOnceWhileTheSetIsGoneAndWorkWhenItIsBack) {
  IntegerAccess integer(kInteger);
  TextAccess text(kText);
  int number = 5;
  std::string words = "before";
  set.die();

  EXPECT_LT(durationOf([&] {
              EXPECT_THAT(integer.get(number), Lt(0));
              EXPECT_THAT(text.get(words), Lt(0));
              EXPECT_THAT(integer.set(2), Lt(0));
            }),
            std::chrono::seconds(2));
  EXPECT_EQ(number, 5);
  EXPECT_EQ(words, "before");

  set.comeBack();
  EXPECT_TRUE(eventually([&] { return integer.get(number) == 0; }));
  EXPECT_EQ(number, 1);
}

// ---- Observing.

TEST_F(Settings, TellTheHandlerOfEveryWriteByWhomeverInOrderOnOneThread) {
  const auto listener = std::make_shared<Listener>();
  IntegerAccess integer(kInteger, listener);
  IntegerAccess unrelated(kInteger);
  ASSERT_EQ(integer.connect(kTimeoutMs), 0);

  set.change(kInteger, 10);
  EXPECT_EQ(integer.set(11), 0);
  EXPECT_EQ(unrelated.set(12), 0);
  set.change(kInteger, 12);  // which changes nothing
  set.change(kInteger, 13);

  EXPECT_THAT(listener->heard.waitFor(5), ElementsAre("10", "11", "12", "12", "13"));
  EXPECT_TRUE(listener->heard.cameOnOneOtherThread());
}

TEST_F(Settings, TellTheHandlerNothingBeforeItIsConnected) {
  const auto listener = std::make_shared<Listener>();
  IntegerAccess integer(kInteger, listener);

  set.change(kInteger, 20);
  settle();
  ASSERT_EQ(integer.connect(kTimeoutMs), 0);
  set.change(kInteger, 21);

  EXPECT_THAT(listener->heard.waitFor(1), ElementsAre("21"));
}

TEST_F(Settings, TellTheHandlerOnceHoweverOftenItIsConnected) {
  const auto listener = std::make_shared<Listener>();
  IntegerAccess integer(kInteger, listener);
  EXPECT_EQ(integer.connect(kTimeoutMs), 0);
  EXPECT_EQ(integer.connect(kTimeoutMs), 0);
  set.failConnect(kInteger, -5);
  EXPECT_EQ(integer.connect(kTimeoutMs), 0) << "it is connected";

  set.change(kInteger, 30);
  set.change(kInteger, 31);

  EXPECT_THAT(listener->heard.waitFor(2), ElementsAre("30", "31"));
}

TEST_F(Settings, PassTheStatusOfAFailedConnectAndMayBeConnectedLater) {
  const auto listener = std::make_shared<Listener>();
  IntegerAccess integer(kInteger, listener);
  set.failConnect(kInteger, -5);
  EXPECT_EQ(integer.connect(kTimeoutMs), -5);
  set.change(kInteger, 40);
  settle();

  set.endFaults();
  EXPECT_EQ(integer.connect(kTimeoutMs), 0);
  set.change(kInteger, 41);

  EXPECT_THAT(listener->heard.waitFor(1), ElementsAre("41"));
}

TEST_F(Settings, AreConnectedWithoutAHandlerToNoEffect) {
  IntegerAccess integer(kInteger);
  EXPECT_EQ(integer.connect(kTimeoutMs), 0);
  set.change(kInteger, 50);
  int number = 0;
  EXPECT_EQ(integer.get(number), 0);
  EXPECT_EQ(number, 50);
}

TEST_F(Settings, BringEveryKindToTheHandler) {
  const auto listener = std::make_shared<Listener>();
  Seen<int> numbers;
  listener->then = [&](const ValueObject& value) { numbers.add(value.toInt()); };
  IntegerAccess integer(kInteger, listener);
  TextAccess text(kText, listener);
  ListAccess list(kList, listener);
  ASSERT_EQ(integer.connect(kTimeoutMs), 0);
  ASSERT_EQ(text.connect(kTimeoutMs), 0);
  ASSERT_EQ(list.connect(kTimeoutMs), 0);

  integer.set(-60);
  text.set("bad \xff bytes");
  text.set("");
  list.set({"a"});

  EXPECT_THAT(numbers.waitFor(4), ElementsAre(-60, 0, 0, 0));
  EXPECT_THAT(listener->heard.all(), ElementsAre("-60", "bad \xff bytes", "", ""));
}

TEST_F(Settings, CallNoHandlerInsideACallOfTheService) {
  const auto listener = std::make_shared<Listener>();
  Gate gate;
  listener->then = [pass = gate.passage()](const ValueObject&) { pass(); };
  IntegerAccess integer(kInteger, listener);
  ASSERT_EQ(integer.connect(kTimeoutMs), 0);

  // Each call returns although the handler does not.
  EXPECT_EQ(integer.set(70), 0);
  EXPECT_TRUE(gate.waitForSomeone());
  EXPECT_EQ(integer.set(71), 0);
  set.change(kInteger, 72);
  int number = 0;
  EXPECT_EQ(integer.get(number), 0);
  EXPECT_EQ(number, 72);
  EXPECT_THAT(listener->heard.all(), ElementsAre("70"));

  gate.open();
  EXPECT_THAT(listener->heard.waitFor(3), ElementsAre("70", "71", "72"));
  EXPECT_TRUE(listener->heard.cameOnOneOtherThread());
}

TEST_F(Settings, CallOneHandlerAtATime) {
  std::atomic<int> underWay{0};
  std::atomic<bool> overlapped{false};
  const auto count = [&](const ValueObject&) {
    overlapped = overlapped || ++underWay > 1;
    std::this_thread::yield();
    --underWay;
  };
  const auto first = std::make_shared<Listener>();
  const auto second = std::make_shared<Listener>();
  first->then = count;
  second->then = count;
  IntegerAccess integer(kInteger, first);
  IntegerAccess other(kOtherInteger, second);
  ASSERT_EQ(integer.connect(kTimeoutMs), 0);
  ASSERT_EQ(other.connect(kTimeoutMs), 0);

  for (int round = 0; round < 50; ++round) {
    set.change(kInteger, round);
    set.change(kOtherInteger, round);
  }

  EXPECT_EQ(first->heard.waitFor(50).size(), 50u);
  EXPECT_EQ(second->heard.waitFor(50).size(), 50u);
  EXPECT_FALSE(overlapped);
}

TEST_F(Settings, TellTwoHandlersOfOneKey) {
  const auto first = std::make_shared<Listener>();
  const auto second = std::make_shared<Listener>();
  IntegerAccess one(kInteger, first);
  IntegerAccess two(kInteger, second);
  ASSERT_EQ(one.connect(kTimeoutMs), 0);
  ASSERT_EQ(two.connect(kTimeoutMs), 0);

  set.change(kInteger, 80);

  EXPECT_THAT(first->heard.waitFor(1), ElementsAre("80"));
  EXPECT_THAT(second->heard.waitFor(1), ElementsAre("80"));
}

TEST_F(Settings, MayBeReadAndWrittenFromWithinAHandler) {
  const auto listener = std::make_shared<Listener>();
  IntegerAccess other(kOtherInteger);
  Seen<int> results;
  listener->then = [&](const ValueObject& value) {
    int read = -1;
    results.add(other.set(value.toInt() + 1));
    results.add(other.get(read));
    results.add(read);
  };
  IntegerAccess integer(kInteger, listener);
  ASSERT_EQ(integer.connect(kTimeoutMs), 0);

  set.change(kInteger, 90);

  EXPECT_THAT(results.waitFor(3), ElementsAre(0, 0, 91));
}

TEST_F(Settings, MayBeOpenedConnectedAndClosedFromWithinAHandler) {
  const auto inner = std::make_shared<Listener>();
  const auto outer = std::make_shared<Listener>();
  Seen<int> results;
  std::unique_ptr<IntegerAccess> opened;
  auto integer = std::make_unique<IntegerAccess>(kInteger, outer);
  outer->then = [&](const ValueObject&) {
    opened = std::make_unique<IntegerAccess>(kOtherInteger, inner);
    results.add(opened->connect(kTimeoutMs));
    results.add(opened->set(101));
    integer.reset();  // its own
    results.add(0);
  };
  ASSERT_EQ(integer->connect(kTimeoutMs), 0);

  set.change(kInteger, 100);

  EXPECT_THAT(results.waitFor(3), ElementsAre(0, 0, 0));
  EXPECT_THAT(inner->heard.waitFor(1), ElementsAre("101"));
  set.change(kInteger, 102);
  set.change(kOtherInteger, 103);
  EXPECT_THAT(inner->heard.waitFor(2), ElementsAre("101", "103"));
  EXPECT_THAT(outer->heard.all(), ElementsAre("100"));
}

TEST_F(Settings, WaitForTheHandlersEndWhenTheyAreClosed) {
  const auto listener = std::make_shared<Listener>();
  Gate gate;
  std::atomic<bool> isUnderWay{false};
  std::atomic<bool> wasUnderWayAfterwards{false};
  listener->then = [&](const ValueObject&) {
    isUnderWay = true;
    gate.passage()();
    isUnderWay = false;
  };
  auto integer = std::make_unique<IntegerAccess>(kInteger, listener);
  ASSERT_EQ(integer->connect(kTimeoutMs), 0);
  set.change(kInteger, 110);
  EXPECT_TRUE(gate.waitForSomeone());

  std::thread closer([&] {
    integer.reset();
    wasUnderWayAfterwards = isUnderWay.load();
  });
  gate.open();
  closer.join();

  EXPECT_FALSE(wasUnderWayAfterwards);
}

TEST_F(Settings, TellNoHandlerOfWhatCameBeforeAndIsNotYetDeliveredOnceClosed) {
  const auto blocking = std::make_shared<Listener>();
  const auto closed = std::make_shared<Listener>();
  const auto last = std::make_shared<Listener>();
  Gate gate;
  blocking->then = [pass = gate.passage()](const ValueObject&) { pass(); };
  IntegerAccess blocker(kOtherInteger, blocking);
  auto integer = std::make_unique<IntegerAccess>(kInteger, closed);
  IntegerAccess witness(kInteger, last);
  ASSERT_EQ(blocker.connect(kTimeoutMs), 0);
  ASSERT_EQ(integer->connect(kTimeoutMs), 0);
  ASSERT_EQ(witness.connect(kTimeoutMs), 0);

  set.change(kOtherInteger, 1);
  EXPECT_TRUE(gate.waitForSomeone());
  set.change(kInteger, 120);
  integer.reset();  // while another's handler is under way
  gate.open();

  EXPECT_THAT(last->heard.waitFor(1), ElementsAre("120"));
  EXPECT_THAT(closed->heard.all(), IsEmpty());
}

TEST_F(Settings, AreObservedAgainWhenTheSetIsBack) {
  const auto listener = std::make_shared<Listener>();
  IntegerAccess integer(kInteger, listener);
  ASSERT_EQ(integer.connect(kTimeoutMs), 0);

  set.die();
  set.comeBack();

  EXPECT_TRUE(eventually([&] {
    set.change(kInteger, 130);
    return !listener->heard.all().empty();
  }));
  EXPECT_TRUE(listener->heard.cameOnOneOtherThread());
}

TEST_F(Settings, GiveUpAConnectInTimeWhileTheSetIsGone) {
  const auto listener = std::make_shared<Listener>();
  IntegerAccess integer(kInteger, listener);
  set.die();

  EXPECT_LT(durationOf([&] { EXPECT_THAT(integer.connect(300), Lt(0)); }), std::chrono::seconds(2));
  set.comeBack();

  EXPECT_TRUE(eventually([&] { return integer.connect(kTimeoutMs) == 0; }));
  set.change(kInteger, 140);
  EXPECT_THAT(listener->heard.waitFor(1), ElementsAre("140"));
}

// ---- At once.

TEST_F(Settings, TakeCallsFromManyThreadsAtOnce) {
  std::atomic<int> failures{0};
  inThreads(4, [&](int thread) {
    IntegerAccess integer(thread % 2 == 0 ? kInteger : kOtherInteger);
    TextAccess text(kText);
    for (int round = 0; round < 100; ++round) {
      int number = -1;
      std::string words;
      failures += integer.set(round) != 0;
      failures += integer.get(number) != 0;
      failures += number < 0;
      failures += text.get(words) != 0;
      failures += words != "text";
    }
  });
  EXPECT_EQ(failures, 0);
}

// ---- Values, as handlers get them.

TEST(AValueObject, IsAnInteger) {
  EXPECT_EQ(ValueObject(-7).toInt(), -7);
  EXPECT_EQ(ValueObject(-7).toString(), "-7");
}

TEST(AValueObject, IsAText) {
  EXPECT_EQ(ValueObject(std::string("12")).toInt(), 0);
  EXPECT_EQ(ValueObject(std::string("12")).toString(), "12");
}

TEST(AValueObject, IsAList) {
  EXPECT_EQ(ValueObject(Texts{"12"}).toInt(), 0);
  EXPECT_EQ(ValueObject(Texts{"12"}).toString(), "");
}

// ---- Actions.

class Outcome : public ActionHandler {
 public:
  void onActionResult(const ValueObject&) override { seen.add("done"); }
  void onActionFailed(int status) override { seen.add("failed " + std::to_string(status)); }

  Seen<std::string> seen;
};

std::vector<ActionArgument> key(const char* name) { return {{ActionArgument::Type::kText, name}}; }

TEST_F(Settings, CarryOutAnActionAndTellItsHandler) {
  const auto outcome = std::make_shared<Outcome>();
  ActionAccess action(kSendKey, outcome);
  int result = -2;

  EXPECT_EQ(action.invoke(key("KEY_MUTE"), result), 0);

  EXPECT_EQ(result, 0);
  EXPECT_THAT(outcome->seen.waitFor(1), ElementsAre("done"));
  EXPECT_TRUE(outcome->seen.cameOnOneOtherThread());
}

TEST_F(Settings, RefuseAnUnknownActionAndLeaveTheResult) {
  const auto outcome = std::make_shared<Outcome>();
  ActionAccess action("torvo.sl2.system.action.no.such", outcome);
  int result = -2;

  EXPECT_EQ(action.invoke(key("KEY_MUTE"), result), -ENOENT);

  EXPECT_EQ(result, -2);
  EXPECT_THAT(outcome->seen.all(), IsEmpty());
}

TEST_F(Settings, TakeOnAnActionThatFailsLater) {
  const auto outcome = std::make_shared<Outcome>();
  ActionAccess action(kSendKey, outcome);
  int result = -2;

  EXPECT_EQ(action.invoke(key("no key"), result), 0);

  EXPECT_EQ(result, 0);
  EXPECT_THAT(outcome->seen.waitFor(1), ElementsAre("failed -22"));
}

TEST_F(Settings, PassTheStatusOfAFailedInvokeAndLeaveTheResult) {
  const auto outcome = std::make_shared<Outcome>();
  ActionAccess action(kSendKey, outcome);
  int result = -2;
  set.failInvoke(-5);

  EXPECT_EQ(action.invoke(key("KEY_MUTE"), result), -5);
  EXPECT_EQ(result, -2);

  set.endFaults();
  EXPECT_EQ(action.invoke(key("KEY_MUTE"), result), 0);
  EXPECT_THAT(outcome->seen.waitFor(1), ElementsAre("done"));
}

TEST_F(Settings, FailAnActionWhileTheSetIsGone) {
  const auto outcome = std::make_shared<Outcome>();
  ActionAccess action(kSendKey, outcome);
  int result = -2;
  set.die();

  // At once, or where the set was just being lost, by the handler.
  EXPECT_LT(durationOf([&] {
              EXPECT_TRUE(action.invoke(key("KEY_MUTE"), result) < 0 ||
                          outcome->seen.waitUntil("failed -19"));
            }),
            std::chrono::seconds(2));

  set.comeBack();
  EXPECT_TRUE(eventually([&] { return action.invoke(key("KEY_MUTE"), result) == 0; }));
  EXPECT_TRUE(outcome->seen.waitUntil("done"));
}

}  // namespace
}  // namespace contract
