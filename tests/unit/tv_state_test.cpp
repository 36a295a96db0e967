// The plain reads and writes of the set's state.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "in_memory_tv.h"
#include "platform_delegate.h"
#include "virtual_libc.h"

using norvale::PlatformDelegate;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Values;

namespace {

constexpr char kEnable[] = "torvo.sl2.i32.app.setting.airplay.enable";
constexpr char kNetwork[] = "torvo.sl2.i32.local.network.available";
constexpr char kAudioOnly[] = "torvo.sl2.i32.system.audio.only";
constexpr char kLifeCycle[] = "torvo.sl2.vstr.app.setting.airplay.status";
constexpr char kCurrentApp[] = "torvo.sl2.str.source.app.current";

class TheState : public ::testing::Test {
 protected:
  TheState() { tv.take(); }

  InMemoryTv tv;
  VirtualLibc time{tv.history()};
  PlatformDelegate delegate;
};

// ---- Identity.

struct TextRead {
  const char* name;
  int (PlatformDelegate::*read)(std::string& text);
  std::string key;
  const char* logged;        // for the text "NV 55"
  const char* loggedFailed;  // for the status -5 and the caller's own text "before"
};

void PrintTo(const TextRead& row, std::ostream* out) { *out << row.name; }

class AnIdentity : public TheState, public ::testing::WithParamInterface<TextRead> {};

TEST_P(AnIdentity, IsReadAndLogged) {
  tv.setting(GetParam().key, "NV 55");
  std::string text = "before";
  EXPECT_EQ((delegate.*GetParam().read)(text), 0);
  EXPECT_EQ(text, "NV 55");
  EXPECT_THAT(tv.take(),
              ElementsAre("settings.get " + GetParam().key + " -> 0 \"NV 55\"", GetParam().logged));
}

TEST_P(AnIdentity, ThatCannotBeReadLeavesTheTextAsItWas) {
  tv.failRead(GetParam().key, -5);
  std::string text = "before";
  EXPECT_EQ((delegate.*GetParam().read)(text), -5);
  EXPECT_EQ(text, "before");
  EXPECT_THAT(tv.take(),
              ElementsAre("settings.get " + GetParam().key + " -> -5", GetParam().loggedFailed));
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Each, AnIdentity, Values(
    TextRead{"Brand", &PlatformDelegate::getBrandName, "torvo.sl2.str.norfactory.fullbrand",
             "log getBrandName: BrandName: 0, NV 55",
             "log getBrandName: BrandName: -5, before"},
    TextRead{"Model", &PlatformDelegate::getModelName, "torvo.sl2.str.norfactory.production.type",
             "log getModelName: ModelName: 0, NV 55",
             "log getModelName: ModelName: -5, before"},
    TextRead{"Software", &PlatformDelegate::getSoftwareVersion,
             "torvo.sl2.str.norfactory.software.version",
             "log getSoftwareVersion: Software Version: 0, NV 55",
             "log getSoftwareVersion: Software Version: -5, before"},
    TextRead{"Serial", &PlatformDelegate::getDeviceSN, "torvo.sl2.str.norfactory.materiel.serial",
             "log getDeviceSN: DeviceSN:0 [NV 55]",
             "log getDeviceSN: DeviceSN:-5 [before]"}),
    [](const auto& row) { return std::string(row.param.name); });
// clang-format on

TEST_F(TheState, HasAPlatformNameOfItsOwn) {
  std::string name = "before";
  EXPECT_EQ(delegate.getPlatformName(name), 0);
  EXPECT_EQ(name, "MT9602");
  EXPECT_THAT(tv.take(), IsEmpty());
}

TEST_F(TheState, HasItsPlatformNameAlsoWhenTheSetIsGone) {
  tv.dies();
  std::string name;
  EXPECT_EQ(delegate.getPlatformName(name), 0);
  EXPECT_EQ(name, "MT9602");
}

TEST_F(TheState, MayHoldTextThatLooksLikeAFormat) {
  tv.setting("torvo.sl2.str.norfactory.production.type", "%s%n%d\x1b\xff");
  std::string model;
  delegate.getModelName(model);
  EXPECT_EQ(model, "%s%n%d\x1b\xff");
  EXPECT_THAT(tv.takeLog(), ElementsAre("log getModelName: ModelName: 0, %s%n%d\x1b\xff"));
}

TEST_F(TheState, NamesTheCurrentApplicationWithoutAWord) {
  tv.setting(kCurrentApp, "hdmi1");
  std::string app;
  EXPECT_EQ(delegate.getCurrentApp(app), 0);
  EXPECT_EQ(app, "hdmi1");
  EXPECT_THAT(tv.take(), ElementsAre("settings.get torvo.sl2.str.source.app.current -> 0 "
                                     "\"hdmi1\""));
}

TEST_F(TheState, LeavesTheCallersApplicationWhenItCannotBeRead) {
  tv.failRead(kCurrentApp, -5);
  std::string app = "before";
  EXPECT_EQ(delegate.getCurrentApp(app), -5);
  EXPECT_EQ(app, "before");
}

// ---- Numbers that are read straight into the caller's.

struct NumberRead {
  const char* name;
  int (PlatformDelegate::*read)(int& number);
  std::string key;
  std::string logged;  // before the number; empty for no line
};

void PrintTo(const NumberRead& row, std::ostream* out) { *out << row.name; }

class ANumber : public TheState, public ::testing::WithParamInterface<NumberRead> {
 protected:
  static std::vector<std::string> withLog(const std::string& call, const std::string& number) {
    return GetParam().logged.empty() ? std::vector{call}
                                     : std::vector{call, GetParam().logged + number};
  }
};

TEST_P(ANumber, IsReadAndLogged) {
  tv.setting(GetParam().key, 7);
  int number = 88;
  EXPECT_EQ((delegate.*GetParam().read)(number), 0);
  EXPECT_EQ(number, 7);
  EXPECT_EQ(tv.take(), withLog("settings.get " + GetParam().key + " -> 0 7", "7"));
}

TEST_P(ANumber, ThatCannotBeReadStaysTheCallers) {
  tv.failRead(GetParam().key, 13);
  int number = 88;
  EXPECT_EQ((delegate.*GetParam().read)(number), 13);
  EXPECT_EQ(number, 88);
  EXPECT_EQ(tv.take(), withLog("settings.get " + GetParam().key + " -> 13", "88"));
}

INSTANTIATE_TEST_SUITE_P(Each, ANumber,
                         Values(NumberRead{"OpenFromStandby", &PlatformDelegate::getOpenFromStandby,
                                           "torvo.sl2.i32.system.open.from.standby",
                                           "log getOpenFromStandby: get Open From Standby: "},
                                NumberRead{"PowerUseCase", &PlatformDelegate::getPowerUseCase,
                                           "torvo.sl2.i32.system.enum.pwr.use.case",
                                           "log getPowerUseCase: get Power Use Case: "},
                                NumberRead{"DppEula", &PlatformDelegate::getDppEula,
                                           "torvo.sl2.i32.basic.settings.eula.dpp.eula", ""},
                                NumberRead{"EulaGeneral", &PlatformDelegate::getEulaGeneral,
                                           "torvo.sl2.i32.basic.settings.eula.dpp.general", ""}),
                         [](const auto& row) { return std::string(row.param.name); });

struct NumberWrite {
  const char* name;
  int (PlatformDelegate::*write)(int number);
  std::string key;
  const char* logged;  // for the number 5
};

void PrintTo(const NumberWrite& row, std::ostream* out) { *out << row.name; }

class AWrittenNumber : public TheState, public ::testing::WithParamInterface<NumberWrite> {};

TEST_P(AWrittenNumber, IsWrittenAndLogged) {
  EXPECT_EQ((delegate.*GetParam().write)(5), 0);
  EXPECT_THAT(tv.take(),
              ElementsAre("settings.set " + GetParam().key + " 5 -> 0", GetParam().logged));
}

TEST_P(AWrittenNumber, IsLoggedAlsoWhenItsWriteFails) {
  tv.failWrite(GetParam().key, -30);
  EXPECT_EQ((delegate.*GetParam().write)(5), -30);
  EXPECT_THAT(tv.take(),
              ElementsAre("settings.set " + GetParam().key + " 5 -> -30", GetParam().logged));
}

INSTANTIATE_TEST_SUITE_P(Each, AWrittenNumber,
                         Values(NumberWrite{"OpenFromStandby",
                                            &PlatformDelegate::setOpenFromStandby,
                                            "torvo.sl2.i32.system.open.from.standby",
                                            "log setOpenFromStandby: set Open From Standby: 5"},
                                NumberWrite{"PowerUseCase", &PlatformDelegate::setPowerUseCase,
                                            "torvo.sl2.i32.system.enum.pwr.use.case",
                                            "log setPowerUseCase: set Power Use Case: 5"}),
                         [](const auto& row) { return std::string(row.param.name); });

// ---- The viewer's switch.

TEST_F(TheState, ReadsTheSwitchWithoutAWord) {
  tv.setting(kEnable, 3);
  int state = 88;
  EXPECT_EQ(delegate.getAirPlayEnableState(state), 0);
  EXPECT_EQ(state, 3);
  EXPECT_THAT(tv.take(),
              ElementsAre("settings.get torvo.sl2.i32.app.setting.airplay.enable -> 0 3"));
}

TEST_F(TheState, ReadsASwitchThatCannotBeReadAsMinusOne) {
  tv.failRead(kEnable, -5);
  int state = 88;
  EXPECT_EQ(delegate.getAirPlayEnableState(state), -5);
  EXPECT_EQ(state, -1);
}

TEST_F(TheState, SetsTheSwitchAndNamesItsOldState) {
  tv.setting(kEnable, 2);
  delegate.setAirPlayEnableState(3);
  EXPECT_THAT(tv.take(), ElementsAre("settings.get torvo.sl2.i32.app.setting.airplay.enable -> 0 2",
                                     "settings.set torvo.sl2.i32.app.setting.airplay.enable 3 -> 0",
                                     "log setAirPlayEnableState: AirPlay EnableState: 2 -> 3"));
}

TEST_F(TheState, SetsTheSwitchAlsoToWhatItIs) {
  tv.setting(kEnable, 2);
  delegate.setAirPlayEnableState(2);
  EXPECT_THAT(tv.takeOnly({"settings.set"}),
              ElementsAre("settings.set torvo.sl2.i32.app.setting.airplay.enable 2 -> 0"));
}

TEST_F(TheState, NamesZeroForAnOldStateThatCannotBeRead) {
  tv.setting(kEnable, 3);
  tv.failRead(kEnable, -5);
  delegate.setAirPlayEnableState(1);
  EXPECT_THAT(tv.take(), ElementsAre("settings.get torvo.sl2.i32.app.setting.airplay.enable -> -5",
                                     "settings.set torvo.sl2.i32.app.setting.airplay.enable 1 -> 0",
                                     "log setAirPlayEnableState: AirPlay EnableState: 0 -> 1"));
}

TEST_F(TheState, TellsNobodyOfASwitchThatCouldNotBeSet) {
  tv.setting(kEnable, 2);
  tv.failWrite(kEnable, -30);
  delegate.setAirPlayEnableState(3);
  EXPECT_THAT(tv.takeLog(), ElementsAre("log setAirPlayEnableState: AirPlay EnableState: 2 -> 3"));
}

// ---- Network.

struct NetworkRead {
  const char* name;
  int value;
  bool available;
};

void PrintTo(const NetworkRead& row, std::ostream* out) { *out << row.name; }

class TheNetwork : public TheState, public ::testing::WithParamInterface<NetworkRead> {};

TEST_P(TheNetwork, IsAvailableOnlyAtOne) {
  tv.setting(kNetwork, GetParam().value);
  bool available = !GetParam().available;
  EXPECT_EQ(delegate.isNetworkAvailable(available), 0);
  EXPECT_EQ(available, GetParam().available);
  EXPECT_THAT(tv.takeLog(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Each, TheNetwork,
                         Values(NetworkRead{"Zero", 0, false}, NetworkRead{"One", 1, true},
                                NetworkRead{"Two", 2, false}, NetworkRead{"MinusOne", -1, false}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(TheState, TakesANetworkThatCannotBeReadForNotAvailable) {
  tv.setting(kNetwork, 1);
  tv.failRead(kNetwork, -5);
  bool available = true;
  EXPECT_EQ(delegate.isNetworkAvailable(available), -5);
  EXPECT_FALSE(available);
}

// ---- Screen.

TEST_F(TheState, TurnsTheScreenOff) {
  tv.setting(kAudioOnly, 0);
  EXPECT_EQ(delegate.setScreenState(false), 0);
  EXPECT_THAT(tv.take(), ElementsAre("log setScreenState: Set Audio Only mode: 1",
                                     "settings.get torvo.sl2.i32.system.audio.only -> 0 0",
                                     "settings.set torvo.sl2.i32.system.audio.only 1 -> 0"));
}

TEST_F(TheState, TurnsTheScreenOn) {
  tv.setting(kAudioOnly, 1);
  EXPECT_EQ(delegate.setScreenState(true), 0);
  EXPECT_THAT(tv.take(), ElementsAre("log setScreenState: Set Audio Only mode: 0",
                                     "settings.get torvo.sl2.i32.system.audio.only -> 0 1",
                                     "settings.set torvo.sl2.i32.system.audio.only 0 -> 0"));
}

TEST_F(TheState, WritesNothingToAScreenThatIsOff) {
  tv.setting(kAudioOnly, 1);
  EXPECT_EQ(delegate.setScreenState(false), 0);
  EXPECT_THAT(tv.take(),
              ElementsAre("log setScreenState: Set Audio Only mode: 1",
                          "settings.get torvo.sl2.i32.system.audio.only -> 0 1",
                          "log setScreenState: Audio only mode not changed, skip set value. "));
}

TEST_F(TheState, WritesNothingToAScreenThatIsOn) {
  tv.setting(kAudioOnly, 0);
  EXPECT_EQ(delegate.setScreenState(true), 0);
  EXPECT_THAT(tv.take(),
              ElementsAre("log setScreenState: Set Audio Only mode: 0",
                          "settings.get torvo.sl2.i32.system.audio.only -> 0 0",
                          "log setScreenState: Audio only mode not changed, skip set value. "));
}

TEST_F(TheState, WritesNothingToAScreenThatCannotBeRead) {
  tv.failRead(kAudioOnly, -5);
  EXPECT_EQ(delegate.setScreenState(true), -5);
  EXPECT_THAT(tv.take(), ElementsAre("log setScreenState: Set Audio Only mode: 0",
                                     "settings.get torvo.sl2.i32.system.audio.only -> -5",
                                     "ERR setScreenState: Failed to read audio only mode. "));
}

TEST_F(TheState, GivesBackTheFailureToWriteTheScreen) {
  tv.setting(kAudioOnly, 0);
  tv.failWrite(kAudioOnly, -30);
  EXPECT_EQ(delegate.setScreenState(false), -30);
}

TEST_F(TheState, WritesOverAScreenOfAnUnknownState) {
  tv.setting(kAudioOnly, 2);
  EXPECT_EQ(delegate.setScreenState(false), 0);
  EXPECT_THAT(tv.takeOnly({"settings.set"}),
              ElementsAre("settings.set torvo.sl2.i32.system.audio.only 1 -> 0"));
}

// ---- Life cycle.

TEST_F(TheState, WritesTheLifeCycleAsItIs) {
  EXPECT_EQ(delegate.setAirPlayLifeCycle({"stopping", "currentSource", ""}), 0);
  EXPECT_THAT(tv.take(), ElementsAre("settings.set torvo.sl2.vstr.app.setting.airplay.status "
                                     "[\"stopping\",\"currentSource\",\"\"] -> 0"));
}

TEST_F(TheState, WritesAnEmptyLifeCycle) {
  EXPECT_EQ(delegate.setAirPlayLifeCycle({}), 0);
  EXPECT_THAT(tv.take(),
              ElementsAre("settings.set torvo.sl2.vstr.app.setting.airplay.status [] -> 0"));
}

TEST_F(TheState, GivesBackTheFailureToWriteTheLifeCycle) {
  tv.failWrite(kLifeCycle, -30);
  EXPECT_EQ(delegate.setAirPlayLifeCycle({"started", ""}), -30);
}

TEST_F(TheState, ReadsTheLifeCycleAndNamesItsFirstWord) {
  tv.setting(kLifeCycle, Texts{"starting", "NorvaleUI"});
  std::vector<std::string> list{"before"};
  EXPECT_EQ(delegate.getAirPlayLifeCycle(list), 0);
  EXPECT_THAT(list, ElementsAre("starting", "NorvaleUI"));
  EXPECT_THAT(tv.take(), ElementsAre("settings.get torvo.sl2.vstr.app.setting.airplay.status -> 0 "
                                     "[\"starting\",\"NorvaleUI\"]",
                                     "log getAirPlayLifeCycle: airplay life cycle is starting"));
}

TEST_F(TheState, CallsALifeCycleWithoutWordsEmpty) {
  tv.setting(kLifeCycle, Texts{});
  std::vector<std::string> list;
  EXPECT_EQ(delegate.getAirPlayLifeCycle(list), 0);
  EXPECT_THAT(list, IsEmpty());
  EXPECT_THAT(tv.takeLog(), ElementsAre("log getAirPlayLifeCycle: airplay life cycle is empty"));
}

TEST_F(TheState, CallsALifeCycleThatCannotBeReadEmpty) {
  tv.failRead(kLifeCycle, -5);
  std::vector<std::string> list;
  EXPECT_EQ(delegate.getAirPlayLifeCycle(list), -5);
  EXPECT_THAT(tv.takeLog(), ElementsAre("log getAirPlayLifeCycle: airplay life cycle is empty"));
}

TEST_F(TheState, NamesALifeCycleThatBeginsWithNothing) {
  tv.setting(kLifeCycle, Texts{"", "Daemon"});
  std::vector<std::string> list;
  EXPECT_EQ(delegate.getAirPlayLifeCycle(list), 0);
  EXPECT_THAT(tv.takeLog(), ElementsAre("log getAirPlayLifeCycle: airplay life cycle is "));
}

// ---- Target of UI messages.

TEST_F(TheState, SendsUiMessagesToTheLauncherAndSaysSoOnce) {
  EXPECT_EQ(delegate.getUiTargetMessageName(), "launcher");
  EXPECT_EQ(delegate.getUiTargetMessageName(), "launcher");
  EXPECT_THAT(tv.take(), ElementsAre("log getUiTargetMessageName: Other Market, UI is launcher"));
}

}  // namespace
