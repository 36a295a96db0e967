// The door to the settings model: which keys are opened, what is observed, what changes lead to.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "in_memory_tv.h"
#include "platform_delegate.h"
#include "recording_airplay_bridge.h"
#include "virtual_libc.h"

using norvale::PlatformDelegate;
using norvale::system::access::ValueObject;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using ::testing::Values;

namespace {

constexpr char kNetwork[] = "torvo.sl2.i32.local.network.available";
constexpr char kAppStatus[] = "torvo.sl2.str.source.app.status";
constexpr char kCurrentApp[] = "torvo.sl2.str.source.app.current";
constexpr char kDppEula[] = "torvo.sl2.i32.basic.settings.eula.dpp.eula";
constexpr char kEulaGeneral[] = "torvo.sl2.i32.basic.settings.eula.dpp.general";

TEST(OpeningTheSettings, OpensEachKeyOnceInOrder) {
  InMemoryTv tv;
  const PlatformDelegate delegate;
  EXPECT_THAT(tv.takeOnly({"settings.open", "action.open"}),
              ElementsAre("settings.open torvo.sl2.i32.app.setting.airplay.enable",
                          "settings.open torvo.sl2.i32.system.airplay.support",
                          "settings.open torvo.sl2.vstr.app.setting.airplay.status",
                          "settings.open torvo.sl2.str.norfactory.fullbrand",
                          "settings.open torvo.sl2.i32.norfactory.logo",
                          "settings.open torvo.sl2.i32.local.network.available handler",
                          "settings.open torvo.sl2.str.source.app.status handler",
                          "settings.open torvo.sl2.i32.system.open.from.standby",
                          "settings.open torvo.sl2.i32.system.enum.pwr.use.case",
                          "settings.open torvo.sl2.vstr.source.input.name",
                          "settings.open torvo.sl2.i32.basic.settings.eula.dpp.eula handler",
                          "settings.open torvo.sl2.i32.basic.settings.eula.dpp.general handler",
                          "settings.open torvo.sl2.i32.system.enum.screen.state",
                          "settings.open torvo.sl2.str.source.app.current handler",
                          "settings.open torvo.sl2.i32.any.hotel.option.changed",
                          "settings.open torvo.sl2.i32.norfactory.state.open",
                          "settings.open torvo.sl2.i32.sound.main.mute",
                          "action.open torvo.sl2.system.action.send.key",
                          "settings.open torvo.sl2.i32.channel.search.tuner.support",
                          "settings.open torvo.sl2.i32.system.audio.only",
                          "settings.open torvo.sl2.i32.app.setting.airplay.user.enabled",
                          "settings.open torvo.sl2.str.norfactory.production.type",
                          "settings.open torvo.sl2.str.norfactory.software.version",
                          "settings.open torvo.sl2.str.norfactory.materiel.serial",
                          "settings.open torvo.sl2.i32.norfactory.region",
                          "settings.open torvo.sl2.i32.system.lasertv.enable"));
}

TEST(OpeningTheSettings, ObservesTheTwoEulasAndDoesNothingElse) {
  InMemoryTv tv;
  const PlatformDelegate delegate;
  EXPECT_THAT(
      tv.takeWithout({"settings.open", "action.open"}),
      ElementsAre("settings.connect torvo.sl2.i32.basic.settings.eula.dpp.eula 1000 -> 0",
                  "settings.connect torvo.sl2.i32.basic.settings.eula.dpp.general 1000 -> 0"));
}

TEST(OpeningTheSettings, SaysNothingOfAnEulaThatCannotBeObserved) {
  InMemoryTv tv;
  tv.failConnect(kDppEula, -5);
  tv.failConnect(kEulaGeneral, -6);
  const PlatformDelegate delegate;
  EXPECT_THAT(
      tv.takeWithout({"settings.open", "action.open"}),
      ElementsAre("settings.connect torvo.sl2.i32.basic.settings.eula.dpp.eula 1000 -> -5",
                  "settings.connect torvo.sl2.i32.basic.settings.eula.dpp.general 1000 -> -6"));
}

TEST(OpeningTheSettings, LetsGoOfEachKeyInTheEnd) {
  InMemoryTv tv;
  auto delegate = std::make_unique<PlatformDelegate>();
  tv.take();
  delegate.reset();
  EXPECT_THAT(tv.take(),
              UnorderedElementsAre("settings.close torvo.sl2.i32.app.setting.airplay.enable",
                                   "settings.close torvo.sl2.i32.system.airplay.support",
                                   "settings.close torvo.sl2.vstr.app.setting.airplay.status",
                                   "settings.close torvo.sl2.str.norfactory.fullbrand",
                                   "settings.close torvo.sl2.i32.norfactory.logo",
                                   "settings.close torvo.sl2.i32.local.network.available",
                                   "settings.close torvo.sl2.str.source.app.status",
                                   "settings.close torvo.sl2.i32.system.open.from.standby",
                                   "settings.close torvo.sl2.i32.system.enum.pwr.use.case",
                                   "settings.close torvo.sl2.vstr.source.input.name",
                                   "settings.close torvo.sl2.i32.basic.settings.eula.dpp.eula",
                                   "settings.close torvo.sl2.i32.basic.settings.eula.dpp.general",
                                   "settings.close torvo.sl2.i32.system.enum.screen.state",
                                   "settings.close torvo.sl2.str.source.app.current",
                                   "settings.close torvo.sl2.i32.any.hotel.option.changed",
                                   "settings.close torvo.sl2.i32.norfactory.state.open",
                                   "settings.close torvo.sl2.i32.sound.main.mute",
                                   "action.close torvo.sl2.system.action.send.key",
                                   "settings.close torvo.sl2.i32.channel.search.tuner.support",
                                   "settings.close torvo.sl2.i32.system.audio.only",
                                   "settings.close torvo.sl2.i32.app.setting.airplay.user.enabled",
                                   "settings.close torvo.sl2.str.norfactory.production.type",
                                   "settings.close torvo.sl2.str.norfactory.software.version",
                                   "settings.close torvo.sl2.str.norfactory.materiel.serial",
                                   "settings.close torvo.sl2.i32.norfactory.region",
                                   "settings.close torvo.sl2.i32.system.lasertv.enable"));
}

// Made and bound to a bridge that records, not yet connected.
class ADelegate : public ::testing::Test {
 protected:
  ADelegate() {
    delegate.bindToClient(&bridge);
    tv.take();
  }

