#include "set/service_log.h"

#include <gmock/gmock.h>

#include "model/value.h"
#include "temporary_folder.h"

namespace benchtv {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string fieldsOf(const std::string& line) {
  std::string text;
  for (const auto& [name, value] : serviceLogFields(line)) {
    text += (text.empty() ? "" : " ") + name + "=" + jsonText(value);
  }
  return text;
}

TEST(AServiceLogLine, WithTheCommonPrefixIsTakenApart) {
  EXPECT_EQ(
      fieldsOf("E [B-LOG][1763700000.123456] main.cpp:42:cspliceMain(): No GAM "),
      R"(source="service" level="error" file="main.cpp" line=42 function="cspliceMain" text="No GAM ")");
  EXPECT_EQ(fieldsOf("I [B-LOG][-1.000000] a.cpp:1:run(): "),
            R"(source="service" level="info" file="a.cpp" line=1 function="run" text="")");
  EXPECT_EQ(
      fieldsOf("V [B-LOG][1.0] a.cpp:1:~GAMBridgeMTK(): a.cpp:2:b(): c"),
      R"(source="service" level="verbose" file="a.cpp" line=1 function="~GAMBridgeMTK" text="a.cpp:2:b(): c")");
}

TEST(AServiceLogLine, OfATraceKeepsItsLevelAndTheRestWhole) {
  EXPECT_EQ(fieldsOf("V [TRACE -> B-LOG(IN)] file.cpp:12:name() "),
            R"(source="service" level="verbose" text="[TRACE -> B-LOG(IN)] file.cpp:12:name() ")");
}

TEST(AServiceLogLine, OfAnyOtherFormIsTextAlone) {
  for (const char* line :
       {"H [host] settings: no set", "", "E", "E [B-LOG]", "E [B-LOG][x] a.cpp:1:b(): c",
        "E [B-LOG][1.0] a.cpp:one:b(): c", "E [B-LOG][1.0] a.cpp:1:b() c",
        "X [B-LOG][1.0] a.cpp:1:b(): c", "[B-LOG][1.0] a.cpp:1:b(): c",
        "E [B-LOG][1.0] a.cpp:99999999999999999999:b(): c", "terminate called without"}) {
    EXPECT_EQ(fieldsOf(line), "source=\"service\" text=" + jsonText(line));
  }
}

TEST(AServiceLogLine, MayHoldAnyByte) {
  EXPECT_EQ(fieldsOf(std::string("a\0b\xff", 4)), R"(source="service" text="a\u0000b\ufffd")");
}

class ALogTail : public ::testing::Test {
 protected:
  std::vector<std::string> read() {
    std::vector<std::string> lines;
    whole = tail.read([&](const std::string& line) { lines.push_back(line); });
    return lines;
  }

  TemporaryFolder folder;
  LogTail tail{folder.path("service.log")};
  bool whole = true;
};

TEST_F(ALogTail, HandsOverEachLineOnceWhenItIsFinished) {
  EXPECT_THAT(read(), IsEmpty());
  folder.append("service.log", "one\n\ntwo\nthr");
  EXPECT_THAT(read(), ElementsAre("one", "", "two"));
  EXPECT_THAT(read(), IsEmpty());
  folder.append("service.log", "ee\n");
  EXPECT_THAT(read(), ElementsAre("three"));
}

TEST_F(ALogTail, SkipsWhatWasTakenInBefore) {
  folder.append("service.log", "one\ntwo\nthree\n");
  tail.skip(2);
  EXPECT_THAT(read(), ElementsAre("three"));
}

TEST_F(ALogTail, CutsALineOfTenMegabytes) {
  folder.append("service.log", std::string(10'000'000, 'x') + "\nnext\n");
  EXPECT_THAT(read(),
              ElementsAre(std::string(64 * 1024, 'x') + " ... (cut: 10000000 bytes)", "next"));
}

TEST_F(ALogTail, BeginsAgainWhenTheFileHasShrunk) {
  folder.append("service.log", "one\ntwo\n");
  read();
  folder.write("service.log", "new\n");
  EXPECT_THAT(read(), ElementsAre("new"));
  EXPECT_FALSE(whole);
}

}  // namespace
}  // namespace benchtv
