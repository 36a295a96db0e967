// Products and the two override files: who gets AirPlay, and what becomes of the service.
#include <gmock/gmock.h>

#include <algorithm>
#include <ostream>

#include "desk_tv.h"
#include "told.h"

namespace desk {
namespace {

using ::testing::ElementsAreArray;

constexpr char kEnableState[] = "torvo.sl2.i32.app.setting.airplay.enable";
constexpr char kFactoryState[] = "torvo.sl2.i32.norfactory.state.open";
constexpr char kEnableOverride[] = "/var/local/enable_airplay";
constexpr char kDisableOverride[] = "/var/local/disable_airplay";

struct NotSupported {
  const char* product;
  Lines reasons;
};

void PrintTo(const NotSupported& row, std::ostream* out) { *out << row.product; }

class NotSupportedProduct : public Desk, public ::testing::WithParamInterface<NotSupported> {};

TEST_P(NotSupportedProduct, EndsTheServiceAtOnceWithStatus0AndTheSetStaysUp) {
  tv.wanted.product = GetParam().product;

  EXPECT_EQ(tv.bootUntilServiceEnd(), 0);

  Lines account = {"I TVS API is enabled : FALSE",
                   "I Biz is ready.",
                   "H [host] process framework: the business layer's proxy is up",
                   "H [host] process framework: the application manager's proxy is up",
                   "V [TRACE -> B-LOG(IN)] apm_bridge.cpp:LINE:APMBridge() ",
                   "V [TRACE <- B-LOG(OUT)] apm_bridge.cpp:LINE:APMBridge() ",
                   "I Call."};
  account.insert(account.end(), GetParam().reasons.begin(), GetParam().reasons.end());
  account.insert(account.end(), {"E Airplay is NOT supported, Exiting AirplayBridge.",
                                 "E Airplay is failed to start. "});
  EXPECT_THAT(told(tv->events()), ElementsAreArray(account));
  EXPECT_EQ(tv.control().status()["errors"], 0);
}

INSTANTIATE_TEST_SUITE_P(
    Products, NotSupportedProduct,
    ::testing::Values(
        NotSupported{"other-brand",
                     {"I BrandName(0): [Ostera], BrandID(0): [183]",
                      "I Matching rules: (309602, 4, 8, 4 ) (0,0)",
                      "I Airplay is Not support for current brand: Ostera(183), market: 0(0), "
                      "device type: 0 "}},
        NotSupported{"no-region",
                     {"I BrandName(0): [Norvale], BrandID(0): [1]",
                      "I Not supported Region, 111 assuming Not supported.",
                      "I Matching rules: (309602, 0, 7, 0 ) (0,0)",
                      "I Airplay is Not support for current brand: Norvale(1), market: 7(111), "
                      "device type: 0 "}},
        NotSupported{"not-capable", {"I AirPlay is not supported for this device"}}),
    [](const auto& instance) {
      std::string name = instance.param.product;
      std::replace(name.begin(), name.end(), '-', '_');
      return name;
    });

class Products : public Desk {
 protected:
  void bootsAsBridgeOnly(const std::string& reason) {
    tv.boot();
    tv.seesInOrder({logs(reason), writes(kEnableState, "0", "service"),
                    logs("AirPlay EnableState: 0 -> 0"),
                    logs("Airplay is disabled, Running AirplayBridge Only."),
                    logs("airplay is not enabled, mdnsd  can't start"),
                    logs("airplay is not enabled, daemon can't start.")});
    EXPECT_FALSE(tv.has("kind=process name=mdnsd"));
    EXPECT_FALSE(tv.has("kind=process name=airplaydemo"));
    EXPECT_NE(tv->pidOf("service"), 0);
  }

  // Not before the next check, which comes up to ten seconds later.
  void startsBothAfter(const Event& change) {
    tv.seesInOrder({logs("Starting ..."), processStarts("mdnsd"), logs("mdnsd Started."),
                    logs("Starting AirPlay Daemon..."), processStarts("airplaydemo"),
                    logs("Daemon socket is ready: YES")},
                   change["seq"].asUInt64());
  }
};

TEST_F(Products, TheFactorysSetRunsTheBridgeOnlyUntilItLeavesTheFactory) {
  tv.wanted.product = "factory";
  bootsAsBridgeOnly("platform is in factory mode, Disable airplay.");

  tv.control().setSetting(kFactoryState, 0);

  startsBothAfter(tv.sees(writes(kFactoryState, "0", "bench")));
}

TEST_F(Products, TheDisableFileMakesTheCommonSetABridgeOnlyUntilItIsGone) {
  tv.wanted.markers = {kDisableOverride};
  bootsAsBridgeOnly("AirPlay is disabled manually for testing purpose.");

  tv.control().setMarker(kDisableOverride, false);

  startsBothAfter(tv.sees(std::string("kind=marker present=false path=") + kDisableOverride));
}

TEST_F(Products, TheEnableFileGivesAirPlayToASetOfAnotherBrand) {
  tv.wanted.product = "other-brand";
  tv.wanted.markers = {kEnableOverride};
  tv.bootUntilReady();

  tv.seesInOrder({logs("AirPlay is enabled manually for testing purpose."),
                  writes(kEnableState, "3", "service"), processStarts("mdnsd"),
                  processStarts("airplaydemo")});
  EXPECT_FALSE(tv.has("kind=log text~BrandID"));
}

TEST_F(Products, TheEnableFileWinsOverTheDisableFile) {
  tv.wanted.markers = {kEnableOverride, kDisableOverride};
  tv.bootUntilReady();

  tv.sees(writes(kEnableState, "3", "service"));
  EXPECT_FALSE(tv.has(logs("AirPlay is disabled manually for testing purpose.")));
}

}  // namespace
}  // namespace desk
