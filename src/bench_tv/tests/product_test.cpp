#include "model/product.h"

#include <gmock/gmock.h>

#include "model/setting_keys.h"
#include "temporary_folder.h"

namespace benchtv {
namespace {

using ::testing::ElementsAre;
using ::testing::ThrowsMessage;

constexpr char kBrandId[] = "torvo.sl2.i32.norfactory.logo";
constexpr char kRegion[] = "torvo.sl2.i32.norfactory.region";
constexpr char kCapability[] = "torvo.sl2.i32.system.airplay.support";
constexpr char kFactory[] = "torvo.sl2.i32.norfactory.state.open";
constexpr char kInputs[] = "torvo.sl2.vstr.source.input.name";

class AProduct : public ::testing::Test {
 protected:
  Product of(const std::string& yaml) { return loadProduct(folder.write("tv.yaml", yaml)); }

  // The message without the folder.
  std::string errorOf(const std::string& yaml) {
    try {
      of(yaml);
    } catch (const ProductError& error) {
      return std::string(error.what()).substr(folder.path("").string().size());
    }
    return "no error";
  }

  Product shipped(const std::string& name) {
    return loadProduct(findProduct(name, PRODUCTS_FOLDER));
  }

  TemporaryFolder folder;
};

TEST_F(AProduct, ThatSaysNothingIsTheCommonSet) {
  const Product product = of("# nothing\n");

  EXPECT_EQ(product.name, "tv");
  EXPECT_EQ(product.values.size(), settingKeys().size());
  EXPECT_EQ(product.values, shipped("default").values);
}

TEST_F(AProduct, SaysWhatDiffers) {
  const Product product =
      of("brand: Ostera\n"
         "brand_id: 183\n"
         "inputs:\n"
         "  - [TV, 1, tuner, Antenna]\n"
         "  - [AV, 2, '', \"\"]\n"
         "missing: [region]\n");

  EXPECT_EQ(product.values.at(kBrandKey), Value(std::string("Ostera")));
  EXPECT_EQ(product.values.at(kBrandId), Value(183));
  EXPECT_EQ(product.values.at(kInputs),
            Value(Texts{"TV", "1", "tuner", "Antenna", "AV", "2", "", ""}));
  EXPECT_EQ(product.values.count(kRegion), 0U);
  EXPECT_EQ(product.values.at(kCapability), Value(1));
}

TEST_F(AProduct, IsShippedInFiveKinds) {
  EXPECT_THAT(productNames(PRODUCTS_FOLDER),
              ElementsAre("default", "factory", "no-region", "not-capable", "other-brand"));
  EXPECT_EQ(shipped("default").values.at(kBrandId), Value(1));
  EXPECT_EQ(shipped("other-brand").values.at(kBrandId), Value(183));
  EXPECT_EQ(shipped("factory").values.at(kFactory), Value(1));
  EXPECT_EQ(shipped("not-capable").values.at(kCapability), Value(0));
  EXPECT_EQ(shipped("no-region").values.count(kRegion), 0U);
}

TEST_F(AProduct, WithAnErrorNamesItsLineAndWhatIsAllowed) {
  EXPECT_EQ(errorOf("brand: Ostera\nregion: north\n"),
            "tv.yaml:2: \"region\" must be an integer between -2147483648 and 2147483647");
  EXPECT_EQ(errorOf("region: 2147483648\n"),
            "tv.yaml:1: \"region\" must be an integer between -2147483648 and 2147483647");
  EXPECT_EQ(errorOf("\n\nregion: \"3\"\n"),
            "tv.yaml:3: \"region\" must be an integer between -2147483648 and 2147483647");
  EXPECT_EQ(errorOf("brand: [a]\n"), "tv.yaml:1: \"brand\" must be a text");
  EXPECT_EQ(errorOf("brand:\n"), "tv.yaml:1: the field \"brand\" has no value");
  EXPECT_EQ(errorOf("inputs:\n  - [TV, 1, tuner, Antenna]\n  - [AV]\n"),
            "tv.yaml:3: \"inputs\" must be a list of records of four texts each");
  EXPECT_EQ(errorOf("life_cycle: started\n"), "tv.yaml:1: \"life_cycle\" must be a list of texts");
  EXPECT_EQ(errorOf("region: 1\nregion: 2\n"), "tv.yaml:2: the field \"region\" stands twice");
  EXPECT_EQ(errorOf("missing: region\n"),
            "tv.yaml:1: \"missing\" must be a list of fields, such as [region]");
  EXPECT_EQ(errorOf("- region\n"),
            "tv.yaml:1: a product file is a map of fields, such as \"brand_id: 183\"");
  EXPECT_EQ(errorOf("a: 1\nb: [\n").substr(0, 22), "tv.yaml:3: not YAML: e");
}

TEST_F(AProduct, WithAnUnknownFieldListsThoseThereAre) {
  EXPECT_EQ(errorOf("region: 1\ncolour: red\n"),
            "tv.yaml:2: unknown field \"colour\": allowed are missing, hotel_option_changed, "
            "enable_state, user_enabled, eula_dpp, eula_general, tuner, network, brand_id, region, "
            "factory_state, mute, capability, audio_only, power_use_case, screen_state, laser_tv, "
            "open_from_standby, brand, serial, model, software_version, current_app, app_status, "
            "life_cycle, inputs");
  EXPECT_EQ(errorOf("missing:\n  - regoin\n").substr(0, 35),
            "tv.yaml:2: unknown field \"regoin\": ");
}

TEST_F(AProduct, ThatCannotBeReadSaysSo) {
  EXPECT_THAT([&] { loadProduct(folder.path("none.yaml")); },
              ThrowsMessage<ProductError>(folder.path("none.yaml").string() +
                                          ": is no file that can be read"));
  EXPECT_THAT(
      [&] { loadProduct(folder.path()); },
      ThrowsMessage<ProductError>(folder.path().string() + ": is no file that can be read"));
  EXPECT_EQ(errorOf("brand: " + std::string(300 * 1024, 'x')),
            "tv.yaml: is larger than a product file may be (256 KiB)");
  EXPECT_EQ(errorOf(std::string(100'000, '[')).substr(0, 20), "tv.yaml:1: not YAML:");
}

TEST_F(AProduct, IsFoundByNameOrPath) {
  folder.write("blue.yaml", "");
  folder.write("red.yaml", "");

  EXPECT_EQ(findProduct("red", folder.path()), folder.path("red.yaml"));
  EXPECT_EQ(findProduct("./red", folder.path()), "./red");
  EXPECT_EQ(findProduct("red.yaml", folder.path()), "red.yaml");
  EXPECT_THAT([&] { findProduct("green", folder.path()); },
              ThrowsMessage<ProductError>("no product \"green\": there are blue, red; or give the "
                                          "path of a file that ends in .yaml"));
}

}  // namespace
}  // namespace benchtv
