// Whether a set may offer AirPlay at all, and whether it does so now.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "in_memory_tv.h"
#include "one_scenario.h"
#include "platform_delegate.h"
#include "virtual_libc.h"

using norvale::PlatformDelegate;
using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::Values;

namespace {

constexpr char kCapability[] = "torvo.sl2.i32.system.airplay.support";
constexpr char kBrandName[] = "torvo.sl2.str.norfactory.fullbrand";
constexpr char kBrandId[] = "torvo.sl2.i32.norfactory.logo";
constexpr char kRegion[] = "torvo.sl2.i32.norfactory.region";
constexpr char kFactoryState[] = "torvo.sl2.i32.norfactory.state.open";
constexpr char kEnableFile[] = "/var/local/enable_airplay";
constexpr char kDisableFile[] = "/var/local/disable_airplay";

// The variant that knows a hotel mode.
class HotelDelegate : public PlatformDelegate {
 public:
  bool isHotelMode() override { return true; }
};

// A capable set of brand 1, "Norvale", in region 0, not in factory mode, without override files.
class ASet : public OneScenarioPerProcess {
 protected:
  ASet() {
    tv.setting(kCapability, 1);
    tv.setting(kBrandName, "Norvale");
    tv.setting(kBrandId, 1);
    tv.setting(kRegion, 0);
    tv.setting(kFactoryState, 0);
    tv.take();
  }

  void askEnabledTimes(int times) { askEnabledTimes(times, delegate); }

  static void askEnabledTimes(int times, PlatformDelegate& asked) {
    for (int i = 0; i < times; ++i) {
      asked.airPlayIsEnabled();
    }
  }

  void askSupportedTimes(int times) {
    for (int i = 0; i < times; ++i) {
      delegate.airPlayIsSupported();
    }
  }

  // Each time a delegate that has not decided yet.
  static void decideAnewTimes(int times) {
    for (int i = 0; i < times; ++i) {
      PlatformDelegate().airPlayIsSupported();
    }
  }

  void checkMarketsOfRegions(int first, int last) {
    for (int region = first; region <= last; ++region) {
      delegate.checkMarket(region);
    }
  }

  // Decides, and forgets what that did.
  void decideQuietly() {
    delegate.airPlayIsSupported();
    tv.take();
  }