  void connectQuietly() {
    delegate.connect();
    tv.take();
  }

  InMemoryTv tv;
  VirtualLibc time{tv.history()};
  RecordingAirPlayBridge bridge{tv.history()};
  PlatformDelegate delegate;
};

// ---- Client.

TEST_F(ADelegate, TakesAClientWithoutAWord) {
  delegate.bindToClient(&bridge);
  EXPECT_THAT(tv.take(), IsEmpty());
}

TEST_F(ADelegate, ComplainsAboutANullClientAndIsUnboundFromThenOn) {
  delegate.bindToClient(nullptr);
  delegate.onNetworkAvailableChanged(ValueObject(1));
  EXPECT_THAT(tv.take(), ElementsAre("ERR bindToClient: Invalid pointer? (nil) , 1",
                                     "log onNetworkAvailableChanged: state:1."));
}

TEST_F(ADelegate, LetsGoOfItsClientWhoeverIsNamed) {
  RecordingAirPlayBridge other{tv.history()};
  delegate.removeClient(&other);
  delegate.onNetworkAvailableChanged(ValueObject(1));
  EXPECT_THAT(tv.take(), ElementsAre("log onNetworkAvailableChanged: state:1."));
}

TEST_F(ADelegate, LetsGoOfItsClientAlsoForNobody) {
  delegate.removeClient(nullptr);
  delegate.onNetworkAvailableChanged(ValueObject(1));
  EXPECT_THAT(tv.take(), ElementsAre("log onNetworkAvailableChanged: state:1."));
}

// ---- Connecting.

TEST_F(ADelegate, ConnectsItsThreeValuesAndReadsTheEulas) {
  delegate.connect();
  EXPECT_THAT(tv.take(),
              ElementsAre("log connect: Will connect LocalNetwork Value.",
                          "settings.connect torvo.sl2.i32.local.network.available 1000 -> 0",
                          "log connect: Will connect application status Value.",
                          "settings.connect torvo.sl2.str.source.app.status 1000 -> 0",
                          "log connect: Will connect current app Value.",
                          "settings.connect torvo.sl2.str.source.app.current 1000 -> 0",
                          "settings.get torvo.sl2.i32.basic.settings.eula.dpp.eula -> 0 1",
                          "settings.get torvo.sl2.i32.basic.settings.eula.dpp.general -> 0 1",
                          "log connect: DppEula: 1, EulaGeneral: 1"));
}

TEST_F(ADelegate, GoesOnWhenItsFirstValueCannotBeConnected) {
  tv.failConnect(kNetwork, -3);
  delegate.connect();
  EXPECT_THAT(tv.take(),
              ElementsAre("log connect: Will connect LocalNetwork Value.",
                          "settings.connect torvo.sl2.i32.local.network.available 1000 -> -3",
                          "ERR connect: Fail to connect LocalNetwork Value, status: -3",
                          "log connect: Will connect application status Value.",
                          "settings.connect torvo.sl2.str.source.app.status 1000 -> 0",
                          "log connect: Will connect current app Value.",
                          "settings.connect torvo.sl2.str.source.app.current 1000 -> 0",
                          "settings.get torvo.sl2.i32.basic.settings.eula.dpp.eula -> 0 1",
                          "settings.get torvo.sl2.i32.basic.settings.eula.dpp.general -> 0 1",
                          "log connect: DppEula: 1, EulaGeneral: 1"));
}

TEST_F(ADelegate, GoesOnWhenItsSecondValueCannotBeConnected) {
  tv.failConnect(kAppStatus, 4);
  delegate.connect();
  EXPECT_THAT(tv.takeLog(),
              ElementsAre("log connect: Will connect LocalNetwork Value.",
                          "log connect: Will connect application status Value.",
                          "ERR connect: Fail to connect application status Value, status: 4",
                          "log connect: Will connect current app Value.",
                          "log connect: DppEula: 1, EulaGeneral: 1"));
}

TEST_F(ADelegate, GoesOnWhenItsThirdValueCannotBeConnected) {
  tv.failConnect(kCurrentApp, -110);
  delegate.connect();
  EXPECT_THAT(tv.takeLog(),
              ElementsAre("log connect: Will connect LocalNetwork Value.",
                          "log connect: Will connect application status Value.",
                          "log connect: Will connect current app Value.",
                          "ERR connect: Fail to connect current app Value, status: -110",
                          "log connect: DppEula: 1, EulaGeneral: 1"));
}

TEST_F(ADelegate, GoesThroughAllOfItWhenNothingWorks) {
  tv.failConnect(kNetwork, -1);
  tv.failConnect(kAppStatus, -2);
  tv.failConnect(kCurrentApp, -3);
  tv.failRead(kDppEula, -4);
  tv.failRead(kEulaGeneral, -5);
  delegate.connect();
  EXPECT_THAT(tv.takeLog(),
              ElementsAre("log connect: Will connect LocalNetwork Value.",
                          "ERR connect: Fail to connect LocalNetwork Value, status: -1",
                          "log connect: Will connect application status Value.",
                          "ERR connect: Fail to connect application status Value, status: -2",
                          "log connect: Will connect current app Value.",
                          "ERR connect: Fail to connect current app Value, status: -3",
                          "log connect: DppEula: -1, EulaGeneral: -1"));
}

TEST_F(ADelegate, ShowsEachEulaThatCannotBeReadAsMinusOne) {
  tv.setting(kDppEula, 0);
  tv.failRead(kEulaGeneral, -2);
  delegate.connect();
  EXPECT_EQ(tv.takeLog().back(), "log connect: DppEula: 0, EulaGeneral: -1");
}

// ---- Network.

struct NetworkValue {
  const char* name;
  int value;
  const char* logged;
  const char* told;
};

void PrintTo(const NetworkValue& row, std::ostream* out) { *out << row.name; }

class ANetworkChange : public ADelegate, public ::testing::WithParamInterface<NetworkValue> {};

TEST_P(ANetworkChange, IsLoggedAndToldToTheBridge) {
  connectQuietly();
  tv.changes(kNetwork, GetParam().value);
  EXPECT_THAT(tv.take(), ElementsAre(GetParam().logged, GetParam().told));
}

INSTANTIATE_TEST_SUITE_P(
    Each, ANetworkChange,
    Values(NetworkValue{"Available", 1, "log onNetworkAvailableChanged: state:1.",
                        "bridge.networkAvailableChanged true"},
           NetworkValue{"NotAvailable", 0, "log onNetworkAvailableChanged: state:0.",
                        "bridge.networkAvailableChanged false"},
           NetworkValue{"Two", 2, "log onNetworkAvailableChanged: state:2.",
                        "bridge.networkAvailableChanged false"},
           NetworkValue{"MinusOne", -1, "log onNetworkAvailableChanged: state:-1.",
                        "bridge.networkAvailableChanged false"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(ADelegate, LogsAndDropsANetworkChangeWithoutAClient) {
  connectQuietly();
  delegate.removeClient(&bridge);
  tv.changes(kNetwork, 1);
  EXPECT_THAT(tv.take(), ElementsAre("log onNetworkAvailableChanged: state:1."));
}

TEST_F(ADelegate, HearsOfNoNetworkChangeBeforeItIsConnected) {
  tv.changes(kNetwork, 0);
  EXPECT_THAT(tv.take(), IsEmpty());
}

TEST_F(ADelegate, NeverHearsOfAValueThatCouldNotBeConnected) {
  tv.failConnect(kNetwork, -3);
  connectQuietly();
  tv.works(kNetwork);
  tv.changes(kNetwork, 0);
  tv.changes(kCurrentApp, "hdmi1");
  EXPECT_THAT(tv.take(), ElementsAre("log onCurrentAppChanged: Current App change to hdmi1"));
}

// ---- EULAs.

struct EulaValues {
  const char* name;
  int changed;
  int other;
  const char* logged;
  const char* told;
};

void PrintTo(const EulaValues& row, std::ostream* out) { *out << row.name; }

class ADppEulaChange : public ADelegate, public ::testing::WithParamInterface<EulaValues> {};

TEST_P(ADppEulaChange, IsWeighedWithTheGeneralEula) {
  tv.setting(kEulaGeneral, GetParam().other);
  tv.changes(kDppEula, GetParam().changed);
  EXPECT_THAT(tv.takeOnly({"log", "bridge"}),
              ElementsAre(std::string("log isEulaEnabled: ") + GetParam().logged,
                          std::string("bridge.eulaChanged ") + GetParam().told));
}

INSTANTIATE_TEST_SUITE_P(
    Each, ADppEulaChange,
    Values(EulaValues{"BothAccepted", 1, 1, "dpp eula: 1, eula general: 1", "true"},
           EulaValues{"OnlyDpp", 1, 0, "dpp eula: 1, eula general: 0", "false"},
           EulaValues{"OnlyGeneral", 0, 1, "dpp eula: 0, eula general: 1", "false"},
           EulaValues{"Neither", 0, 0, "dpp eula: 0, eula general: 0", "false"},
           EulaValues{"DppTwo", 2, 1, "dpp eula: 2, eula general: 1", "false"},
           EulaValues{"GeneralTwo", 1, 2, "dpp eula: 1, eula general: 2", "false"}),
    [](const auto& row) { return std::string(row.param.name); });

class AGeneralEulaChange : public ADelegate, public ::testing::WithParamInterface<EulaValues> {};

TEST_P(AGeneralEulaChange, IsWeighedWithTheDppEula) {
  tv.setting(kDppEula, GetParam().other);
  tv.changes(kEulaGeneral, GetParam().changed);
  EXPECT_THAT(tv.takeOnly({"log", "bridge"}),
              ElementsAre(std::string("log isEulaEnabled: ") + GetParam().logged,
                          std::string("bridge.eulaChanged ") + GetParam().told));
}

INSTANTIATE_TEST_SUITE_P(
    Each, AGeneralEulaChange,
    Values(EulaValues{"BothAccepted", 1, 1, "dpp eula: 1, eula general: 1", "true"},
           EulaValues{"OnlyGeneral", 1, 0, "dpp eula: 0, eula general: 1", "false"},
           EulaValues{"OnlyDpp", 0, 1, "dpp eula: 1, eula general: 0", "false"},
           EulaValues{"GeneralThree", 3, 1, "dpp eula: 1, eula general: 3", "false"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(ADelegate, ReadsTheGeneralEulaOnceWhenTheDppEulaChanges) {
  tv.changes(kDppEula, 1);
  EXPECT_THAT(
      tv.take(),
      ElementsAre("settings.get torvo.sl2.i32.basic.settings.eula.dpp.general -> 0 1",
                  "log isEulaEnabled: dpp eula: 1, eula general: 1", "bridge.eulaChanged true"));
}

TEST_F(ADelegate, ReadsTheDppEulaOnceWhenTheGeneralEulaChanges) {
  tv.changes(kEulaGeneral, 1);
  EXPECT_THAT(
      tv.take(),
      ElementsAre("settings.get torvo.sl2.i32.basic.settings.eula.dpp.eula -> 0 1",
                  "log isEulaEnabled: dpp eula: 1, eula general: 1", "bridge.eulaChanged true"));
}

TEST_F(ADelegate, TakesAGeneralEulaThatCannotBeReadForNotAccepted) {
  tv.failRead(kEulaGeneral, -5);
  tv.changes(kDppEula, 1);
  EXPECT_THAT(
      tv.take(),
      ElementsAre("settings.get torvo.sl2.i32.basic.settings.eula.dpp.general -> -5",
                  "log isEulaEnabled: dpp eula: 1, eula general: 0", "bridge.eulaChanged false"));
}

TEST_F(ADelegate, TakesADppEulaThatCannotBeReadForNotAccepted) {
  tv.failRead(kDppEula, -5);
  tv.changes(kEulaGeneral, 1);
  EXPECT_THAT(
      tv.take(),
      ElementsAre("settings.get torvo.sl2.i32.basic.settings.eula.dpp.eula -> -5",
                  "log isEulaEnabled: dpp eula: 0, eula general: 1", "bridge.eulaChanged false"));
}

TEST_F(ADelegate, ReadsADppEulaThatIsReportedAsMinusOneAgain) {
  delegate.onDppEulaChanged(ValueObject(-1));
  EXPECT_THAT(
      tv.take(),
      ElementsAre("settings.get torvo.sl2.i32.basic.settings.eula.dpp.general -> 0 1",
                  "settings.get torvo.sl2.i32.basic.settings.eula.dpp.eula -> 0 1",
                  "log isEulaEnabled: dpp eula: 1, eula general: 1", "bridge.eulaChanged true"));
}

TEST_F(ADelegate, ReadsAGeneralEulaThatIsReportedAsMinusOneAgain) {
  delegate.onEulaGeneralChanged(ValueObject(-1));
  EXPECT_THAT(
      tv.take(),
      ElementsAre("settings.get torvo.sl2.i32.basic.settings.eula.dpp.eula -> 0 1",
                  "settings.get torvo.sl2.i32.basic.settings.eula.dpp.general -> 0 1",
                  "log isEulaEnabled: dpp eula: 1, eula general: 1", "bridge.eulaChanged true"));
}

TEST_F(ADelegate, ReadsAnEulaThatReadsMinusOneTwice) {
  tv.setting(kEulaGeneral, -1);
  tv.changes(kDppEula, 1);
  EXPECT_THAT(
      tv.take(),
      ElementsAre("settings.get torvo.sl2.i32.basic.settings.eula.dpp.general -> 0 -1",
                  "settings.get torvo.sl2.i32.basic.settings.eula.dpp.general -> 0 -1",
                  "log isEulaEnabled: dpp eula: 1, eula general: -1", "bridge.eulaChanged false"));
}

TEST_F(ADelegate, DropsEulaChangesWithoutAClientAndWithoutAWord) {
  delegate.removeClient(&bridge);
  tv.changes(kDppEula, 1);
  tv.changes(kEulaGeneral, 0);
  EXPECT_THAT(tv.takeWithout({"settings.get"}), IsEmpty());
}

TEST_F(ADelegate, HearsOfNoEulaThatCouldNotBeObserved) {
  tv.failConnect(kDppEula, -5);
  PlatformDelegate deaf;
  deaf.bindToClient(&bridge);
  delegate.removeClient(&bridge);
  tv.changes(kDppEula, 0);
  EXPECT_THAT(tv.takeOnly({"bridge"}), IsEmpty());
  tv.changes(kEulaGeneral, 0);
  EXPECT_THAT(tv.takeOnly({"bridge"}), ElementsAre("bridge.eulaChanged false"));
}

// ---- Current application and action.

TEST_F(ADelegate, OnlyLogsAChangeOfTheCurrentApplication) {
  connectQuietly();
  tv.changes(kCurrentApp, "AirPlayApp");
  EXPECT_THAT(tv.take(), ElementsAre("log onCurrentAppChanged: Current App change to AirPlayApp"));
}

TEST_F(ADelegate, TakesTheNameOfAnApplicationForNoFormat) {
  connectQuietly();
  tv.changes(kCurrentApp, "%s%n\x1b\xff");
  EXPECT_THAT(tv.take(),
              ElementsAre("log onCurrentAppChanged: Current App change to %s%n\x1b\xff"));
}

TEST_F(ADelegate, TracesTheResultOfASentKeyAndNothingElse) {
  tv.setting("torvo.sl2.i32.sound.main.mute", 1);
  delegate.setUnmute();
  tv.take();
  tv.deliverPending();
  EXPECT_THAT(tv.take(), ElementsAre("IN onActionResult", "OUT onActionResult"));
}

TEST_F(ADelegate, TracesTheFailureOfASentKeyAndNothingElse) {
  tv.setting("torvo.sl2.i32.sound.main.mute", 1);
  tv.actionEnds(-3);
  delegate.setUnmute();
  tv.take();
  tv.deliverPending();
  EXPECT_THAT(tv.take(), ElementsAre("IN onActionFailed", "OUT onActionFailed"));
}

}  // namespace
