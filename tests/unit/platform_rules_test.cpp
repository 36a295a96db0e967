// Which products may offer AirPlay. The expected answers are written down here on their own, not
// computed from the service's table.
#include "platform_rules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "in_memory_tv.h"
#include "one_scenario.h"

using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::Values;

namespace {

struct Product {
  int platform;
  int device;
  int market;
  int brandId;
};

struct Answer {
  bool supported;
  bool secondary;
};

bool operator==(const Answer& left, const Answer& right) {
  return left.supported == right.supported && left.secondary == right.secondary;
}

void PrintTo(const Answer& answer, std::ostream* out) {
  *out << "(" << answer.supported << "," << answer.secondary << ")";
}

class TheRules : public OneScenarioPerProcess {
 protected:
  // What becomes of flags that were |before|.
  static Answer ask(const Product& product, Answer before) {
    norvale::getPlatformRules(product.platform, product.device, product.market, product.brandId,
                              before.supported, before.secondary);
    return before;
  }

  void askTimes(int times, const Product& product) {
    for (int i = 0; i < times; ++i) {
      ask(product, {false, false});
    }
  }

  // One line for each device type 0 to 3 and each kind of brand, with a letter for each market from
  // 0 to 7: "S" supported with the secondary flag, "s" without it, "." neither, "?" anything else.
  static std::vector<std::string> allAnswers(int platform) {
    struct Brand {
      const char* name;
      int id;
    };
    constexpr Brand kBrands[] = {{"1", 1}, {"other", 500}, {"259", 259}, {"183", 183}};
    std::vector<std::string> lines;
    for (int device = 0; device <= 3; ++device) {
      for (const Brand& brand : kBrands) {
        std::string line = "device " + std::to_string(device) + ", brand " + brand.name + ": ";
        for (int market = 0; market <= 7; ++market) {
          line += letter({platform, device, market, brand.id});
        }
        lines.push_back(line);
      }
    }
    return lines;
  }

  InMemoryTv tv;

