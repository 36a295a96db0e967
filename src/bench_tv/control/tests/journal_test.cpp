#include "control/journal.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <stdexcept>

namespace benchtv {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

constexpr auto kLong = 10s;

class AJournal : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string name = "/tmp/bench-journal-XXXXXX";
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder = name;
    file = folder / "journal.jsonl";
  }
  void TearDown() override { std::filesystem::remove_all(folder); }

  void append(const std::string& text) { std::ofstream(file, std::ios::app) << text; }

  static std::vector<std::uint64_t> numbers(const std::vector<Json::Value>& events) {
    std::vector<std::uint64_t> all;
    all.reserve(events.size());
    for (const Json::Value& event : events) {
      all.push_back(seqOf(event));
    }
    return all;
  }

  static std::string line(int seq) {
    return R"({"seq":)" + std::to_string(seq) + R"(,"t":1.5,"kind":"log"})" + "\n";
  }

  std::filesystem::path folder;
  std::filesystem::path file;
};

TEST_F(AJournal, IsReadFromTheBeginningAndThenOn) {
  append(line(1) + line(2));
  Journal journal(file);
  EXPECT_THAT(numbers(journal.readNew()), ElementsAre(1, 2));
  EXPECT_THAT(journal.readNew(), IsEmpty());
  append(line(3));
  EXPECT_THAT(numbers(journal.readNew()), ElementsAre(3));
}

TEST_F(AJournal, MayComeIntoBeingLater) {
  Journal journal(file);
  EXPECT_THAT(journal.readNew(), IsEmpty());
  append(line(1));
  EXPECT_THAT(numbers(journal.readNew()), ElementsAre(1));
}

TEST_F(AJournal, KeepsALineBackUntilItIsWhole) {
  Journal journal(file);
  append(line(1) + R"({"seq":2,"t":)");
  EXPECT_THAT(numbers(journal.readNew()), ElementsAre(1));
  append("1.5,\"kind\":\"log\"}\n" + line(3));
  EXPECT_THAT(numbers(journal.readNew()), ElementsAre(2, 3));
}

TEST_F(AJournal, SaysWhichLineIsNoEvent) {
  append(line(1) + "nonsense\n");
  Journal journal(file);
  EXPECT_THAT([&] { journal.readNew(); },
              ThrowsMessage<std::runtime_error>(HasSubstr("journal.jsonl:2: not an event")));
}

TEST_F(AJournal, WakesWhenItGrowsAlsoBeforeTheWait) {
  Journal journal(file);
  append(line(1));
  EXPECT_EQ(journal.waitForMore(std::chrono::steady_clock::now() + kLong, -1),
            Journal::Wake::kGrown);
}

TEST_F(AJournal, WakesForTheOtherDescriptor) {
  Journal journal(file);
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  close(ends[1]);
  EXPECT_EQ(journal.waitForMore(std::chrono::steady_clock::now() + kLong, ends[0]),
            Journal::Wake::kOtherReadable);
  close(ends[0]);
}

TEST_F(AJournal, WaitsNoLongerThanAsked) {
  Journal journal(file);
  EXPECT_EQ(journal.waitForMore(std::chrono::steady_clock::now(), -1), Journal::Wake::kDeadline);
}

TEST_F(AJournal, NeedsAFolder) {
  EXPECT_THAT([&] { Journal(folder / "none" / "journal.jsonl"); },
              ThrowsMessage<std::runtime_error>(HasSubstr("cannot watch ")));
}

}  // namespace
}  // namespace benchtv
