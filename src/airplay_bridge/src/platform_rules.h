// Which products of the family may offer AirPlay.
#pragma once

namespace norvale {

// Values of the inputs that stand for "any" in the rules, and so for nothing in a product.
inline constexpr int kAnyDeviceType = 4;
inline constexpr int kAnyMarket = 8;

// The market of a region that is not supported.
inline constexpr int kUnsupportedMarket = 7;

// Finds the first rule for a product and writes its two answers; false and false when there is no
// rule. Input that describes no product (brand ID 0, one of the values above) is logged, and
// |supported| and |secondaryFlag| stay as they were. Any thread.
void getPlatformRules(int platformCode, int deviceType, int market, int brandId, bool& supported,
                      bool& secondaryFlag);

// Whether AirPlay is supported on the product.
bool isPlatformSupported(int platformCode, int deviceType, int market, int brandId);

}  // namespace norvale