 private:
  static char letter(const Product& product) {
    const Answer answer = ask(product, {true, true});
    if (!(answer == ask(product, {false, false}))) {
      return '?';  // a flag was left as it was
    }
    if (answer.supported) {
      return answer.secondary ? 'S' : 's';
    }
    return answer.secondary ? '?' : '.';
  }
};

// ---- Row by row.

struct RuleCase {
  const char* name;
  Product product;
  const char* logged;
  Answer answer;
};

void PrintTo(const RuleCase& row, std::ostream* out) { *out << row.name; }

class TheRule : public TheRules, public ::testing::WithParamInterface<RuleCase> {};

TEST_P(TheRule, IsTheFirstThatMatchesItsProduct) {
  const Answer opposite{!GetParam().answer.supported, !GetParam().answer.secondary};
  EXPECT_EQ(ask(GetParam().product, opposite), GetParam().answer);
  EXPECT_THAT(tv.take(), ElementsAre(std::string("log getPlatformRules: Matching rules: ") +
                                     GetParam().logged));
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(InOrder, TheRule, Values(
    RuleCase{"No01", {309618, 0, 7, 1},   "(309618, 0, 7, 4 ) (0,0)", {false, false}},
    RuleCase{"No02", {309618, 0, 0, 95},  "(309618, 0, 8, 0 ) (1,1)", {true,  true}},
    RuleCase{"No03", {309618, 0, 6, 183}, "(309618, 0, 8, 3 ) (1,1)", {true,  true}},
    RuleCase{"No04", {309618, 0, 3, 500}, "(309618, 0, 8, 1 ) (1,1)", {true,  true}},
    RuleCase{"No05", {309618, 1, 7, 1},   "(309618, 1, 7, 4 ) (0,0)", {false, false}},
    RuleCase{"No06", {309618, 1, 0, 95},  "(309618, 1, 8, 0 ) (1,0)", {true,  false}},
    RuleCase{"No07", {309618, 1, 0, 183}, "(309618, 4, 8, 4 ) (0,0)", {false, false}},
    RuleCase{"No08", {309603, 0, 7, 1},   "(309603, 0, 7, 0 ) (0,0)", {false, false}},
    RuleCase{"No09", {309603, 0, 6, 1},   "(309603, 0, 8, 0 ) (1,1)", {true,  true}},
    RuleCase{"No10", {309603, 0, 6, 183}, "(309603, 0, 6, 3 ) (1,1)", {true,  true}},
    RuleCase{"No11", {309603, 0, 5, 183}, "(309603, 4, 8, 4 ) (0,0)", {false, false}},
    RuleCase{"No12", {472690, 0, 7, 95},  "(472690, 0, 7, 0 ) (0,0)", {false, false}},
    RuleCase{"No13", {472690, 0, 4, 1},   "(472690, 0, 8, 0 ) (1,0)", {true,  false}},
    RuleCase{"No14", {472690, 0, 3, 500}, "(472690, 0, 3, 1 ) (1,0)", {true,  false}},
    RuleCase{"No15", {472690, 0, 4, 500}, "(472690, 0, 4, 1 ) (1,0)", {true,  false}},
    RuleCase{"No16", {472690, 0, 5, 500}, "(472690, 0, 5, 1 ) (1,0)", {true,  false}},
    RuleCase{"No17", {472690, 0, 2, 500}, "(472690, 4, 8, 4 ) (0,0)", {false, false}},
    RuleCase{"No18", {309900, 0, 7, 1},   "(309900, 0, 7, 0 ) (0,0)", {false, false}},
    RuleCase{"No19", {309900, 0, 1, 1},   "(309900, 0, 8, 0 ) (1,1)", {true,  true}},
    RuleCase{"No20", {309900, 0, 6, 183}, "(309900, 0, 6, 3 ) (1,1)", {true,  true}},
    RuleCase{"No21", {309900, 1, 7, 1},   "(309900, 1, 7, 0 ) (0,0)", {false, false}},
    RuleCase{"No22", {309900, 1, 5, 95},  "(309900, 1, 8, 0 ) (1,1)", {true,  true}},
    RuleCase{"No23", {309900, 1, 7, 259}, "(309900, 1, 7, 2 ) (0,0)", {false, false}},
    RuleCase{"No24", {309900, 1, 0, 259}, "(309900, 1, 8, 2 ) (1,1)", {true,  true}},
    RuleCase{"No25", {309900, 2, 7, 1},   "(309900, 2, 7, 0 ) (0,0)", {false, false}},
    RuleCase{"No26", {309900, 2, 2, 1},   "(309900, 2, 8, 0 ) (1,1)", {true,  true}},
    RuleCase{"No27", {309900, 2, 2, 259}, "(309900, 4, 8, 4 ) (0,0)", {false, false}},
    RuleCase{"No28", {309602, 0, 7, 1},   "(309602, 0, 7, 0 ) (0,0)", {false, false}},
    RuleCase{"No29", {309602, 0, 0, 1},   "(309602, 0, 8, 0 ) (1,1)", {true,  true}},
    RuleCase{"No30", {309602, 0, 0, 183}, "(309602, 4, 8, 4 ) (0,0)", {false, false}}),
    [](const auto& row) { return std::string(row.param.name); });
// clang-format on

// ---- Platform by platform.

TEST_F(TheRules, AnswerForEveryProductOf309618) {
  EXPECT_THAT(allAnswers(309618),
              ElementsAre("device 0, brand 1: SSSSSSS.", "device 0, brand other: SSSSSSS.",
                          "device 0, brand 259: ........", "device 0, brand 183: SSSSSSS.",
                          "device 1, brand 1: sssssss.", "device 1, brand other: ........",
                          "device 1, brand 259: ........", "device 1, brand 183: ........",
                          "device 2, brand 1: ........", "device 2, brand other: ........",
                          "device 2, brand 259: ........", "device 2, brand 183: ........",
                          "device 3, brand 1: ........", "device 3, brand other: ........",
                          "device 3, brand 259: ........", "device 3, brand 183: ........"));
}

TEST_F(TheRules, AnswerForEveryProductOf309603) {
  EXPECT_THAT(allAnswers(309603),
              ElementsAre("device 0, brand 1: SSSSSSS.", "device 0, brand other: ........",
                          "device 0, brand 259: ........", "device 0, brand 183: ......S.",
                          "device 1, brand 1: ........", "device 1, brand other: ........",
                          "device 1, brand 259: ........", "device 1, brand 183: ........",
                          "device 2, brand 1: ........", "device 2, brand other: ........",
                          "device 2, brand 259: ........", "device 2, brand 183: ........",
                          "device 3, brand 1: ........", "device 3, brand other: ........",
                          "device 3, brand 259: ........", "device 3, brand 183: ........"));
}

TEST_F(TheRules, AnswerForEveryProductOf472690) {
  EXPECT_THAT(allAnswers(472690),
              ElementsAre("device 0, brand 1: sssssss.", "device 0, brand other: ...sss..",
                          "device 0, brand 259: ........", "device 0, brand 183: ........",
                          "device 1, brand 1: ........", "device 1, brand other: ........",
                          "device 1, brand 259: ........", "device 1, brand 183: ........",
                          "device 2, brand 1: ........", "device 2, brand other: ........",
                          "device 2, brand 259: ........", "device 2, brand 183: ........",
                          "device 3, brand 1: ........", "device 3, brand other: ........",
                          "device 3, brand 259: ........", "device 3, brand 183: ........"));
}

TEST_F(TheRules, AnswerForEveryProductOf309900) {
  EXPECT_THAT(allAnswers(309900),
              ElementsAre("device 0, brand 1: SSSSSSS.", "device 0, brand other: ........",
                          "device 0, brand 259: ........", "device 0, brand 183: ......S.",
                          "device 1, brand 1: SSSSSSS.", "device 1, brand other: ........",
                          "device 1, brand 259: SSSSSSS.", "device 1, brand 183: ........",
                          "device 2, brand 1: SSSSSSS.", "device 2, brand other: ........",
                          "device 2, brand 259: ........", "device 2, brand 183: ........",
                          "device 3, brand 1: ........", "device 3, brand other: ........",
                          "device 3, brand 259: ........", "device 3, brand 183: ........"));
}

TEST_F(TheRules, AnswerForEveryProductOf309602) {
  EXPECT_THAT(allAnswers(309602),
              ElementsAre("device 0, brand 1: SSSSSSS.", "device 0, brand other: ........",
                          "device 0, brand 259: ........", "device 0, brand 183: ........",
                          "device 1, brand 1: ........", "device 1, brand other: ........",
                          "device 1, brand 259: ........", "device 1, brand 183: ........",
                          "device 2, brand 1: ........", "device 2, brand other: ........",
                          "device 2, brand 259: ........", "device 2, brand 183: ........",
                          "device 3, brand 1: ........", "device 3, brand other: ........",
                          "device 3, brand 259: ........", "device 3, brand 183: ........"));
}

TEST_F(TheRules, CatchADeviceTypeThatNoRuleKnows) {
  EXPECT_EQ(ask({309602, 5, 0, 1}, {true, true}), (Answer{false, false}));
  EXPECT_EQ(ask({309602, -1, 0, 1}, {true, true}), (Answer{false, false}));
  EXPECT_THAT(tv.take(),
              ElementsAre("log getPlatformRules: Matching rules: (309602, 4, 8, 4 ) (0,0)",
                          "log getPlatformRules: Matching rules: (309602, 4, 8, 4 ) (0,0)"));
}

TEST_F(TheRules, TakeAMarketThatNoRuleKnowsForAnyMarket) {
  EXPECT_EQ(ask({309602, 0, 9, 1}, {false, false}), (Answer{true, true}));
  EXPECT_EQ(ask({309602, 0, -1, 1}, {false, false}), (Answer{true, true}));
  EXPECT_THAT(tv.take(),
              ElementsAre("log getPlatformRules: Matching rules: (309602, 0, 8, 0 ) (1,1)",
                          "log getPlatformRules: Matching rules: (309602, 0, 8, 0 ) (1,1)"));
}

// ---- Brands. A platform that no rule knows has its brand's kind in the log.

struct BrandCase {
  const char* name;
  int brandId;
  const char* logged;
};

void PrintTo(const BrandCase& row, std::ostream* out) { *out << row.name; }

class TheBrand : public TheRules, public ::testing::WithParamInterface<BrandCase> {};

TEST_P(TheBrand, IsOfItsKind) {
  EXPECT_EQ(ask({1, 0, 0, GetParam().brandId}, {true, true}), (Answer{false, false}));
  EXPECT_THAT(tv.take(),
              ElementsAre(std::string("log getPlatformRules: No rules match the product: ") +
                          GetParam().logged));
}

INSTANTIATE_TEST_SUITE_P(
    Each, TheBrand,
    Values(BrandCase{"Id1", 1, "(1, 0, 0, 0 )"}, BrandCase{"Id95", 95, "(1, 0, 0, 0 )"},
           BrandCase{"Id183", 183, "(1, 0, 0, 3 )"}, BrandCase{"Id259", 259, "(1, 0, 0, 2 )"},
           BrandCase{"Id2", 2, "(1, 0, 0, 1 )"}, BrandCase{"Id94", 94, "(1, 0, 0, 1 )"},
           BrandCase{"Id96", 96, "(1, 0, 0, 1 )"}, BrandCase{"Id182", 182, "(1, 0, 0, 1 )"},
           BrandCase{"Id184", 184, "(1, 0, 0, 1 )"}, BrandCase{"Id258", 258, "(1, 0, 0, 1 )"},
           BrandCase{"Id260", 260, "(1, 0, 0, 1 )"}, BrandCase{"IdMinus1", -1, "(1, 0, 0, 1 )"},
           BrandCase{"Smallest", INT_MIN, "(1, 0, 0, 1 )"},
           BrandCase{"Largest", INT_MAX, "(1, 0, 0, 1 )"}),
    [](const auto& row) { return std::string(row.param.name); });

// ---- What is no product.

struct InvalidCase {
  const char* name;
  Product product;
  const char* logged;
};

void PrintTo(const InvalidCase& row, std::ostream* out) { *out << row.name; }

class AnInvalidProduct : public TheRules, public ::testing::WithParamInterface<InvalidCase> {};

TEST_P(AnInvalidProduct, IsLoggedAndLeavesTheFlagsAsTheyWere) {
  EXPECT_EQ(ask(GetParam().product, {true, false}), (Answer{true, false}));
  EXPECT_EQ(ask(GetParam().product, {false, true}), (Answer{false, true}));
  const std::string line = std::string("ERR getPlatformRules: ") + GetParam().logged;
  EXPECT_THAT(tv.take(), ElementsAre(line, line));
}

TEST_P(AnInvalidProduct, IsNotSupported) {
  const Product& product = GetParam().product;
  EXPECT_FALSE(norvale::isPlatformSupported(product.platform, product.device, product.market,
                                            product.brandId));
}

TEST_P(AnInvalidProduct, IsLoggedHoweverOftenItComes) {
  askTimes(40, GetParam().product);
  EXPECT_THAT(tv.take(),
              AllOf(SizeIs(40), Each(std::string("ERR getPlatformRules: ") + GetParam().logged)));
}

INSTANTIATE_TEST_SUITE_P(
    Each, AnInvalidProduct,
    Values(InvalidCase{"BrandId0", {309602, 0, 0, 0}, "Invalid brand type for 0 "},
           InvalidCase{"DeviceType4", {309602, 4, 0, 1}, "Invalid Device type."},
           InvalidCase{"Market8", {309602, 0, 8, 1}, "Invalid market."},
           InvalidCase{"UnknownPlatformToo", {1, 0, 8, 1}, "Invalid market."},
           InvalidCase{
               "BrandBeforeDeviceAndMarket", {309602, 4, 8, 0}, "Invalid brand type for 0 "},
           InvalidCase{"DeviceBeforeMarket", {309602, 4, 8, 1}, "Invalid Device type."}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(TheRules, KnowNothingOfAnotherPlatform) {
  EXPECT_EQ(ask({1, 2, 3, 259}, {true, true}), (Answer{false, false}));
  EXPECT_THAT(tv.take(),
              ElementsAre("log getPlatformRules: No rules match the product: (1, 2, 3, 2 )"));
}

TEST_F(TheRules, KnowNothingOfPlatformsBetweenTheirs) {
  EXPECT_EQ(ask({309601, 0, 0, 1}, {true, true}), (Answer{false, false}));
  EXPECT_EQ(ask({309604, 0, 0, 1}, {true, true}), (Answer{false, false}));
}

TEST_F(TheRules, SupportAProductByTheirFirstFlagAlone) {
  EXPECT_TRUE(norvale::isPlatformSupported(309602, 0, 0, 1));
  EXPECT_TRUE(norvale::isPlatformSupported(309618, 1, 0, 95));
  EXPECT_FALSE(norvale::isPlatformSupported(309602, 0, 7, 1));
  EXPECT_FALSE(norvale::isPlatformSupported(1, 0, 0, 1));
}

// ---- How often they speak.

TEST_F(TheRules, SayNineMatchesWithoutAWordOfALimit) {
  askTimes(9, {309602, 0, 0, 1});
  EXPECT_THAT(
      tv.take(),
      AllOf(SizeIs(9), Each("log getPlatformRules: Matching rules: (309602, 0, 8, 0 ) (1,1)")));
}

TEST_F(TheRules, SayTenMatchesOfAnyKindAndThenTheLimitOnce) {
  askTimes(9, {309602, 0, 0, 1});
  tv.take();
  askTimes(5, {309618, 0, 7, 1});
  EXPECT_THAT(tv.take(),
              ElementsAre("log getPlatformRules: Matching rules: (309618, 0, 7, 4 ) (0,0)",
                          "log getPlatformRules: This log is Limit to  10 times, ignore further "
                          "logs. "));
  EXPECT_EQ(ask({309602, 0, 0, 1}, {false, false}), (Answer{true, true}));
  EXPECT_THAT(tv.take(), IsEmpty());
}

TEST_F(TheRules, SayTwentyMissesAndThenTheLimitOnce) {
  askTimes(19, {1, 0, 0, 1});
  EXPECT_THAT(
      tv.take(),
      AllOf(SizeIs(19), Each("log getPlatformRules: No rules match the product: (1, 0, 0, 0 )")));
  askTimes(5, {2, 0, 0, 1});
  EXPECT_THAT(tv.take(),
              ElementsAre("log getPlatformRules: No rules match the product: (2, 0, 0, 0 )",
                          "log getPlatformRules: This log is Limit to  20 times, ignore further "
                          "logs. "));
}

TEST_F(TheRules, CountALineAlsoWhenItsLevelIsOff) {
  tv.logLevel(CSP_DEBUG_ERROR);
  askTimes(10, {309602, 0, 0, 1});
  tv.logLevel(CSP_DEBUG_VERBOSE);
  askTimes(5, {309602, 0, 0, 1});
  EXPECT_THAT(tv.take(), IsEmpty());
}

}  // namespace
