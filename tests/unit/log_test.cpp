// Log lines: their form, their levels, the limits of their rate and length.
#include "log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "entries.h"
#include "in_memory_tv.h"
#include "one_scenario.h"
#include "virtual_libc.h"

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::StartsWith;

// Runs |act| on several threads at once and gives what each run gave.
template <class Act>
auto onThreads(int threads, Act act) {
  std::promise<void> gate;
  const std::shared_future<void> start = gate.get_future().share();
  std::vector<std::future<decltype(act())>> running;
  for (int i = 0; i < threads; ++i) {
    running.push_back(std::async(std::launch::async, [start, &act] {
      start.wait();
      return act();
    }));
  }
  gate.set_value();
  std::vector<decltype(act())> results;
  for (auto& each : running) {
    results.push_back(each.get());
  }
  return results;
}

// Each call site stands on the one line of its function that the expectations name by |line|.
class TheLog : public OneScenarioPerProcess {
 protected:
  void say(const std::string& message) {
    line = std::to_string(__LINE__ + 1);
    BLOG_INFO("%s", message.c_str());
  }

  void complain() { BLOG_ERROR("No GAM"); }

  void work() {
    line = std::to_string(__LINE__ + 1);
    BLOG_TRACE();
    BLOG_INFO("at work");
  }

  void workInVain() {
    BLOG_TRACE();
    throw std::runtime_error("in vain");
  }

  void sayThrice(const std::string& message) { BLOG_INFO_FIRST(3, "%s", message.c_str()); }
  void alsoSayThrice(const std::string& message) { BLOG_INFO_FIRST(3, "%s", message.c_str()); }
  void complainTwice() { BLOG_ERROR_FIRST(2, "can't start"); }

  // An argument that shows whether it was evaluated.
  int countsItself() { return ++evaluations; }

  InMemoryTv tv;
  VirtualLibc time{tv.history()};
  std::string line;
  int evaluations = 0;
};

// ---- Form

TEST_F(TheLog, PutsTagTimePlaceAndFunctionBeforeTheMessage) {
  time.startRealtimeAt(1700000000s);

  say("Biz is ready.");

  EXPECT_THAT(tv.takeRawLog(), ElementsAre("[B-LOG][1700000000.000000] log_test.cpp:" + line +
                                           ":say(): Biz is ready."));
}

TEST_F(TheLog, TellsTheRealTimeToTheMicrosecond) {
  time.startRealtimeAt(1700000000s);
  time.pass(1234567us);

  say("");

  EXPECT_THAT(tv.takeRawLog(),
              ElementsAre("[B-LOG][1700000001.234567] log_test.cpp:" + line + ":say(): "));
}

TEST_F(TheLog, TellsMinusOneWhenTheRealtimeClockCannotBeRead) {
  time.breakClock(CLOCK_REALTIME);

  say("on we go");

  EXPECT_THAT(tv.takeRawLog(),
              ElementsAre("[B-LOG][-1.000000] log_test.cpp:" + line + ":say(): on we go"));
}

TEST_F(TheLog, TellsTheTimeAlsoWhenTheMonotonicClockCannotBeRead) {
  time.startRealtimeAt(1700000000s);
  time.breakClock(CLOCK_MONOTONIC);

  say("on we go");

  EXPECT_THAT(tv.takeRawLog(), ElementsAre(StartsWith("[B-LOG][1700000000.000000] ")));
}

TEST_F(TheLog, TakesTextFromOutsideAsData) {
  say("100% of %s and %n");

  EXPECT_THAT(tv.take(), ElementsAre("log say: 100% of %s and %n"));
}

TEST_F(TheLog, WritesEntryAndExitOfATracedOperationWithoutTheCommonPrefix) {
  work();

  EXPECT_THAT(
      tv.takeRawLog(),
      ElementsAre("[TRACE -> B-LOG(IN)] log_test.cpp:" + line + ":work() ", StartsWith("[B-LOG]["),
                  "[TRACE <- B-LOG(OUT)] log_test.cpp:" + line + ":work() "));
}

