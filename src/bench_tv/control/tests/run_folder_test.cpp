#include "control/run_folder.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace benchtv {
namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

class ARunFolder : public ::testing::Test {
 protected:
  ARunFolder() { unsetenv("XDG_RUNTIME_DIR"); }
};

TEST_F(ARunFolder, LiesInTheRuntimeFolderWhereThereIsOne) {
  setenv("XDG_RUNTIME_DIR", "/tmp", 1);
  EXPECT_EQ(RunFolder::ofName("b").path(), "/tmp/benchtv/b");
}

TEST_F(ARunFolder, LiesInAFolderOfTheUserElse) {
  const std::string expected = "/tmp/benchtv-" + std::to_string(getuid()) + "/b";
  EXPECT_EQ(RunFolder::ofName("b").path(), expected);
  setenv("XDG_RUNTIME_DIR", "/nowhere", 1);
  EXPECT_EQ(RunFolder::ofName("b").path(), expected);
}

TEST_F(ARunFolder, IsRefusedForWhatIsNoName) {
  for (const char* name : {"", ".", "..", "a/b", "-x", "a b", "\xc3\xa4"})
    EXPECT_THAT([&] { RunFolder::ofName(name); },
                ThrowsMessage<std::runtime_error>(HasSubstr("cannot name a bench TV")))
        << name;
}

TEST_F(ARunFolder, IsRefusedWhereASocketHasNoRoom) {
  EXPECT_THAT([] { RunFolder::ofName(std::string(100, 'x')); },
              ThrowsMessage<std::runtime_error>(HasSubstr("is too long for a socket (107 bytes")));
}

TEST_F(ARunFolder, HasABusAddressWithOddCharactersEscaped) {
  EXPECT_EQ(RunFolder("/tmp/benchtv-0/tv").busAddress(), "unix:path=/tmp/benchtv-0/tv/bus.sock");
  EXPECT_EQ(RunFolder("/a b,c").busAddress(), "unix:path=/a%20b%2cc/bus.sock");
}

TEST_F(ARunFolder, ShowsTheLastLinesOfALog) {
  std::string name = "/tmp/bench-log-XXXXXX";
  const int file = mkstemp(name.data());
  ASSERT_GE(file, 0);
  close(file);
  std::ofstream(name) << "one\ntwo\nthree";
  EXPECT_EQ(lastLines(name, 2), "    two\n    three\n");
  std::filesystem::remove(name);
  EXPECT_EQ(lastLines(name, 2), "");
}

}  // namespace
}  // namespace benchtv
