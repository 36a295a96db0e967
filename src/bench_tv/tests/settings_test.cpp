#include "set/settings.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <optional>

#include "model/setting_keys.h"
#include "recorded_set.h"
#include "set/refusal.h"

namespace benchtv {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

constexpr char kEnable[] = "torvo.sl2.i32.app.setting.airplay.enable";
constexpr char kRegion[] = "torvo.sl2.i32.norfactory.region";

class TheSettings : public ::testing::Test {
 protected:
  TheSettings() {
    product = loadProduct(folder.write("default.yaml", "missing: [region]\nenable_state: 2\n"));
    switchOn();
  }

  void switchOn() {
    settings.reset();
    store.reset();
    store.emplace(folder.path("state"), "default");
    settings.emplace(product, *store, faults, journal, outlet);
  }

  int read(const std::string& key) {
    Value value = -77;
    const int status = settings->read(key, value);
    return status == 0 ? std::get<std::int32_t>(value) : status;
  }

  TemporaryFolder folder;
  Product product;
  Journal journal{folder.path()};
  Faults faults{journal};
  RecordingOutlet outlet;
  std::optional<SettingsStore> store;
  std::optional<Settings> settings;
};

TEST_F(TheSettings, AreTheProductsUntilTheyAreWritten) {
  EXPECT_EQ(read(kEnable), 2);
  EXPECT_EQ(settings->write(kEnable, 3, Writer::kService), 0);
  EXPECT_EQ(read(kEnable), 3);
  switchOn();
  EXPECT_EQ(read(kEnable), 3);
}

TEST_F(TheSettings, RefuseUnknownAndLeftOutKeysAndOtherKinds) {
  EXPECT_EQ(read("torvo.sl2.i32.nothing"), -ENOENT);
  EXPECT_EQ(read(kRegion), -ENOENT);
  EXPECT_EQ(settings->write(kRegion, 1, Writer::kService), -ENOENT);
  EXPECT_EQ(settings->write(kEnable, std::string("3"), Writer::kService), -EINVAL);
  EXPECT_EQ(settings->observe(kRegion, ":1.5"), -ENOENT);
  EXPECT_EQ(read(kEnable), 2);
}

TEST_F(TheSettings, TellEveryWriteToTheObserversInOrder) {
  EXPECT_EQ(settings->observe(kEnable, ":1.5"), 0);
  EXPECT_EQ(settings->observe(kEnable, ":1.5"), 0);
  EXPECT_EQ(settings->observe(kEnable, ":1.6"), 0);
  settings->write(kEnable, 2, Writer::kService);
  settings->clientGone(":1.5");
  settings->write(kEnable, 0, Writer::kBench);

  EXPECT_THAT(outlet.sent, ElementsAre(std::string(":1.5: changed ") + kEnable + " 2",
                                       std::string(":1.6: changed ") + kEnable + " 2",
                                       std::string(":1.6: changed ") + kEnable + " 0"));
  const std::string common = std::string("key=\"") + kEnable + R"(" op="write" status=0 value=)";
  EXPECT_THAT(journalOf(folder), ElementsAre("setting by=\"service\" " + common + "2",
                                             "setting by=\"bench\" " + common + "0"));
}

TEST_F(TheSettings, FailAsAFaultSaysAndOnlyForTheService) {
  settings->observe(kEnable, ":1.5");
  faults.set("setting-read", kEnable, -5);
  faults.set("setting-write", kEnable, 17);
  faults.set("setting-connect", kEnable, -3);

  EXPECT_EQ(read(kEnable), -5);
  EXPECT_EQ(settings->write(kEnable, 3, Writer::kService), 17);
  EXPECT_EQ(settings->observe(kEnable, ":1.6"), -3);
  EXPECT_EQ(*settings->find(kEnable), Value(2));
  EXPECT_THAT(outlet.sent, IsEmpty());
  EXPECT_EQ(settings->write(kEnable, 0, Writer::kBench), 0);

  faults.clear("", "");
  EXPECT_EQ(read(kEnable), 0);
}

TEST_F(TheSettings, AreUnmutedByTheMuteKey) {
  settings->write(kMuteKey, 2, Writer::kBench);
  EXPECT_EQ(settings->invoke(kSendKeyAction, ":1.5", {"KEY_MUTE"}), 0);
  EXPECT_EQ(read(kMuteKey), 0);
  EXPECT_EQ(outlet.sent.back(), ":1.5: done torvo.sl2.system.action.send.key 0");
  EXPECT_EQ(settings->invoke(kSendKeyAction, ":1.5", {"KEY_MUTE"}), 0);
  EXPECT_EQ(read(kMuteKey), 1);
}

TEST_F(TheSettings, CarryOutNoActionThatMakesNoSense) {
  EXPECT_EQ(settings->invoke("torvo.sl2.system.action.none", ":1.5", {"KEY_MUTE"}), -ENOENT);
  EXPECT_THAT(outlet.sent, IsEmpty());
  EXPECT_EQ(settings->invoke(kSendKeyAction, ":1.5", {"MUTE"}), 0);
  EXPECT_THAT(outlet.sent, ElementsAre(":1.5: done torvo.sl2.system.action.send.key -22"));
  EXPECT_THAT(journalOf(folder).back(),
              R"(action key="torvo.sl2.system.action.send.key" status=0 texts=["MUTE"])");
}

TEST_F(TheSettings, FaultsAreRefusedWithWhatIsAllowed) {
  const auto refused = [&](const char* fault, const char* target, int value) {
    try {
      faults.set(fault, target, value);
    } catch (const Refusal& refusal) {
      return std::string(refusal.what());
    }
    return std::string("taken");
  };
  EXPECT_EQ(
      refused("nothing", "", 1),
      "no fault \"nothing\": there are setting-read, setting-write, setting-connect, bus-init, "
      "bus-send, bus-inject, apm-missing, daemon-hang, daemon-never-ready");
  EXPECT_EQ(refused("setting-read", "", 1), "the fault setting-read needs a settings key");
  EXPECT_EQ(refused("setting-read", "x", 1), "no settings key \"x\": see the list of settings");
  EXPECT_EQ(refused("setting-read", kEnable, 0),
            "the status of setting-read must not be 0, which is success");
  EXPECT_EQ(refused("bus-send", kEnable, -1), "the fault bus-send takes no settings key");
  EXPECT_EQ(refused("bus-send", "", 1), "the status of bus-send must be below 0");
  EXPECT_EQ(refused("daemon-hang", "", 2), "the fault daemon-hang is set with 1");
  EXPECT_THAT(faults.list(), IsEmpty());
}

TEST_F(TheSettings, FaultsAreTakenFromTheCommandLine) {
  faults.setFromText(std::string("setting-read:") + kEnable + "=-5");
  faults.setFromText("apm-missing=1");
  EXPECT_EQ(faults.value("setting-read", kEnable), -5);
  EXPECT_EQ(faults.value("apm-missing"), 1);
  for (const char* text : {"apm-missing", "apm-missing=", "apm-missing=1x", "=", ""}) {
    EXPECT_THROW(faults.setFromText(text), Refusal) << text;
  }

  faults.clear("setting-read", "");
  EXPECT_THAT(faults.list(), ElementsAre(Faults::Active("apm-missing", "", 1)));
  EXPECT_THROW(faults.clear("nothing", ""), Refusal);
}

}  // namespace
}  // namespace benchtv
