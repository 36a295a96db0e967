// The command channel: what goes out to the bus, what comes in, and what is logged on the way.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "airplay_bridge.h"
#include "apm_bridge.h"
#include "gam_bridge_mtk.h"
#include "in_memory_tv.h"
#include "noted_components.h"
#include "one_scenario.h"
#include "platform_delegate.h"
#include "recording_airplay_bridge.h"
#include "virtual_libc.h"

using norvale::IGamBridge;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::Values;
using Way = InMemoryTv::Way;

namespace {

std::string tenMegabytes() { return std::string(10'000'000, 'x'); }

// On a bus where "am" and "AirPlayDaemon" listen; made, not yet connected.
class AGamBridge : public ::testing::Test {
 protected:
  InMemoryTv tv;
  std::unique_ptr<IGamBridge> gam{norvale::createGAMBridge()};
};

TEST_F(AGamBridge, SaysThatItIsMadeAndTouchesNothing) {
  EXPECT_THAT(tv.take(), ElementsAre("log GAMBridgeMTK: Call."));
}

TEST_F(AGamBridge, SaysThatItGoesAndLeavesTheBus) {
  tv.take();
  gam.reset();
  EXPECT_THAT(tv.take(), ElementsAre("log ~GAMBridgeMTK: Call.", "gam.uninit"));
}

// ---- Joining the bus.

TEST_F(AGamBridge, JoinsTheBusAndAnnouncesItselfOnce) {
  tv.take();
  EXPECT_TRUE(gam->connect());
  EXPECT_THAT(tv.take(),
              ElementsAre("IN connect", "gam.init AirPlayBridge -> 0",
                          "log connect: GAM init finished, ret = 0",
                          "gam.send AirPlayBridge|am|(null)|started|AirPlayBridge -> 0",
                          "log connect: GAM command send finished, ret = 0", "OUT connect"));
}

TEST_F(AGamBridge, TakesAnyResultThatIsNotNegativeForSuccess) {
  tv.gamInitResult(7);
  tv.gamSendResult(5);
  EXPECT_TRUE(gam->connect());
  EXPECT_THAT(tv.takeLog(),
              ElementsAre("log GAMBridgeMTK: Call.", "log connect: GAM init finished, ret = 7",
                          "log connect: GAM command send finished, ret = 5"));
}

TEST_F(AGamBridge, AnnouncesNothingOnABusThatItCouldNotJoin) {
  tv.take();
  tv.gamInitResult(-1);
  EXPECT_FALSE(gam->connect());
  EXPECT_THAT(tv.take(), ElementsAre("IN connect", "gam.init AirPlayBridge -> -1",
                                     "ERR connect: GAM init failed", "OUT connect"));
}

TEST_F(AGamBridge, StaysOnTheBusWhenItsAnnouncementFails) {
  tv.take();
  tv.gamSendResult(1, -1);
  EXPECT_FALSE(gam->connect());
  EXPECT_THAT(tv.take(), ElementsAre("IN connect", "gam.init AirPlayBridge -> 0",
                                     "log connect: GAM init finished, ret = 0",
                                     "gam.send AirPlayBridge|am|(null)|started|AirPlayBridge -> -1",
                                     "ERR connect: GAM command send failed", "OUT connect"));
  EXPECT_EQ(gam->startMdnsd(), 0);
}

TEST_F(AGamBridge, TakesAClientWithoutAWord) {
  RecordingAirPlayBridge client{tv.history()};
  tv.take();
  gam->bindToClient(&client);
  gam->unbindClient();
  EXPECT_THAT(tv.take(), IsEmpty());
}

TEST_F(AGamBridge, ComplainsAboutANullClient) {
  tv.take();
  gam->bindToClient(nullptr);
  EXPECT_THAT(tv.take(), ElementsAre("ERR bindToClient: Invalid pointer?  (nil) , 1"));
}

// ---- Commands.

struct Command {
  const char* name;
  int (*give)(IGamBridge& gam);
  const char* function;
  const char* logged;
  const char* sent;
};

void PrintTo(const Command& command, std::ostream* out) { *out << command.name; }

class ACommand : public AGamBridge, public ::testing::WithParamInterface<Command> {};

TEST_P(ACommand, GoesOutAsThreeWordsAndGivesTheResultOfTheSend) {
  gam->connect();
  tv.gamSendResult(42);
  tv.take();
  EXPECT_EQ(GetParam().give(*gam), 42);
  EXPECT_THAT(tv.take(),
              ElementsAre(std::string("IN ") + GetParam().function,
                          std::string("log sendGAMCommand: ") + GetParam().logged,
                          std::string("gam.send AirPlayBridge|") + GetParam().sent + " -> 42",
                          std::string("OUT ") + GetParam().function));
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Each, ACommand, Values(
    Command{"StartMdnsd", [](IGamBridge& gam) { return gam.startMdnsd(); },
            "startMdnsd",
            "cmd: start,  dest: am, param: mdnsd",
            "am|(null)|start|mdnsd"},
    Command{"StartDaemon", [](IGamBridge& gam) { return gam.startAirPlayDaemon(); },
            "startAirPlayDaemon",
            "cmd: start,  dest: am, param: AirPlayDaemon",
            "am|(null)|start|AirPlayDaemon"},
    Command{"ResetDaemon", [](IGamBridge& gam) { return gam.resetAirPlayDaemon(); },
            "resetAirPlayDaemon",
            "cmd: reset,  dest: am, param: AirPlayDaemon",
            "am|(null)|reset|AirPlayDaemon"},
    Command{"WakeUpDaemon", [](IGamBridge& gam) { return gam.wakeUpAirPlayDaemon(); },
            "wakeUpAirPlayDaemon",
            "cmd: wakeup,  dest: AirPlayDaemon, param: AirPlayDaemon",
            "AirPlayDaemon|(null)|wakeup|AirPlayDaemon"},
    Command{"SuspendDaemon", [](IGamBridge& gam) { return gam.suspendAirPlayDaemon(); },
            "suspendAirPlayDaemon",
            "cmd: suspend,  dest: AirPlayDaemon, param: AirPlayDaemon",
            "AirPlayDaemon|(null)|suspend|AirPlayDaemon"},
    Command{"StartFromInput", [](IGamBridge& gam) { return gam.UIStartAirPlayFromInput(); },
            "UIStartAirPlayFromInput",
            "cmd: action,  dest: AirPlayDaemon, param: AirPlayDaemon",
            "AirPlayDaemon|(null)|action|AirPlayDaemon"},
    Command{"StartFromSetting", [](IGamBridge& gam) { return gam.UIStartAirPlayFromSetting(); },
            "UIStartAirPlayFromSetting",
            "cmd: settings,  dest: AirPlayDaemon, param: AirPlayDaemon",
            "AirPlayDaemon|(null)|settings|AirPlayDaemon"},
    Command{"StartFromHomeKitSetting",
            [](IGamBridge& gam) { return gam.UIStartAirPlayFromHomeKitSetting(); },
            "UIStartAirPlayFromHomeKitSetting",
            "cmd: HomeKitSettings,  dest: AirPlayDaemon, param: AirPlayDaemon",
            "AirPlayDaemon|(null)|HomeKitSettings|AirPlayDaemon"},
    Command{"Stop", [](IGamBridge& gam) { return gam.stopAirPlay(); },
            "stopAirPlay",
            "cmd: BringAppToBackground,  dest: AirPlayDaemon, param: AirPlayDaemon",
            "AirPlayDaemon|(null)|BringAppToBackground|AirPlayDaemon"},
    Command{"LowMemoryStop", [](IGamBridge& gam) { return gam.lowMemoryStopAirPlay(); },
            "lowMemoryStopAirPlay",
            "cmd: StopApp,  dest: AirPlayDaemon, param: AirPlayDaemon",
            "AirPlayDaemon|(null)|StopApp|AirPlayDaemon"},
    Command{"Enable", [](IGamBridge& gam) { return gam.setAirPlayEnable(true); },
            "setAirPlayEnable",
            "cmd: AirPlayEnabled,  dest: AirPlayDaemon, param: enable",
            "AirPlayDaemon|(null)|AirPlayEnabled|enable"},
    Command{"Disable", [](IGamBridge& gam) { return gam.setAirPlayEnable(false); },
            "setAirPlayEnable",
            "cmd: AirPlayEnabled,  dest: AirPlayDaemon, param: disable",
            "AirPlayDaemon|(null)|AirPlayEnabled|disable"},
    Command{"StartByParam", [](IGamBridge& gam) { return gam.startAirPlayByParam("cwd=/a b"); },
            "startAirPlayByParam",
            "cmd: start,  dest: am, param: [cwd=/a b]",
            "am|(null)|start|[cwd=/a b]"},
    Command{"StartByEmptyParam", [](IGamBridge& gam) { return gam.startAirPlayByParam(""); },
            "startAirPlayByParam",
            "cmd: start,  dest: am, param: []",
            "am|(null)|start|[]"},
    Command{"StopByParam", [](IGamBridge& gam) { return gam.stopAirPlayByParam("AirPlayApp"); },
            "stopAirPlayByParam",
            "cmd: stop,  dest: am, param: AirPlayApp",
            "am|(null)|stop|AirPlayApp"},
    Command{"Background", [](IGamBridge& gam) { return gam.sendAirPlaybackground("AirPlayApp"); },
            "sendAirPlaybackground",
            "cmd: backgm,  dest: am, param: AirPlayApp",
            "am|(null)|backgm|AirPlayApp"},
    Command{"Foreground", [](IGamBridge& gam) { return gam.bringAirPlayForeground("AirPlayApp"); },
            "bringAirPlayForeground",
            "cmd: foregm,  dest: am, param: AirPlayApp",
            "am|(null)|foregm|AirPlayApp"},
    Command{"EmptyForeground", [](IGamBridge& gam) { return gam.bringAirPlayForeground(""); },
            "bringAirPlayForeground",
            "cmd: foregm,  dest: am, param: ",
            "am|(null)|foregm|"},
    Command{"TextThatLooksLikeAFormat",
            [](IGamBridge& gam) { return gam.stopAirPlayByParam("%s%n%d"); },
            "stopAirPlayByParam",
            "cmd: stop,  dest: am, param: %s%n%d",
            "am|(null)|stop|%s%n%d"}),
    [](const auto& row) { return std::string(row.param.name); });
// clang-format on

TEST_F(AGamBridge, ShowsAFailedSendOnlyInItsResultAndTriesOnce) {
  gam->connect();
  tv.gamSendResult(-11);
  tv.take();
  EXPECT_EQ(gam->startMdnsd(), -11);
  EXPECT_THAT(
      tv.take(),
      ElementsAre("IN startMdnsd", "log sendGAMCommand: cmd: start,  dest: am, param: mdnsd",
                  "gam.send AirPlayBridge|am|(null)|start|mdnsd -> -11", "OUT startMdnsd"));
}

TEST_F(AGamBridge, CannotReachADaemonThatIsNotOnTheBus) {
  gam->connect();
  tv.leaves("AirPlayDaemon");
  EXPECT_LT(gam->wakeUpAirPlayDaemon(), 0);
}

TEST_F(AGamBridge, LeavesASendBeforeTheConnectionToTheLibrary) {
  EXPECT_LT(gam->startAirPlayDaemon(), 0);
}

TEST_F(AGamBridge, CutsALongTextInTheLogButNeverInTheMessage) {
  gam->connect();
  tv.takeRawLog();
  tv.take();
  EXPECT_EQ(gam->startAirPlayByParam(tenMegabytes()), 0);
  EXPECT_THAT(tv.takeOnly({"gam.send"}),
              ElementsAre("gam.send AirPlayBridge|am|(null)|start|[" + tenMegabytes() + "] -> 0"));
  EXPECT_THAT(tv.takeRawLog()[1], SizeIs(4095));
}

// ---- Keys.

GAM_KeyEvent keyEvent(std::int32_t code) {
  GAM_KeyEvent event{};
  event.code = code;
  return event;
}

TEST_F(AGamBridge, InjectsAKeyAsItCame) {
  gam->connect();
  tv.gamInjectResult(9);
  tv.take();
  const GAM_KeyEvent event = keyEvent(28);
  EXPECT_EQ(gam->InjectKeyEvent(&event), 9);
  EXPECT_THAT(tv.take(), ElementsAre("log InjectKeyEvent: receive key code 28",
                                     "gam.inject code=28 size=76 -> 9"));
}

TEST_F(AGamBridge, GivesBackTheFailureOfAnInjection) {
  gam->connect();
  tv.gamInjectResult(-5);
  tv.take();
  const GAM_KeyEvent event = keyEvent(-2);
  EXPECT_EQ(gam->InjectKeyEvent(&event), -5);
  EXPECT_THAT(tv.take(), ElementsAre("log InjectKeyEvent: receive key code -2",
                                     "gam.inject code=-2 size=76 -> -5"));
}

// ---- Messages. Behind the command channel the process's own bridge, which nobody has wired: it
// says so for every command that reaches it, and does nothing else.

constexpr char kReachedTheBridge[] =
    "ERR processCMD_AirPlayMessageFromGAM: No  component: (nil), (nil), (nil)";

class AConnectedGamBridge : public OneScenarioPerProcess {
 protected:
  AConnectedGamBridge() {
    gam->bindToClient(&bound);
    gam->connect();
    tv.take();
  }

