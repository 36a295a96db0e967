#include "control/expression.h"

#include <gmock/gmock.h>

#include "model/value.h"

namespace benchtv {
namespace {

const Json::Value kLogLine = parseJson(
    R"({"seq":7,"t":12.5,"kind":"log","level":"error","text":"Biz is ready.","line":54})");
const Json::Value kRecord =
    parseJson(R"({"seq":8,"t":12.6,"kind":"bus","op":"send","src":"AirPlayBridge","dest":null,)"
              R"("para":"","sync":false,"status":-2})");
const Json::Value kWrite =
    parseJson(R"({"seq":9,"t":12.7,"kind":"setting","value":["stopped",""],"by":"service"})");

bool holds(const char* expression, const Json::Value& event) {
  return Expression(expression).matches(event);
}

struct Malformed {
  const char* text;
  const char* why;
  std::size_t position;
};

class MalformedExpression : public ::testing::TestWithParam<Malformed> {};

TEST(Expression, HoldsWhenAllItsTermsDo) {
  EXPECT_TRUE(holds("kind=log level=error", kLogLine));
  EXPECT_TRUE(holds("  kind=log\tlevel=error\n", kLogLine));
  EXPECT_FALSE(holds("kind=log level=info", kLogLine));
}

TEST(Expression, ComparesWholeTexts) {
  EXPECT_TRUE(holds("src=AirPlayBridge", kRecord));
  EXPECT_FALSE(holds("src=AirPlay", kRecord));
  EXPECT_FALSE(holds("src=airplaybridge", kRecord));
}

TEST(Expression, ComparesNumbersAsNumbers) {
  EXPECT_TRUE(holds("line=54", kLogLine));
  EXPECT_TRUE(holds("line=54.0", kLogLine));
  EXPECT_TRUE(holds("t=12.50", kLogLine));
  EXPECT_TRUE(holds("status=-2", kRecord));
  EXPECT_FALSE(holds("line=5", kLogLine));
  EXPECT_FALSE(holds("line=54x", kLogLine));
}

TEST(Expression, KnowsTruthValues) {
  EXPECT_TRUE(holds("sync=false", kRecord));
  EXPECT_FALSE(holds("sync=true", kRecord));
}

TEST(Expression, TellsNullFromEmptyAndFromMissing) {
  EXPECT_TRUE(holds("dest=null", kRecord));
  EXPECT_FALSE(holds("dest=\"null\"", kRecord));
  EXPECT_FALSE(holds("dest=\"\"", kRecord));
  EXPECT_TRUE(holds("para=\"\"", kRecord));
  EXPECT_FALSE(holds("para=null", kRecord));
  EXPECT_FALSE(holds("nothing=null", kRecord));
}

TEST(Expression, TakesTheTextNullOnlyInQuotes) {
  const Json::Value event = parseJson(R"({"cmd":"null"})");
  EXPECT_TRUE(holds("cmd='null'", event));
  EXPECT_FALSE(holds("cmd=null", event));
}

TEST(Expression, ComparesListsByTheirCompactJson) {
  EXPECT_TRUE(holds(R"(value=["stopped",""])", kWrite));
  EXPECT_TRUE(holds(R"(value='["stopped",""]')", kWrite));
  EXPECT_FALSE(holds(R"(value=["stopped"])", kWrite));
}

TEST(Expression, IsUnequalToAnotherValueOrNone) {
  EXPECT_TRUE(holds("level!=info", kLogLine));
  EXPECT_FALSE(holds("level!=error", kLogLine));
  EXPECT_TRUE(holds("key!=anything", kLogLine));
}

TEST(Expression, FindsTextWithin) {
  EXPECT_TRUE(holds("text~ready", kLogLine));
  EXPECT_TRUE(holds("text~\"is ready\"", kLogLine));
  EXPECT_TRUE(holds("value~stopped", kWrite));
  EXPECT_FALSE(holds("text~Ready", kLogLine));
  EXPECT_FALSE(holds("dest~null", kRecord));
  EXPECT_FALSE(holds("nothing~x", kLogLine));
}

TEST(Expression, TakesBlanksAndQuotesInQuotedValues) {
  EXPECT_TRUE(holds("text=\"Biz is ready.\"", kLogLine));
  EXPECT_TRUE(holds("text='Biz is ready.'", kLogLine));
  EXPECT_TRUE(holds(R"(say="a \"b\" \\ 'c'")", parseJson(R"({"say":"a \"b\" \\ 'c'"})")));
}

TEST(Expression, TakesOperatorsInValues) {
  EXPECT_TRUE(holds("text=a=b", parseJson(R"({"text":"a=b"})")));
  EXPECT_TRUE(holds("text~a!~b", parseJson(R"({"text":"xa!~b"})")));
}

TEST_P(MalformedExpression, IsRefusedWithTheReasonAndThePlace) {
  try {
    Expression refused(GetParam().text);
    FAIL() << "was taken: " << refused.text();
  } catch (const ExpressionError& error) {
    EXPECT_STREQ(error.what(), GetParam().why);
    EXPECT_EQ(error.position, GetParam().position);
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, MalformedExpression,
    ::testing::Values(
        Malformed{"", "the expression is empty: write for instance kind=log text~ready", 0},
        Malformed{"  ", "the expression is empty: write for instance kind=log text~ready", 0},
        Malformed{"kind", "after \"kind\" must come =, != or ~", 4},
        Malformed{"kind log", "after \"kind\" must come =, != or ~", 4},
        Malformed{"kind!log", "after \"kind\" must come =, != or ~", 4},
        Malformed{"kind=log =x", "a field name is missing", 9},
        Malformed{"kind=", "\"kind\" is compared with nothing: an empty value is written \"\"", 5},
        Malformed{"kind= level=x",
                  "\"kind\" is compared with nothing: an empty value is written \"\"", 5},
        Malformed{"text=\"Biz is", "this quote is not closed", 5},
        Malformed{"text=\"Biz\\\"", "this quote is not closed", 5},
        Malformed{"text='Biz'is", "a blank must follow the closing quote", 10}));

}  // namespace
}  // namespace benchtv
