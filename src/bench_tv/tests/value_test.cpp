#include "model/value.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "model/setting_keys.h"

namespace benchtv {
namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

TEST(Value, IsReadFromJsonOfItsKind) {
  EXPECT_EQ(parseValue(Kind::kInteger, "-2147483648"), Value(std::int32_t{-2147483647 - 1}));
  EXPECT_EQ(parseValue(Kind::kText, "\"a\\u00e4\""), Value(std::string("a\u00e4")));
  EXPECT_EQ(parseValue(Kind::kTexts, "[\"started\", \"\"]"), Value(Texts{"started", ""}));
}

TEST(Value, OfAnotherKindIsRefusedWithWhatIsAllowed) {
  const auto integer = [](const char* json) { return [=] { parseValue(Kind::kInteger, json); }; };
  for (const char* json : {"\"3\"", "2.0", "2147483648", "true", "null", "[3]"}) {
    EXPECT_THAT(integer(json), ThrowsMessage<std::invalid_argument>(
                                   "the value must be an integer of 32 bits, such as 3"))
        << json;
  }
  EXPECT_THAT([] { parseValue(Kind::kText, "3"); },
              ThrowsMessage<std::invalid_argument>(
                  "the value must be a text in double quotes, such as \"TV\""));
  EXPECT_THAT([] { parseValue(Kind::kTexts, "[\"a\", 3]"); },
              ThrowsMessage<std::invalid_argument>(
                  "every element of the list must be a text in double quotes"));
  EXPECT_THAT([] { parseValue(Kind::kText, "\"a\\u0000b\""); },
              ThrowsMessage<std::invalid_argument>("a text holds no NUL character"));
}

TEST(Value, IsNotReadFromWhatIsNoJson) {
  for (const std::string& json :
       {std::string("3 4"), std::string(""), std::string(R"({"a":1,"a":2})"),
        std::string(5000, '['), std::string("3 // three")}) {
    EXPECT_THAT([&] { parseJson(json); },
                ThrowsMessage<std::invalid_argument>(HasSubstr("not JSON")));
  }
}

TEST(Value, IsWrittenOnOneLineWithBadBytesReplaced) {
  EXPECT_EQ(jsonText(toJson(Texts{"a\nb", "\xff"})), "[\"a\\nb\",\"\\ufffd\"]");
}

TEST(SettingKeys, AreThoseOfTheSetInAlphabeticalOrderEachWithAValueOfItsKind) {
  EXPECT_EQ(settingKeys().size(), 25U);
  std::string before;
  for (const SettingKey& row : settingKeys()) {
    EXPECT_LT(before, row.key);
    before = row.key;
    EXPECT_EQ(kindOf(row.fallback), row.kind) << row.key;
    EXPECT_THAT(row.key, HasSubstr(std::string(".") + kindWord(row.kind) + "."));
  }
}

}  // namespace
}  // namespace benchtv