  InMemoryTv tv;
  RecordingAirPlayBridge bound{tv.history()};
  const std::unique_ptr<IGamBridge> gam{norvale::createGAMBridge()};
};

TEST_F(AConnectedGamBridge, OnlyLogsASynchronousCommand) {
  EXPECT_EQ(tv.delivers(0, {"src", "ack", "AirPlayBridge", "start", "para"}, Way::kSync), 0);
  EXPECT_THAT(tv.take(), ElementsAre("log OnSyncCallback: Called,type=0.\n\n",
                                     "log OnSyncCallback: Called, cmd=start, src=src, ack=ack, "
                                     "dest=AirPlayBridge, para=para."));
}

TEST_F(AConnectedGamBridge, RefusesASynchronousCallWithoutAMessage) {
  EXPECT_EQ(tv.deliversNothing(0, Way::kSync), -1);
  EXPECT_THAT(tv.take(), ElementsAre("log OnSyncCallback: Called,type=0.\n\n"));
}

TEST_F(AConnectedGamBridge, RefusesASynchronousCallWithoutAMessageWhateverItsType) {
  EXPECT_EQ(tv.deliversNothing(3, Way::kSync), -1);
  EXPECT_THAT(tv.take(), ElementsAre("log OnSyncCallback: Called,type=3.\n\n"));
}

TEST_F(AConnectedGamBridge, IgnoresASynchronousMessageOfAnotherType) {
  EXPECT_EQ(tv.delivers(-1, {"src", "ack", "AirPlayBridge", "start", "para"}, Way::kSync), 0);
  EXPECT_THAT(tv.take(), ElementsAre("log OnSyncCallback: Called,type=-1.\n\n"));
}

TEST_F(AConnectedGamBridge, PrintsNullForWhatASynchronousMessageLacks) {
  EXPECT_EQ(tv.delivers(0, {}, Way::kSync), 0);
  EXPECT_THAT(tv.take(), ElementsAre("log OnSyncCallback: Called,type=0.\n\n",
                                     "log OnSyncCallback: Called, cmd=(null), src=(null), "
                                     "ack=(null), dest=(null), para=(null)."));
}

TEST_F(AConnectedGamBridge, RefusesAnAsynchronousCallWithoutAMessage) {
  EXPECT_EQ(tv.deliversNothing(0), -1);
  EXPECT_THAT(tv.take(), ElementsAre("log OnAsyncCallback: Called,type=0.\n\n"));
}

TEST_F(AConnectedGamBridge, IgnoresAnAsynchronousMessageOfAnotherType) {
  EXPECT_EQ(tv.delivers(1, {"src", "ack", "AirPlayBridge", "start", "para"}), 0);
  EXPECT_THAT(tv.take(), ElementsAre("log OnAsyncCallback: Called,type=1.\n\n"));
}

TEST_F(AConnectedGamBridge, HandsAMessageToTheProcessesOwnBridgeAndNotToItsClient) {
  EXPECT_EQ(tv.delivers(0, {"AirPlayDaemon", "ack", "AirPlayBridge", "start", "para"}), 0);
  EXPECT_THAT(
      tv.take(),
      ElementsAre("log OnAsyncCallback: Called,type=0.\n\n",
                  "log OnAsyncCallback: Called, cmd=start, src=AirPlayDaemon, ack=ack, "
                  "dest=AirPlayBridge, para=para.",
                  "log OnAsyncCallback: Process airplay daemon command", kReachedTheBridge));
}

TEST_F(AConnectedGamBridge, TakesALongerNameThatBeginsWithItsOwn) {
  EXPECT_EQ(tv.delivers(0, {"s", "a", "AirPlayBridge2", "start", "p"}), 0);
  EXPECT_THAT(tv.take(), ElementsAre("log OnAsyncCallback: Called,type=0.\n\n",
                                     "log OnAsyncCallback: Called, cmd=start, src=s, ack=a, "
                                     "dest=AirPlayBridge2, para=p.",
                                     "log OnAsyncCallback: Process airplay daemon command",
                                     kReachedTheBridge));
}

struct Addressee {
  const char* name;
  InMemoryTv::Text dest;
  const char* printed;
};

void PrintTo(const Addressee& addressee, std::ostream* out) { *out << addressee.name; }

class AMessageForSomeoneElse : public AConnectedGamBridge,
                               public ::testing::WithParamInterface<Addressee> {};

TEST_P(AMessageForSomeoneElse, IsLoggedAndIgnored) {
  EXPECT_EQ(tv.delivers(0, {"s", "AirPlayBridge", GetParam().dest, "start", "p"}), 0);
  EXPECT_THAT(tv.take(), ElementsAre("log OnAsyncCallback: Called,type=0.\n\n",
                                     std::string("log OnAsyncCallback: Called, cmd=start, src=s, "
                                                 "ack=AirPlayBridge, dest=") +
                                         GetParam().printed + ", para=p."));
}

INSTANTIATE_TEST_SUITE_P(Each, AMessageForSomeoneElse,
                         Values(Addressee{"NoAddressee", std::nullopt, "(null)"},
                                Addressee{"EmptyName", "", ""},
                                Addressee{"BeginningOfTheName", "AirPlay", "AirPlay"},
                                Addressee{"OneLetterShort", "AirPlayBridg", "AirPlayBridg"},
                                Addressee{"OtherCase", "airplaybridge", "airplaybridge"},
                                Addressee{"NameInTheMiddle", " AirPlayBridge", " AirPlayBridge"}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(AConnectedGamBridge, LogsAMessageForSomeoneElseThatLacksItsCommand) {
  EXPECT_EQ(tv.delivers(0, {"s", "a", "launcher", std::nullopt, std::nullopt}), 0);
  EXPECT_THAT(tv.take(), ElementsAre("log OnAsyncCallback: Called,type=0.\n\n",
                                     "log OnAsyncCallback: Called, cmd=(null), src=s, ack=a, "
                                     "dest=launcher, para=(null)."));
}

TEST_F(AConnectedGamBridge, TreatsAMessageOfItsOwnWithoutCommandAsFatal) {
  EXPECT_THROW(tv.delivers(0, {"s", "a", "AirPlayBridge", std::nullopt, "p"}), std::logic_error);
  EXPECT_THAT(tv.take(), ElementsAre("log OnAsyncCallback: Called,type=0.\n\n",
                                     "log OnAsyncCallback: Called, cmd=(null), src=s, ack=a, "
                                     "dest=AirPlayBridge, para=p.",
                                     "log OnAsyncCallback: Process airplay daemon command"));
}

TEST_F(AConnectedGamBridge, TreatsAMessageOfItsOwnWithoutParameterAsFatal) {
  EXPECT_THROW(tv.delivers(0, {"s", "a", "AirPlayBridge", "start", std::nullopt}),
               std::logic_error);
}

// ---- The same with the whole service behind it.

class ADaemonsMessage : public OneScenarioPerProcess {
 protected:
  ADaemonsMessage() {
    norvale::AirPlayBridge::getInstance()->init(&apm, gam.get(), &platform);
    gam->connect();
    tv.take();
  }

  InMemoryTv tv;
  VirtualLibc time;
  norvale::PlatformDelegate platform;
  norvale::APMBridge apm{std::make_shared<LibrarysAppManager>()};
  const std::unique_ptr<IGamBridge> gam{norvale::createGAMBridge()};
};

TEST_F(ADaemonsMessage, ReachesTheBridgeWithItsCommandAndItsParameter) {
  EXPECT_EQ(tv.daemonSays("backgm", "AirPlayApp"), 0);
  EXPECT_THAT(tv.takeOnly({"gam"}),
              ElementsAre("gam.send AirPlayBridge|am|(null)|backgm|AirPlayApp -> 0"));
}

TEST_F(ADaemonsMessage, GivesTheBusZeroWhateverBecomesOfIt) {
  tv.gamSendResult(-9);
  EXPECT_EQ(tv.daemonSays("start", "AirPlayApp"), 0);
  EXPECT_THAT(tv.takeOnly({"gam"}),
              ElementsAre("gam.send AirPlayBridge|am|(null)|start|[AirPlayApp] -> -9"));
}

struct Text {
  const char* name;
  std::string text;
};

void PrintTo(const Text& text, std::ostream* out) { *out << text.name; }

class AStrangeText : public ADaemonsMessage, public ::testing::WithParamInterface<Text> {};

TEST_P(AStrangeText, IsNoCommandAndDoesNoHarm) {
  EXPECT_EQ(tv.daemonSays(GetParam().text, GetParam().text), 0);
  EXPECT_THAT(tv.takeOnly({"ERR"}),
              ElementsAre("ERR processCMD_AirPlayMessageFromGAM: Unknown cmd: " + GetParam().text +
                          ", para: " + GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(Each, AStrangeText,
                         Values(Text{"Empty", ""}, Text{"Format", "%s%n%d%p"},
                                Text{"ControlCharacters", "\x01\x02\a\b\x1b[2J\r\x7f"},
                                Text{"InvalidUtf8", "\xff\xfe\xc3\x28\xed\xa0\x80"},
                                Text{"LineFeeds", "start\nstop\n"},
                                Text{"CommandWithABlank", "start "},
                                Text{"CommandInOtherCase", "START"}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(ADaemonsMessage, MayHaveTenMegabytes) {
  EXPECT_EQ(tv.daemonSays(tenMegabytes(), tenMegabytes()), 0);
  EXPECT_EQ(tv.daemonSays("stop", tenMegabytes()), 0);
  EXPECT_THAT(tv.takeOnly({"gam"}),
              ElementsAre("gam.send AirPlayBridge|am|(null)|stop|" + tenMegabytes() + " -> 0"));
}

}  // namespace