  InMemoryTv tv;
  VirtualLibc time{tv.history()};
  PlatformDelegate delegate;
};

// ---- Support.

TEST_F(ASet, IsSupportedAfterAllItsFactoryDataHasBeenRead) {
  EXPECT_TRUE(delegate.airPlayIsSupported());
  EXPECT_THAT(
      tv.take(),
      ElementsAre("access /var/local/enable_airplay -> missing",
                  "settings.get torvo.sl2.i32.system.airplay.support -> 0 1",
                  "settings.get torvo.sl2.str.norfactory.fullbrand -> 0 \"Norvale\"",
                  "settings.get torvo.sl2.i32.norfactory.logo -> 0 1",
                  "log decideSupport: BrandName(0): [Norvale], BrandID(0): [1]",
                  "settings.get torvo.sl2.i32.norfactory.region -> 0 0",
                  "log getPlatformRules: Matching rules: (309602, 0, 8, 0 ) (1,1)",
                  "log decideSupport: Airplay is supported for brand: 1[Norvale], market: 0(0), "
                  "device type: 0 "));
}

TEST_F(ASet, OfBrand95IsSupported) {
  tv.setting(kBrandId, 95);
  tv.setting(kRegion, 13);
  EXPECT_TRUE(delegate.airPlayIsSupported());
  EXPECT_EQ(tv.takeLog().back(),
            "log decideSupport: Airplay is supported for brand: 95[Norvale], market: 5(13), "
            "device type: 0 ");
}

TEST_F(ASet, OfBrand183IsNotSupported) {
  tv.setting(kBrandId, 183);
  EXPECT_FALSE(delegate.airPlayIsSupported());
  EXPECT_THAT(
      tv.takeLog(),
      ElementsAre("log decideSupport: BrandName(0): [Norvale], BrandID(0): [183]",
                  "log getPlatformRules: Matching rules: (309602, 4, 8, 4 ) (0,0)",
                  "log decideSupport: Airplay is Not support for current brand: Norvale(183), "
                  "market: 0(0), device type: 0 "));
}

TEST_F(ASet, InAnUnsupportedRegionIsNotSupported) {
  tv.setting(kRegion, 11);
  EXPECT_FALSE(delegate.airPlayIsSupported());
  EXPECT_THAT(
      tv.takeLog(),
      ElementsAre("log decideSupport: BrandName(0): [Norvale], BrandID(0): [1]",
                  "log checkMarket: Not supported Region, 11 assuming Not supported.",
                  "log getPlatformRules: Matching rules: (309602, 0, 7, 0 ) (0,0)",
                  "log decideSupport: Airplay is Not support for current brand: Norvale(1), "
                  "market: 7(11), device type: 0 "));
}

TEST_F(ASet, WhoseRegionCannotBeReadCountsAsRegion111) {
  tv.failRead(kRegion, -5);
  EXPECT_FALSE(delegate.airPlayIsSupported());
  EXPECT_THAT(
      tv.takeLog(),
      ElementsAre("log decideSupport: BrandName(0): [Norvale], BrandID(0): [1]",
                  "log checkMarket: Not supported Region, 111 assuming Not supported.",
                  "log getPlatformRules: Matching rules: (309602, 0, 7, 0 ) (0,0)",
                  "log decideSupport: Airplay is Not support for current brand: Norvale(1), "
                  "market: 7(111), device type: 0 "));
}

TEST_F(ASet, WhoseRegionCouldNotBeReadIsDecidedForGood) {
  tv.failRead(kRegion, -5);
  decideQuietly();
  tv.works(kRegion);
  EXPECT_FALSE(delegate.airPlayIsSupported());
  EXPECT_THAT(tv.take(), ElementsAre("access /var/local/enable_airplay -> missing"));
}

TEST_F(ASet, IsSupportedWithoutABrandName) {
  tv.failRead(kBrandName, -7);
  EXPECT_TRUE(delegate.airPlayIsSupported());
  EXPECT_THAT(tv.takeLog(),
              ElementsAre("log decideSupport: BrandName(-7): [], BrandID(0): [1]",
                          "log getPlatformRules: Matching rules: (309602, 0, 8, 0 ) (1,1)",
                          "log decideSupport: Airplay is supported for brand: 1[], market: 0(0), "
                          "device type: 0 "));
}

TEST_F(ASet, OfBrandZeroIsNotSupported) {
  tv.setting(kBrandId, 0);
  EXPECT_FALSE(delegate.airPlayIsSupported());
  EXPECT_THAT(
      tv.takeLog(),
      ElementsAre("log decideSupport: BrandName(0): [Norvale], BrandID(0): [0]",
                  "ERR getPlatformRules: Invalid brand type for 0 ",
                  "log decideSupport: Airplay is Not support for current brand: Norvale(0), "
                  "market: 0(0), device type: 0 "));
}

TEST_F(ASet, ThatIsNotCapableIsNotSupported) {
  tv.setting(kCapability, 0);
  EXPECT_FALSE(delegate.airPlayIsSupported());
  EXPECT_THAT(tv.take(),
              ElementsAre("access /var/local/enable_airplay -> missing",
                          "settings.get torvo.sl2.i32.system.airplay.support -> 0 0",
                          "log decideSupport: AirPlay is not supported for this device"));
}

TEST_F(ASet, TakesAnyOtherCapabilityForCapable) {
  tv.setting(kCapability, -1);
  EXPECT_TRUE(delegate.airPlayIsSupported());
}

TEST_F(ASet, WhoseCapabilityCannotBeReadIsNotSupportedForNow) {
  tv.failRead(kCapability, -2);
  EXPECT_FALSE(delegate.airPlayIsSupported());
  EXPECT_THAT(tv.take(),
              ElementsAre("access /var/local/enable_airplay -> missing",
                          "settings.get torvo.sl2.i32.system.airplay.support -> -2",
                          "ERR decideSupport: Error get airplay supported or not -2, assuming "
                          "NOT."));
}

TEST_F(ASet, WhoseCapabilityComesLateIsDecidedThen) {
  tv.failRead(kCapability, -2);
  decideQuietly();
  tv.works(kCapability);
  EXPECT_TRUE(delegate.airPlayIsSupported());
}

TEST_F(ASet, WhoseBrandIdCannotBeReadIsNotSupportedForNow) {
  tv.failRead(kBrandId, -2);
  EXPECT_FALSE(delegate.airPlayIsSupported());
  EXPECT_THAT(tv.take(),
              ElementsAre("access /var/local/enable_airplay -> missing",
                          "settings.get torvo.sl2.i32.system.airplay.support -> 0 1",
                          "settings.get torvo.sl2.str.norfactory.fullbrand -> 0 \"Norvale\"",
                          "settings.get torvo.sl2.i32.norfactory.logo -> -2",
                          "ERR decideSupport: brandID is missing. assuming airplay not supported "
                          "for now."));
}

TEST_F(ASet, WhoseBrandIdComesLateIsDecidedThen) {
  tv.leaveOut(kBrandId);
  decideQuietly();
  tv.setting(kBrandId, 1);
  EXPECT_TRUE(delegate.airPlayIsSupported());
}

TEST_F(ASet, OnceSupportedIsSupportedForGood) {
  decideQuietly();
  tv.setting(kCapability, 0);
  tv.setting(kBrandId, 183);
  EXPECT_TRUE(delegate.airPlayIsSupported());
  EXPECT_THAT(tv.take(), ElementsAre("access /var/local/enable_airplay -> missing"));
}

TEST_F(ASet, OnceNotCapableIsNotSupportedForGood) {
  tv.setting(kCapability, 0);
  decideQuietly();
  tv.setting(kCapability, 1);
  EXPECT_FALSE(delegate.airPlayIsSupported());
  EXPECT_THAT(tv.take(), ElementsAre("access /var/local/enable_airplay -> missing"));
}

TEST_F(ASet, OnceRefusedForItsBrandIsNotSupportedForGood) {
  tv.setting(kBrandId, 183);
  decideQuietly();
  tv.setting(kBrandId, 1);
  EXPECT_FALSE(delegate.airPlayIsSupported());
  EXPECT_THAT(tv.take(), ElementsAre("access /var/local/enable_airplay -> missing"));
}

TEST_F(ASet, WithTheEnableFileIsSupportedWhateverItIs) {
  tv.setting(kCapability, 0);
  time.createFile(kEnableFile);
  EXPECT_TRUE(delegate.airPlayIsSupported());
  EXPECT_THAT(tv.take(), ElementsAre("access /var/local/enable_airplay -> there",
                                     "log airPlayIsSupported: AirPlay is enabled manually for "
                                     "testing purpose."));
}

TEST_F(ASet, StaysUndecidedWhileTheEnableFileIsThere) {
  time.createFile(kEnableFile);
  decideQuietly();
  time.removeFile(kEnableFile);
  tv.setting(kCapability, 0);
  EXPECT_FALSE(delegate.airPlayIsSupported());
}

TEST_F(ASet, OnceRefusedIsSupportedWhileTheEnableFileIsThere) {
  tv.setting(kCapability, 0);
  decideQuietly();
  time.createFile(kEnableFile);
  EXPECT_TRUE(delegate.airPlayIsSupported());
  time.removeFile(kEnableFile);
  EXPECT_FALSE(delegate.airPlayIsSupported());
}

TEST_F(ASet, IsSupportedWhateverTheDisableFileSays) {
  time.createFile(kDisableFile);
  EXPECT_TRUE(delegate.airPlayIsSupported());
  EXPECT_THAT(tv.takeOnly({"access"}), ElementsAre("access /var/local/enable_airplay -> missing"));
}

TEST_F(ASet, MayHaveABrandNameThatLooksLikeAFormat) {
  tv.setting(kBrandName, "%s%n\xff");
  EXPECT_TRUE(delegate.airPlayIsSupported());
  EXPECT_EQ(tv.takeLog().front(), "log decideSupport: BrandName(0): [%s%n\xff], BrandID(0): [1]");
}

// ---- Markets.

struct MarketCase {
  const char* name;
  int region;
  int market;
};

void PrintTo(const MarketCase& row, std::ostream* out) { *out << row.name; }

class ASupportedRegion : public ASet, public ::testing::WithParamInterface<MarketCase> {};

TEST_P(ASupportedRegion, HasItsMarket) {
  EXPECT_EQ(delegate.checkMarket(GetParam().region), GetParam().market);
  EXPECT_THAT(tv.take(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Each, ASupportedRegion,
                         Values(MarketCase{"No0", 0, 0}, MarketCase{"No1", 1, 0},
                                MarketCase{"No2", 2, 0}, MarketCase{"No3", 3, 0},
                                MarketCase{"No4", 4, 1}, MarketCase{"No5", 5, 1},
                                MarketCase{"No6", 6, 1}, MarketCase{"No7", 7, 1},
                                MarketCase{"No8", 8, 4}, MarketCase{"No9", 9, 3},
                                MarketCase{"No10", 10, 2}, MarketCase{"No13", 13, 5}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(ASet, HasNoMarketInAnyOtherRegion) {
  EXPECT_EQ(delegate.checkMarket(11), 7);
  EXPECT_EQ(delegate.checkMarket(12), 7);
  EXPECT_EQ(delegate.checkMarket(14), 7);
  EXPECT_EQ(delegate.checkMarket(-1), 7);
  EXPECT_EQ(delegate.checkMarket(INT_MAX), 7);
  EXPECT_THAT(
      tv.take(),
      ElementsAre("log checkMarket: Not supported Region, 11 assuming Not supported.",
                  "log checkMarket: Not supported Region, 12 assuming Not supported.",
                  "log checkMarket: Not supported Region, 14 assuming Not supported.",
                  "log checkMarket: Not supported Region, -1 assuming Not supported.",
                  "log checkMarket: Not supported Region, 2147483647 assuming Not supported."));
}

// ---- Enabled.

TEST_F(ASet, IsEnabledByDefault) {
  decideQuietly();
  EXPECT_TRUE(delegate.airPlayIsEnabled());
  EXPECT_THAT(tv.take(), ElementsAre("access /var/local/enable_airplay -> missing",
                                     "access /var/local/enable_airplay -> missing",
                                     "access /var/local/disable_airplay -> missing",
                                     "settings.get torvo.sl2.i32.norfactory.state.open -> 0 0",
                                     "log airPlayIsEnabled: Enable airplay by default."));
}

TEST_F(ASet, ThatIsNotSupportedIsNotEnabled) {
  tv.setting(kCapability, 0);
  decideQuietly();
  EXPECT_FALSE(delegate.airPlayIsEnabled());
  EXPECT_THAT(tv.take(), ElementsAre("access /var/local/enable_airplay -> missing",
                                     "access /var/local/enable_airplay -> missing"));
}

TEST_F(ASet, WithTheEnableFileIsEnabledWhateverItIs) {
  tv.setting(kCapability, 0);
  tv.setting(kFactoryState, 1);
  time.createFile(kEnableFile);
  EXPECT_TRUE(delegate.airPlayIsEnabled());
  EXPECT_THAT(tv.take(), ElementsAre("access /var/local/enable_airplay -> there",
                                     "log airPlayIsEnabled: AirPlay is enabled manually for "
                                     "testing purpose."));
}

TEST_F(ASet, WithBothOverrideFilesIsEnabled) {
  time.createFile(kEnableFile);
  time.createFile(kDisableFile);
  EXPECT_TRUE(delegate.airPlayIsEnabled());
  EXPECT_THAT(tv.take(), ElementsAre("access /var/local/enable_airplay -> there",
                                     "log airPlayIsEnabled: AirPlay is enabled manually for "
                                     "testing purpose."));
}

TEST_F(ASet, WithTheDisableFileIsSupportedButNotEnabled) {
  time.createFile(kDisableFile);
  decideQuietly();
  EXPECT_FALSE(delegate.airPlayIsEnabled());
  EXPECT_THAT(tv.take(), ElementsAre("access /var/local/enable_airplay -> missing",
                                     "access /var/local/enable_airplay -> missing",
                                     "access /var/local/disable_airplay -> there",
                                     "log airPlayIsEnabled: AirPlay is disabled manually for "
                                     "testing purpose."));
  EXPECT_TRUE(delegate.airPlayIsSupported());
}

TEST_F(ASet, IsEnabledAgainWhenTheDisableFileGoes) {
  time.createFile(kDisableFile);
  EXPECT_FALSE(delegate.airPlayIsEnabled());
  time.removeFile(kDisableFile);
  EXPECT_TRUE(delegate.airPlayIsEnabled());
}

TEST_F(ASet, InFactoryModeIsNotEnabled) {
  decideQuietly();
  tv.setting(kFactoryState, 1);
  EXPECT_FALSE(delegate.airPlayIsEnabled());
  EXPECT_THAT(tv.take(),
              ElementsAre("access /var/local/enable_airplay -> missing",
                          "access /var/local/enable_airplay -> missing",
                          "access /var/local/disable_airplay -> missing",
                          "settings.get torvo.sl2.i32.norfactory.state.open -> 0 1",
                          "log airPlayIsEnabled: platform is in factory mode, Disable airplay."));
}

TEST_F(ASet, LeavesFactoryModeWithoutANewDecision) {
  tv.setting(kFactoryState, 1);
  EXPECT_FALSE(delegate.airPlayIsEnabled());
  tv.setting(kFactoryState, 0);
  EXPECT_TRUE(delegate.airPlayIsEnabled());
}

TEST_F(ASet, InFactoryStateTwoIsEnabled) {
  tv.setting(kFactoryState, 2);
  EXPECT_TRUE(delegate.airPlayIsEnabled());
  EXPECT_FALSE(delegate.isFactoryMode());
}

TEST_F(ASet, WhoseFactoryStateCannotBeReadIsEnabled) {
  tv.setting(kFactoryState, 1);
  tv.failRead(kFactoryState, -5);
  EXPECT_TRUE(delegate.airPlayIsEnabled());
  EXPECT_FALSE(delegate.isFactoryMode());
}

TEST_F(ASet, IsInFactoryModeInStateOneAndSaysNothing) {
  tv.setting(kFactoryState, 1);
  EXPECT_TRUE(delegate.isFactoryMode());
  EXPECT_THAT(tv.take(), ElementsAre("settings.get torvo.sl2.i32.norfactory.state.open -> 0 1"));
}

TEST_F(ASet, IsNeverInHotelMode) {
  tv.setting("torvo.sl2.i32.any.hotel.option.changed", 1);
  EXPECT_FALSE(delegate.isHotelMode());
  EXPECT_THAT(tv.take(), IsEmpty());
}

TEST_F(ASet, InHotelModeIsNotEnabledWhateverTheViewersSwitchSays) {
  tv.setting("torvo.sl2.i32.app.setting.airplay.enable", 3);
  HotelDelegate hotel;
  hotel.airPlayIsSupported();
  tv.take();
  EXPECT_FALSE(hotel.airPlayIsEnabled());
  EXPECT_THAT(tv.take(), ElementsAre("access /var/local/enable_airplay -> missing",
                                     "access /var/local/enable_airplay -> missing",
                                     "access /var/local/disable_airplay -> missing",
                                     "settings.get torvo.sl2.i32.norfactory.state.open -> 0 0",
                                     "log airPlayIsEnabled: TVS Hotel mode. checking user "
                                     "switch..."));
}

TEST_F(ASet, InFactoryModeSaysSoBeforeItLooksForAHotel) {
  tv.setting(kFactoryState, 1);
  HotelDelegate hotel;
  EXPECT_FALSE(hotel.airPlayIsEnabled());
  EXPECT_EQ(tv.takeLog().back(),
            "log airPlayIsEnabled: platform is in factory mode, Disable airplay.");
}

// ---- How often it speaks.

TEST_F(ASet, SaysTenTimesThatSupportIsForced) {
  time.createFile(kEnableFile);
  askSupportedTimes(9);
  EXPECT_THAT(tv.takeLog(),
              AllOf(SizeIs(9), Each("log airPlayIsSupported: AirPlay is enabled manually for "
                                    "testing purpose.")));
  askSupportedTimes(5);
  EXPECT_THAT(tv.takeLog(),
              ElementsAre("log airPlayIsSupported: AirPlay is enabled manually for testing "
                          "purpose.",
                          "log airPlayIsSupported: This log is Limit to  10 times, ignore further "
                          "logs. "));
}

TEST_F(ASet, SaysTenTimesMoreThatItIsForcedToBeEnabled) {
  time.createFile(kEnableFile);
  askSupportedTimes(11);
  tv.take();
  askEnabledTimes(9);
  EXPECT_THAT(tv.takeLog(), SizeIs(9));
  askEnabledTimes(5);
  EXPECT_THAT(tv.takeLog(),
              ElementsAre("log airPlayIsEnabled: AirPlay is enabled manually for testing purpose.",
                          "log airPlayIsEnabled: This log is Limit to  10 times, ignore further "
                          "logs. "));
}

TEST_F(ASet, SaysTenTimesThatItIsDisabledByHand) {
  decideQuietly();
  time.createFile(kDisableFile);
  askEnabledTimes(9);
  EXPECT_THAT(tv.takeLog(), SizeIs(9));
  askEnabledTimes(5);
  EXPECT_THAT(tv.takeLog(),
              ElementsAre("log airPlayIsEnabled: AirPlay is disabled manually for testing purpose.",
                          "log airPlayIsEnabled: This log is Limit to  10 times, ignore further "
                          "logs. "));
}

TEST_F(ASet, SaysThirtyTimesThatItIsInFactoryMode) {
  decideQuietly();
  tv.setting(kFactoryState, 1);
  askEnabledTimes(29);
  EXPECT_THAT(tv.takeLog(), SizeIs(29));
  askEnabledTimes(5);
  EXPECT_THAT(tv.takeLog(),
              ElementsAre("log airPlayIsEnabled: platform is in factory mode, Disable airplay.",
                          "log airPlayIsEnabled: This log is Limit to  30 times, ignore further "
                          "logs. "));
}

TEST_F(ASet, SaysTenTimesThatItIsInAHotel) {
  HotelDelegate hotel;
  askEnabledTimes(12, hotel);
  const History::Entries log = tv.takeLog();
  ASSERT_THAT(log, SizeIs(3 + 10 + 1));
  EXPECT_EQ(log[12], "log airPlayIsEnabled: TVS Hotel mode. checking user switch...");
  EXPECT_EQ(log[13], "log airPlayIsEnabled: This log is Limit to  10 times, ignore further logs. ");
}

TEST_F(ASet, SaysTenTimesThatItIsEnabledByDefault) {
  decideQuietly();
  askEnabledTimes(9);
  EXPECT_THAT(tv.takeLog(), SizeIs(9));
  askEnabledTimes(5);
  EXPECT_THAT(tv.takeLog(),
              ElementsAre("log airPlayIsEnabled: Enable airplay by default.",
                          "log airPlayIsEnabled: This log is Limit to  10 times, ignore further "
                          "logs. "));
}

TEST_F(ASet, NamesItsBrandTenTimesHoweverOftenItIsDecided) {
  decideAnewTimes(12);
  const History::Entries log = tv.takeLog();
  EXPECT_THAT(log, ::testing::Contains("log decideSupport: BrandName(0): [Norvale], BrandID(0): "
                                       "[1]")
                       .Times(10));
  EXPECT_THAT(log, ::testing::Contains("log decideSupport: This log is Limit to  10 times, ignore "
                                       "further logs. ")
                       .Times(1));
}

TEST_F(ASet, NamesAnUnsupportedRegionTenTimes) {
  checkMarketsOfRegions(100, 108);
  EXPECT_THAT(tv.takeLog(), SizeIs(9));
  EXPECT_EQ(delegate.checkMarket(109), 7);
  EXPECT_EQ(delegate.checkMarket(110), 7);
  EXPECT_THAT(
      tv.takeLog(),
      ElementsAre("log checkMarket: Not supported Region, 109 assuming Not supported.",
                  "log checkMarket: This log is Limit to  10 times, ignore further logs. "));
}

}  // namespace
