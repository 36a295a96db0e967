#include "set/journal.h"

#include <gmock/gmock.h>

#include <optional>

#include "recorded_set.h"
#include "set/refusal.h"

namespace benchtv {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

class AJournal : public ::testing::Test {
 protected:
  // The set is killed and started again.
  void restart() {
    journal.reset();
    journal.emplace(folder.path());
  }

  std::vector<JournalEntry> entries() {
    std::vector<JournalEntry> all;
    std::ifstream file(folder.path(kJournalFile));
    for (std::string line; std::getline(file, line);) {
      all.push_back(*parseJournalLine(line));
    }
    return all;
  }

  TemporaryFolder folder;
  std::optional<Journal> journal{folder.path()};
};

TEST_F(AJournal, NumbersItsLinesWithoutGapsAndNeverGoesBackInTime) {
  journal->write("marker", {{"path", "/a"}, {"present", true}});
  journal->write("key", {{"code", 113}, {"status", 0}});
  restart();
  journal->write("key", {{"code", 114}, {"status", -5}});

  EXPECT_THAT(journalOf(folder), ElementsAre(R"(marker path="/a" present=true)",
                                             "key code=113 status=0", "key code=114 status=-5"));
  const auto all = entries();
  EXPECT_EQ(all[0].seq, 1U);
  EXPECT_EQ(all[1].seq, 2U);
  EXPECT_EQ(all[2].seq, 3U);
  EXPECT_LE(all[0].micros, all[1].micros);
  EXPECT_LE(all[1].micros, all[2].micros);
}

TEST_F(AJournal, GoesOnFromALaterTimeThanNow) {
  folder.append(kJournalFile, "{\"seq\":7,\"t\":99999999999.25,\"kind\":\"key\"}\n");
  restart();
  journal->write("key", {});

  EXPECT_EQ(entries().back().seq, 8U);
  EXPECT_EQ(entries().back().micros, 99999999999250000);
}

TEST_F(AJournal, BeginsALineWithNumberTimeAndKind) {
  EXPECT_EQ(journalLine(12, 5'000'042, "bus", {{"para", Json::Value()}, {"cmd", "a\"b"}}),
            "{\"seq\":12,\"t\":5.000042,\"kind\":\"bus\",\"para\":null,\"cmd\":\"a\\\"b\"}\n");
}

TEST_F(AJournal, TakesInTheServiceLogBeforeAnyOtherLine) {
  folder.append("service.log", "first\n");
  journal->write("key", {});
  folder.append("service.log", "second\n");
  journal->takeServiceLog();

  EXPECT_THAT(journalOf(folder), ElementsAre(R"(log source="service" text="first")", "key",
                                             R"(log source="service" text="second")"));
}

TEST_F(AJournal, TakesInEachLineOfTheServiceLogOnceAlsoAfterARestart) {
  folder.append("service.log", "one\ntwo\nhal");
  journal->takeServiceLog();
  folder.append("service.log", "f\nthree\n");
  restart();
  journal->takeServiceLog();
  restart();
  journal->takeServiceLog();

  EXPECT_THAT(
      journalOf(folder),
      ElementsAre(R"(log source="service" text="one")", R"(log source="service" text="two")",
                  R"(log source="service" text="half")", R"(log source="service" text="three")"));
}

TEST_F(AJournal, ForgetsALineInWhoseMiddleTheSetWasKilled) {
  journal->write("key", {{"code", 1}});
  folder.append(kJournalFile, R"({"seq":2,"t":1.0,"kind":"ke)");
  restart();
  journal->write("key", {{"code", 2}});

  EXPECT_THAT(journalOf(folder), ElementsAre("key code=1", "key code=2"));
  EXPECT_EQ(entries().back().seq, 2U);
}

TEST_F(AJournal, CountsErrorsAlsoThoseOfAnEarlierLife) {
  journal->error("mdnsd", "ended by signal 11");
  restart();
  EXPECT_EQ(journal->errors(), 1U);
  journal->error("set", "again");
  EXPECT_EQ(journal->errors(), 2U);
  EXPECT_THAT(journalOf(folder), ElementsAre(R"(error source="mdnsd" text="ended by signal 11")",
                                             R"(error source="set" text="again")"));
}

TEST_F(AJournal, IsNotMisledByTextFromOutside) {
  journal->write("bus", {{"cmd", R"("kind":"error","kind":"log")"}});
  folder.append("service.log", "one\n");
  restart();
  journal->takeServiceLog();

  EXPECT_EQ(journal->errors(), 0U);
  EXPECT_THAT(journalOf(folder).back(), R"(log source="service" text="one")");
}

TEST_F(AJournal, KnowsWhichProcessesWereRunningWhenTheSetEnded) {
  journal->write("process", {{"op", "start"}, {"name", "mdnsd"}, {"pid", 7}});
  journal->write("process", {{"op", "start"}, {"name", "airplaydemo"}, {"pid", 8}});
  journal->write("process", {{"op", "end"}, {"name", "mdnsd"}, {"pid", 7}, {"status", -9}});
  EXPECT_THAT(journal->leftRunning(), IsEmpty());
  restart();
  EXPECT_THAT(journal->leftRunning(), ElementsAre("airplaydemo"));
}

TEST_F(AJournal, SaysWhenTheServiceLogWasShortened) {
  folder.append("service.log", "one\ntwo\n");
  journal->takeServiceLog();
  folder.write("service.log", "x\n");
  journal->takeServiceLog();

  EXPECT_THAT(journalOf(folder).back(), R"(error source="set" text="service.log was shortened")");
}

TEST_F(AJournal, IsOneSetsAlone) {
  EXPECT_THAT([&] { Journal(folder.path()); },
              ThrowsMessage<Refusal>("the run folder " + folder.path().string() +
                                     " is in use by another set"));
  EXPECT_THAT([&] { Journal(folder.path("none")); },
              ThrowsMessage<Refusal>(HasSubstr("cannot be opened: No such file or directory")));
}

TEST(AJournalLine, ThatIsNoneIsNotRead) {
  for (const char* line :
       {"", "{}", "[]", "3", R"({"seq":1,"t":1.0})", R"({"seq":-1,"t":1,"kind":"a"})",
        R"({"seq":1,"t":"x","kind":"a"})", R"({"seq":1,"t":1,"kind":"a"} x)"}) {
    EXPECT_FALSE(parseJournalLine(line).has_value()) << line;
  }
}

}  // namespace
}  // namespace benchtv