TEST_F(TheLog, WritesTheExitAlsoWhenAnOperationThrows) {
  EXPECT_THROW(workInVain(), std::runtime_error);

  EXPECT_THAT(tv.take(), ElementsAre("IN workInVain", "OUT workInVain"));
}

// ---- Length

// The length of the line of say(), without its message.
class TheLengthOfALine : public TheLog {
 protected:
  std::size_t prefixOfSay() {
    say("");
    return firstOf(tv.takeRawLog()).size();
  }
};

TEST_F(TheLengthOfALine, MayBeFourKilobytesLessTheNulAtItsEnd) {
  const std::string message(4095 - prefixOfSay(), 'x');

  say(message);

  EXPECT_THAT(tv.takeOnly({"log"}), ElementsAre("log say: ", "log say: " + message));
}

TEST_F(TheLengthOfALine, IsCutAtTheEndOfTheMessage) {
  const std::string message(4095 - prefixOfSay(), 'x');

  say(message + "y");

  EXPECT_THAT(tv.takeOnly({"log"}), ElementsAre("log say: ", "log say: " + message));
}

TEST_F(TheLengthOfALine, IsCutHoweverLongTheMessageIs) {
  say(std::string(1'000'000, 'x'));

  EXPECT_EQ(firstOf(tv.takeRawLog()).size(), 4095u);
}

// ---- Levels

TEST_F(TheLog, HasThreeLevels) {
  complain();
  work();

  EXPECT_THAT(tv.take(),
              ElementsAre("ERR complain: No GAM", "IN work", "log work: at work", "OUT work"));
}

TEST_F(TheLog, LeavesTracesOutAtInfoLevel) {
  tv.logLevel(CSP_DEBUG_INFO);

  complain();
  work();

  EXPECT_THAT(tv.take(), ElementsAre("ERR complain: No GAM", "log work: at work"));
}

TEST_F(TheLog, LeavesAllButErrorsOutAtErrorLevel) {
  tv.logLevel(CSP_DEBUG_ERROR);

  complain();
  work();

  EXPECT_THAT(tv.take(), ElementsAre("ERR complain: No GAM"));
}

TEST_F(TheLog, DoesNotEvaluateTheArgumentsOfALineThatIsNotWanted) {
  tv.logLevel(CSP_DEBUG_ERROR);

  BLOG_INFO("%d", countsItself());

  EXPECT_EQ(evaluations, 0);
}

TEST_F(TheLog, EvaluatesTheArgumentsOfALineOnce) {
  BLOG_INFO("%d", countsItself());

  EXPECT_EQ(evaluations, 1);
}

// ---- Rate

TEST_F(TheLog, FallsSilentAtALimitedSiteAfterANoticeThatSaysSo) {
  sayThrice("one");
  sayThrice("two");
  sayThrice("three");
  sayThrice("four");
  sayThrice("five");

  EXPECT_THAT(tv.take(),
              ElementsAre("log sayThrice: one", "log sayThrice: two", "log sayThrice: three",
                          "log sayThrice: This log is Limit to  3 times, ignore further logs. "));
}

TEST_F(TheLog, GivesTheNoticeRightAfterTheLastLineAndNotWithTheNext) {
  complainTwice();
  EXPECT_THAT(tv.take(), ElementsAre("ERR complainTwice: can't start"));

  complainTwice();
  EXPECT_THAT(
      tv.take(),
      ElementsAre("ERR complainTwice: can't start",
                  "ERR complainTwice: This log is Limit to  2 times, ignore further logs. "));
}

TEST_F(TheLog, CountsForEachSiteAlone) {
  sayThrice("one");
  sayThrice("two");
  sayThrice("three");
  tv.take();

  alsoSayThrice("one");

  EXPECT_THAT(tv.take(), ElementsAre("log alsoSayThrice: one"));
}

TEST_F(TheLog, CountsLinesThatTheirLevelHoldsBack) {
  tv.logLevel(CSP_DEBUG_ERROR);
  sayThrice("one");
  sayThrice("two");
  tv.logLevel(CSP_DEBUG_INFO);
  sayThrice("three");
  sayThrice("four");

  EXPECT_THAT(tv.take(),
              ElementsAre("log sayThrice: three",
                          "log sayThrice: This log is Limit to  3 times, ignore further logs. "));
}

