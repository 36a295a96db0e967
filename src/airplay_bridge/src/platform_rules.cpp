#include "platform_rules.h"

#include <cstdint>

#include "log.h"

namespace norvale {

namespace {

constexpr int kAnyBrandType = 4;
constexpr int kInvalidBrandId = 0;

struct Rule {
  std::int32_t platformCode;
  std::int32_t deviceType;
  std::int32_t market;
  std::int32_t brandType;
  bool supported;
  bool secondaryFlag;
};

constexpr int kNone = kUnsupportedMarket;
constexpr int kAnyM = kAnyMarket;
constexpr int kAnyD = kAnyDeviceType;
constexpr int kAnyB = kAnyBrandType;

// The first match wins, so the order is what makes the refusals work: each platform begins by
// refusing the unsupported region, before a wildcard can accept it, and ends by refusing the rest.
// clang-format off
constexpr Rule kRules[] = {
    // platform  device  market  brand   supported  secondary
    {  309618,   0,      kNone,  kAnyB,  false,     false },
    {  309618,   0,      kAnyM,  0,      true,      true  },
    {  309618,   0,      kAnyM,  3,      true,      true  },
    {  309618,   0,      kAnyM,  1,      true,      true  },
    {  309618,   1,      kNone,  kAnyB,  false,     false },
    {  309618,   1,      kAnyM,  0,      true,      false },
    {  309618,   kAnyD,  kAnyM,  kAnyB,  false,     false },

    {  309603,   0,      kNone,  0,      false,     false },
    {  309603,   0,      kAnyM,  0,      true,      true  },
    {  309603,   0,      6,      3,      true,      true  },
    {  309603,   kAnyD,  kAnyM,  kAnyB,  false,     false },

    {  472690,   0,      kNone,  0,      false,     false },
    {  472690,   0,      kAnyM,  0,      true,      false },
    {  472690,   0,      3,      1,      true,      false },
    {  472690,   0,      4,      1,      true,      false },
    {  472690,   0,      5,      1,      true,      false },
    {  472690,   kAnyD,  kAnyM,  kAnyB,  false,     false },

    {  309900,   0,      kNone,  0,      false,     false },
    {  309900,   0,      kAnyM,  0,      true,      true  },
    {  309900,   0,      6,      3,      true,      true  },
    {  309900,   1,      kNone,  0,      false,     false },
    {  309900,   1,      kAnyM,  0,      true,      true  },
    {  309900,   1,      kNone,  2,      false,     false },
    {  309900,   1,      kAnyM,  2,      true,      true  },
    {  309900,   2,      kNone,  0,      false,     false },
    {  309900,   2,      kAnyM,  0,      true,      true  },
    {  309900,   kAnyD,  kAnyM,  kAnyB,  false,     false },

    {  309602,   0,      kNone,  0,      false,     false },
    {  309602,   0,      kAnyM,  0,      true,      true  },
    {  309602,   kAnyD,  kAnyM,  kAnyB,  false,     false },
};
// clang-format on

int brandTypeOf(int brandId) {
  switch (brandId) {
    case 1:
    case 95:
      return 0;
    case 183:
      return 3;
    case 259:
      return 2;
    default:
      return 1;
  }
}

bool matches(const Rule& rule, int platformCode, int deviceType, int market, int brandType) {
  return rule.platformCode == platformCode &&
         (rule.deviceType == kAnyDeviceType || rule.deviceType == deviceType) &&
         (rule.market == kAnyMarket || rule.market == market) &&
         (rule.brandType == kAnyBrandType || rule.brandType == brandType);
}

}  // namespace

void getPlatformRules(int platformCode, int deviceType, int market, int brandId, bool& supported,
                      bool& secondaryFlag) {
  if (brandId == kInvalidBrandId) {
    BLOG_ERROR("Invalid brand type for %d ", brandId);
    return;
  }
  const int brandType = brandTypeOf(brandId);
  if (deviceType == kAnyDeviceType) {
    BLOG_ERROR("Invalid Device type.");
    return;
  }
  if (market == kAnyMarket) {
    BLOG_ERROR("Invalid market.");
    return;
  }

  for (const Rule& rule : kRules) {
    if (matches(rule, platformCode, deviceType, market, brandType)) {
      BLOG_INFO_FIRST(10, "Matching rules: (%d, %d, %d, %d ) (%d,%d)", rule.platformCode,
                      rule.deviceType, rule.market, rule.brandType, rule.supported,
                      rule.secondaryFlag);
      supported = rule.supported;
      secondaryFlag = rule.secondaryFlag;
      return;
    }
  }
  BLOG_INFO_FIRST(20, "No rules match the product: (%d, %d, %d, %d )", platformCode, deviceType,
                  market, brandType);
  supported = false;
  secondaryFlag = false;
}

bool isPlatformSupported(int platformCode, int deviceType, int market, int brandId) {
  bool supported = false;
  bool secondaryFlag = false;
  getPlatformRules(platformCode, deviceType, market, brandId, supported, secondaryFlag);
  return supported;
}

}  // namespace norvale
