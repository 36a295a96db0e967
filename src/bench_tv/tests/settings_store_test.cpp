#include "set/settings_store.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <csignal>
#include <optional>

#include "temporary_folder.h"

namespace benchtv {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::ThrowsMessage;

class AStore : public ::testing::Test {
 protected:
  std::map<std::string, Value> reopened() {
    store.reset();
    store.emplace(folder.path("state"), "default");
    return store->load();
  }

  TemporaryFolder folder;
  std::optional<SettingsStore> store{std::in_place, folder.path("state"), "default"};
};

TEST_F(AStore, HoldsValuesOfEveryKindByteForByte) {
  const Texts texts = {"", "a\xff", "", "line\nfeed"};
  store->write("number", INT_MIN);
  store->write("text", std::string("\xc3\x28 %s%n"));
  store->write("empty", std::string());
  store->write("list", texts);
  store->write("nothing", Texts());

  EXPECT_THAT(reopened(),
              ElementsAre(Pair("empty", Value(std::string())), Pair("list", Value(texts)),
                          Pair("nothing", Value(Texts())), Pair("number", Value(INT_MIN)),
                          Pair("text", Value(std::string("\xc3\x28 %s%n")))));
}

TEST_F(AStore, HoldsTheLastValueOfAKeyThatChangedItsKind) {
  store->write("key", 1);
  store->write("key", std::string("one"));
  EXPECT_THAT(reopened(), ElementsAre(Pair("key", Value(std::string("one")))));
}

TEST_F(AStore, HoldsATextOfTenMegabytes) {
  const std::string large(10'000'000, 'x');
  store->write("key", large);
  EXPECT_EQ(reopened().at("key"), Value(large));
}

TEST_F(AStore, IsReachableByItsUserAlone) {
  using std::filesystem::perms;
  const auto permissions = std::filesystem::status(folder.path("state")).permissions();
  EXPECT_EQ(permissions & (perms::group_all | perms::others_all), perms::none);
}

TEST_F(AStore, OfAnotherProductIsRefused) {
  store.reset();
  EXPECT_THAT([&] { SettingsStore(folder.path("state"), "factory"); },
              ThrowsMessage<StoreError>("the state folder " + folder.path("state").string() +
                                        " belongs to the product \"default\", not to \"factory\": "
                                        "remove it or choose another with --state"));
}

TEST_F(AStore, InUseIsRefusedToASecondSet) {
  EXPECT_THAT([&] { SettingsStore(folder.path("state"), "default"); },
              ThrowsMessage<StoreError>("the state folder " + folder.path("state").string() +
                                        " is in use by another set: choose another with --state"));
}

TEST_F(AStore, ThatCannotBeMadeIsRefused) {
  folder.write("file", "");
  EXPECT_THAT([&] { SettingsStore(folder.path("file"), "default"); },
              ThrowsMessage<StoreError>(HasSubstr("cannot be written")));
  EXPECT_THAT([&] { SettingsStore("/proc/none", "default"); },
              ThrowsMessage<StoreError>(HasSubstr("cannot be written")));
}

TEST_F(AStore, ThatIsNoDatabaseIsRefused) {
  std::filesystem::create_directory(folder.path("other"));
  folder.write("other/settings.db", std::string(4096, 'x'));
  EXPECT_THAT([&] { SettingsStore(folder.path("other"), "default"); },
              ThrowsMessage<StoreError>(HasSubstr("is no settings store")));
}

// Writes 1, 2, 3, ... for ever; reports each number once its write has returned.
[[noreturn]] void writeUntilKilled(const std::filesystem::path& folder, int reports) {
  SettingsStore store(folder, "default");
  for (std::int32_t number = 1;; ++number) {
    store.write("number", number);
    store.write("list", Texts{std::to_string(number), std::string(2000, 'x')});
    if (write(reports, &number, sizeof number) != sizeof number) {
      _exit(1);
    }
  }
}

TEST(AKilledStore, HasEveryWriteThatWasAnswered) {
  TemporaryFolder folder;
  for (int round = 1; round <= 20; ++round) {
    int reports[2];
    ASSERT_EQ(pipe(reports), 0);
    const pid_t writer = fork();
    ASSERT_GE(writer, 0);
    if (writer == 0) {
      writeUntilKilled(folder.path("state"), reports[1]);
    }
    close(reports[1]);

    // Killed after a different number of writes in each round, wherever it then is.
    std::int32_t answered = 0;
    while (answered < round * 7 && read(reports[0], &answered, sizeof answered) > 0) {
    }
    kill(writer, SIGKILL);
    while (read(reports[0], &answered, sizeof answered) > 0) {
    }
    close(reports[0]);
    int status = 0;
    waitpid(writer, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));

    auto values = SettingsStore(folder.path("state"), "default").load();
    const std::int32_t number = std::get<std::int32_t>(values.at("number"));
    EXPECT_THAT(number, ::testing::AnyOf(answered, answered + 1));
    const std::string listed = std::get<Texts>(values.at("list")).at(0);
    EXPECT_THAT(listed, ::testing::AnyOf(std::to_string(answered), std::to_string(answered + 1)));
  }
}

}  // namespace
}  // namespace benchtv