TEST_F(TheLog, HoldsTheNoticeBackWithItsLine) {
  tv.logLevel(CSP_DEBUG_ERROR);
  sayThrice("one");
  sayThrice("two");
  sayThrice("three");
  tv.logLevel(CSP_DEBUG_VERBOSE);
  sayThrice("four");

  EXPECT_THAT(tv.take(), IsEmpty());
}

TEST_F(TheLog, EvaluatesTheArgumentsOfALimitedSiteOnlyWhileItSpeaks) {
  const auto sayNumber = [this] { BLOG_INFO_FIRST(2, "%d", countsItself()); };

  sayNumber();
  sayNumber();
  sayNumber();

  EXPECT_EQ(evaluations, 2);
}

TEST_F(TheLog, CountsForTheWholeProcessWhicheverThreadSpeaks) {
  onThreads(4, [this] {
    sayThrice("again");
    sayThrice("again");
    return 0;
  });

  Entries lines = tv.take();
  std::sort(lines.begin(), lines.end());
  EXPECT_THAT(lines,
              ElementsAre("log sayThrice: This log is Limit to  3 times, ignore further logs. ",
                          "log sayThrice: again", "log sayThrice: again", "log sayThrice: again"));
}

// The limits that the service uses.
template <int kTimes>
void limitedSite() {
  BLOG_INFO_FIRST(kTimes, "again");
}

struct Limit {
  int times;
  void (*speak)();
};

void PrintTo(const Limit& limit, std::ostream* out) { *out << limit.times << " times"; }

class ALimitedSite : public OneScenarioPerProcess, public ::testing::WithParamInterface<Limit> {
 protected:
  // What |times| calls write.
  Entries speaks(int times) {
    for (int i = 0; i < times; ++i) {
      GetParam().speak();
    }
    return tv.takeLog();
  }

  InMemoryTv tv;
};

TEST_P(ALimitedSite, SpeaksAsOftenAsItMayAndThenSaysWhyNoMore) {
  Entries expected(static_cast<std::size_t>(GetParam().times), "log limitedSite: again");
  expected.push_back("log limitedSite: This log is Limit to  " + std::to_string(GetParam().times) +
                     " times, ignore further logs. ");

  EXPECT_THAT(speaks(GetParam().times + 5), ElementsAreArray(expected));
}

INSTANTIATE_TEST_SUITE_P(OfTheService, ALimitedSite,
                         ::testing::Values(Limit{3, limitedSite<3>}, Limit{5, limitedSite<5>},
                                           Limit{10, limitedSite<10>}, Limit{20, limitedSite<20>},
                                           Limit{30, limitedSite<30>}),
                         [](const auto& row) {
                           return "Of" + std::to_string(row.param.times) + "Times";
                         });

// ---- The counter itself

TEST(AnAllowance, NumbersItsCallsFromOneAndThenGivesZero) {
  norvale::log::Allowance allowance(2);

  EXPECT_EQ(allowance.take(), 1);
  EXPECT_EQ(allowance.take(), 2);
  EXPECT_EQ(allowance.take(), 0);
  EXPECT_EQ(allowance.take(), 0);
}

TEST(AnAllowance, GivesEachNumberToOneThreadAlone) {
  constexpr int kLimit = 600'000;
  norvale::log::Allowance allowance(kLimit);

  const auto taken = onThreads(4, [&allowance] {
    std::vector<int> numbers(200'000);
    std::generate(numbers.begin(), numbers.end(), [&allowance] { return allowance.take(); });
    return numbers;
  });

  std::vector<int> timesGiven(kLimit + 1);
  for (const std::vector<int>& numbers : taken) {
    for (const int number : numbers) {
      ++timesGiven.at(static_cast<std::size_t>(number));
    }
  }
  std::vector<int> expected(kLimit + 1, 1);
  expected[0] = 200'000;
  EXPECT_TRUE(timesGiven == expected);
}

}  // namespace
