#include "model/key_codes.h"

#include <gmock/gmock.h>

namespace benchtv {
namespace {

using ::testing::Eq;
using ::testing::Optional;

TEST(AKey, HasTheCodeOfTheLinuxInputEvents) {
  EXPECT_THAT(keyCode("KEY_ENTER"), Optional(28));
  EXPECT_THAT(keyCode("KEY_VOLUMEUP"), Optional(115));
  EXPECT_THAT(keyCode("KEY_SUBTITLE"), Optional(0x172));
}

TEST(AKey, NeedsNeitherPrefixNorCapitals) {
  EXPECT_THAT(keyCode("ENTER"), Optional(28));
  EXPECT_THAT(keyCode("key_enter"), Optional(28));
}

TEST(AKey, MayBeAnAliasOfAnother) { EXPECT_EQ(keyCode("KEY_SCREENLOCK"), keyCode("KEY_COFFEE")); }

TEST(AKey, IsGivenByItsCodeToo) {
  EXPECT_THAT(keyCode("0"), Optional(0));
  EXPECT_THAT(keyCode("767"), Optional(767));
  EXPECT_THAT(keyCode("KEY_5"), Optional(6));
  EXPECT_THAT(keyCode("5"), Optional(5));
}

TEST(AKey, IsNothingElse) {
  for (const char* key :
       {"", "KEY_", "NOPE", "-1", "768", "99999999999", "28x", "KEY_MAX", " 28"}) {
    EXPECT_THAT(keyCode(key), Eq(std::nullopt)) << key;
  }
}

TEST(AKey, IsExplainedWhereItIsNone) {
  EXPECT_EQ(noSuchKey("NOPE"),
            "no key \"NOPE\": a key is a name of the Linux input event codes, such as KEY_ENTER or "
            "VOLUMEUP, or a number from 0 to 767");
}

}  // namespace
}  // namespace benchtv
