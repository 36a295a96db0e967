// The link to the application manager: registration, reports, messages and callbacks.
#include "apm_bridge.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "app_manager_client.h"
#include "app_manager_side.h"
#include "in_memory_tv.h"
#include "wired_bridge.h"

using norvale::APMBridge;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Values;

namespace {

class AnApmLink : public ::testing::Test {
 protected:
  void isBoundAndConnected() {
    link->bindToClient(&bridge);
    EXPECT_TRUE(link->connect());
    tv.deliverPending();
    (void)tv.take();
  }
  nv::appmanager::AppInterface& app() { return tv.app("AirPlayBridge"); }

  InMemoryTv tv;
  BridgeForTheAppManager bridge{tv.history()};
  std::unique_ptr<APMBridge> link = std::make_unique<APMBridge>(std::make_shared<ClientGetter>());
};

class AnApmLinkWithoutAGetter : public AnApmLink {
 protected:
  AnApmLinkWithoutAGetter() {
    link = std::make_unique<APMBridge>(nullptr);
    (void)tv.take();
  }
};

// ---- Registration.

TEST_F(AnApmLink, ContactsNobodyWhenItIsMade) {
  tv.recordGetInstance();
  (void)tv.take();

  const APMBridge other(std::make_shared<ClientGetter>());

  EXPECT_THAT(tv.take(), ElementsAre("IN APMBridge", "OUT APMBridge"));
}

TEST_F(AnApmLink, RegistersTheApplication) {
  tv.recordGetInstance();
  (void)tv.take();

  EXPECT_TRUE(link->connect());

  EXPECT_THAT(tv.take(), ElementsAre("IN connect", "apm.getInstance -> there",
                                     "apm.registerApp AirPlayBridge -> 0", "OUT connect"));
}

TEST_F(AnApmLink, SaysSoWhenTheRegistrationIsConfirmed) {
  link->bindToClient(&bridge);
  EXPECT_TRUE(link->connect());
  (void)tv.take();

  tv.deliverPending();

  EXPECT_THAT(
      tv.take(),
      ElementsAre("log notifyAppEventMessage: src: am, dst: AirPlayBridge, msg: register_ok",
                  "log notifyAppEventMessage: Register to APM done."));
}

TEST_F(AnApmLink, CannotConnectWithoutAnApplicationManagerAndCanWhenThereIsOne) {
  tv.noAppManager();
  (void)tv.take();

  EXPECT_FALSE(link->connect());
  EXPECT_THAT(tv.take(), ElementsAre("IN connect",
                                     "ERR connect: Failed to get an instance of AppManagerClient ",
                                     "OUT connect"));

  tv.hasAppManager();
  EXPECT_TRUE(link->connect());
  EXPECT_TRUE(tv.isRegistered());
}

TEST_F(AnApmLinkWithoutAGetter, CannotConnectAndSaysNothing) {
  EXPECT_FALSE(link->connect());
  EXPECT_THAT(tv.take(), ElementsAre("IN connect", "OUT connect"));
}

// A result that nobody looks at.
TEST_F(AnApmLink, CountsAsConnectedWhateverTheRegistrationSays) {
  tv.dies();
  tv.comesBack();
  EXPECT_TRUE(link->connect());
  EXPECT_TRUE(link->connect());
}

TEST_F(AnApmLink, IsKnownAsAirPlayBridge) { EXPECT_EQ(link->getAppName(), "AirPlayBridge"); }

TEST_F(AnApmLink, TracesItsBinding) {
  (void)tv.take();
  link->bindToClient(&bridge);
  EXPECT_THAT(tv.take(), ElementsAre("IN bindToClient", "OUT bindToClient"));
}

TEST_F(AnApmLink, UnregistersWhenItsClientIsRemoved) {
  isBoundAndConnected();

  link->removeClient();

  EXPECT_THAT(tv.take(), ElementsAre("IN removeClient", "apm.unregisterApp AirPlayBridge -> 0",
                                     "OUT removeClient"));
  EXPECT_EQ(link->onKeyEvent(keyEvent(1)), 0);
  EXPECT_THAT(tv.takeOnly({"bridge"}), IsEmpty());
}

TEST_F(AnApmLink, LosesItsClientAlsoWithoutAnApplicationManager) {
  isBoundAndConnected();
  tv.noAppManager();

  link->removeClient();

  EXPECT_THAT(tv.take(), ElementsAre("IN removeClient", "OUT removeClient"));
  EXPECT_EQ(link->onSuspend("url", "x"), 0);
  EXPECT_THAT(tv.takeOnly({"bridge"}), IsEmpty());
}

TEST_F(AnApmLinkWithoutAGetter, KeepsItsClientWhenThatIsRemoved) {
  link->bindToClient(&bridge);
  (void)tv.take();

  link->removeClient();

  EXPECT_THAT(tv.take(), ElementsAre("IN removeClient", "OUT removeClient"));
  (void)link->onKeyEvent(keyEvent(1));
  EXPECT_THAT(tv.takeOnly({"bridge"}), ElementsAre("bridge.processCMD_AirPlay_KeyCode 1"));
}

TEST_F(AnApmLink, UnregistersWhenItGoes) {
  isBoundAndConnected();

  link.reset();

  EXPECT_THAT(tv.take(), ElementsAre("IN ~APMBridge", "apm.unregisterApp AirPlayBridge -> 0",
                                     "OUT ~APMBridge"));
}

TEST_F(AnApmLink, GoesQuietlyWithoutAnApplicationManager) {
  isBoundAndConnected();
  tv.noAppManager();
  link.reset();
  EXPECT_THAT(tv.take(), ElementsAre("IN ~APMBridge", "OUT ~APMBridge"));
}

TEST_F(AnApmLinkWithoutAGetter, GoesQuietly) {
  link.reset();
  EXPECT_THAT(tv.take(), ElementsAre("IN ~APMBridge", "OUT ~APMBridge"));
}

TEST(AGetterOfTheClient, IsSharedByTheLinkAlone) {
  InMemoryTv tv;
  auto getter = std::make_shared<ClientGetter>();
  const std::weak_ptr<ClientGetter> watched = getter;
  auto link = std::make_unique<APMBridge>(getter);
  getter.reset();
  EXPECT_FALSE(watched.expired());

  link.reset();

  EXPECT_TRUE(watched.expired());
}

// ---- Reports.

struct Status {
  const char* name;
  int (APMBridge::*report)();
  int code;
  const char* line;
};

std::ostream& operator<<(std::ostream& out, const Status& row) { return out << row.name; }

std::string nameOf(const ::testing::TestParamInfo<Status>& info) { return info.param.name; }

class AReportToTheApplicationManager : public AnApmLink,
                                       public ::testing::WithParamInterface<Status> {
 protected:
  int isReported() { return ((*link).*GetParam().report)(); }
};

TEST_P(AReportToTheApplicationManager, IsSentAndThenLogged) {
  isBoundAndConnected();

  EXPECT_EQ(isReported(), 0);

  EXPECT_THAT(tv.take(),
              ElementsAre("IN sendAirPlayStatusToAPM", reports(GetParam().code),
                          "OUT sendAirPlayStatusToAPM",
                          std::string("log ") + GetParam().name + ": " + GetParam().line));
}

TEST_P(AReportToTheApplicationManager, IsDroppedWithoutAnApplicationManager) {
  isBoundAndConnected();
  tv.noAppManager();

  EXPECT_EQ(isReported(), 0);

  EXPECT_THAT(tv.take(),
              ElementsAre("IN sendAirPlayStatusToAPM", "ERR sendAirPlayStatusToAPM: Get apm failed",
                          "OUT sendAirPlayStatusToAPM",
                          std::string("log ") + GetParam().name + ": " + GetParam().line));
}

TEST_P(AReportToTheApplicationManager, IsDroppedSilentlyWithoutAGetter) {
  link = std::make_unique<APMBridge>(nullptr);
  (void)tv.take();

  EXPECT_EQ(isReported(), 0);

  EXPECT_THAT(tv.take(),
              ElementsAre("IN sendAirPlayStatusToAPM", "OUT sendAirPlayStatusToAPM",
                          std::string("log ") + GetParam().name + ": " + GetParam().line));
}

INSTANTIATE_TEST_SUITE_P(
    , AReportToTheApplicationManager,
    Values(Status{"airplayStarted", &APMBridge::airplayStarted, 1, "AirPlay app started"},
           Status{"airplayPaused", &APMBridge::airplayPaused, 2, "AirPlay app paused"},
           Status{"airplayStopped", &APMBridge::airplayStopped, 4, "AirPlay app stopped"}),
    nameOf);

// ---- Messages to other applications.

TEST_F(AnApmLink, LogsAMessageAndSendsIt) {
  (void)tv.take();

  link->sendMessageToApm("launcher", "{\"a\":1}\n");

  EXPECT_THAT(tv.take(),
              ElementsAre("log sendMessageToApm: Message : AirPlayBridge->launcher, {\"a\":1}\n ",
                          "apm.sendMessage AirPlayBridge->launcher {\"a\":1}\n -> 0"));
}

TEST_F(AnApmLink, ExaminesNoResultOfASend) {
  (void)tv.take();
  link->sendMessageToApm("nobody", "text");
  EXPECT_THAT(tv.take(), ElementsAre("log sendMessageToApm: Message : AirPlayBridge->nobody, text ",
                                     "apm.sendMessage AirPlayBridge->nobody text -> -2"));
}

TEST_F(AnApmLink, DropsAMessageWithoutAnApplicationManager) {
  tv.noAppManager();
  (void)tv.take();
  link->sendMessageToApm("launcher", "text");
  EXPECT_THAT(tv.take(), ElementsAre("ERR sendMessageToApm: Get apm failed"));
}

TEST_F(AnApmLinkWithoutAGetter, DropsAMessageSilently) {
  link->sendMessageToApm("launcher", "text");
  EXPECT_THAT(tv.take(), IsEmpty());
}

TEST_F(AnApmLink, AsksForTheClientAnewForEachUse) {
  isBoundAndConnected();
  tv.recordGetInstance();

  link->sendMessageToApm("launcher", "one");
  tv.noAppManager();
  link->sendMessageToApm("launcher", "two");
  tv.hasAppManager();
  link->sendMessageToApm("launcher", "three");

  EXPECT_THAT(
      tv.takeOnly({"apm"}),
      ElementsAre("apm.getInstance -> there", "apm.sendMessage AirPlayBridge->launcher one -> 0",
                  "apm.getInstance -> null", "apm.getInstance -> there",
                  "apm.sendMessage AirPlayBridge->launcher three -> 0"));
}

// ---- Callbacks, as the application manager calls them.

TEST_F(AnApmLink, RunsALaunch) {
  isBoundAndConnected();

  EXPECT_EQ(app().onRunning("url", R"({"type":"AirPlayMessage","cmd":"stop"})"), 0);

  EXPECT_THAT(tv.take(), ElementsAre("log onRunning: app_url: url, param: "
                                     R"({"type":"AirPlayMessage","cmd":"stop"})",
                                     "log processAirPlayMessage: UI window quit",
                                     "bridge.processCMD_AirPlay_StopFromUI",
                                     "log onRunning: Airplay running"));
}

TEST_F(AnApmLink, AnswersAFailedLaunchWithZeroAndTellsTheUi) {
  isBoundAndConnected();
  bridge.result = -7;

  EXPECT_EQ(app().onRunning("url", R"({"type":"AirPlayMessage","cmd":"stop"})"), 0);

  EXPECT_THAT(
      tv.takeWithout({"bridge.processCMD_AirPlay_StopFromUI"}),
      ElementsAre("log onRunning: app_url: url, param: "
                  R"({"type":"AirPlayMessage","cmd":"stop"})",
                  "log processAirPlayMessage: UI window quit",
                  "ERR onRunning: Airplay start failed", "bridge.getUiTargetMessageName",
                  "log sendMessageToApm: Message : AirPlayBridge->launcher, "
                  R"({"type": "AirPlayMessage", "cmd": "start", "result" : "failed"} )",
                  "apm.sendMessage AirPlayBridge->launcher "
                  R"({"type": "AirPlayMessage", "cmd": "start", "result" : "failed"} -> 0)"));
}

TEST_F(AnApmLink, CountsAnyOtherResultThanZeroAsAFailedLaunch) {
  isBoundAndConnected();
  bridge.result = 1;
  (void)app().onRunning("url", R"({"type":"AirPlayMessage","cmd":"stop"})");
  EXPECT_THAT(
      tv.takeOnly({"apm"}),
      ElementsAre("apm.sendMessage AirPlayBridge->launcher "
                  R"({"type": "AirPlayMessage", "cmd": "start", "result" : "failed"} -> 0)"));
}

TEST_F(AnApmLink, SuspendsTheApplicationAndNamesTheReasonInTheLifeCycle) {
  isBoundAndConnected();
  bridge.result = 7;

  EXPECT_EQ(app().onSuspend("url", "HDMI1"), 7);

  EXPECT_THAT(tv.take(), ElementsAre("log onSuspend: app_url: url, param: HDMI1",
                                     R"(bridge.setAirPlayLifeCycle "stopping" "HDMI1")",
                                     "bridge.processCMD_AirPlay_StopFromUI"));
}

TEST_F(AnApmLink, DoesNothingWhenTheApplicationIsDestroyed) {
  isBoundAndConnected();
  bridge.result = 7;
  EXPECT_EQ(app().onDestroy("url", "x"), 0);
  EXPECT_THAT(tv.take(), IsEmpty());
}

TEST_F(AnApmLink, PassesASuspendToRamOnAndReportsIt) {
  isBoundAndConnected();

  EXPECT_EQ(app().onSTRSuspend("url", 2), 0);

  EXPECT_THAT(tv.take(), ElementsAre("log onSTRSuspend: app_url: url, reason: 2",
                                     "bridge.notifyAirPlaySTRSuspend", "IN sendAirPlayStatusToAPM",
                                     reports(8), "OUT sendAirPlayStatusToAPM"));
}

TEST_F(AnApmLink, PassesAResumeOnAndReportsNothing) {
  isBoundAndConnected();

  EXPECT_EQ(app().onSTRResume("url", 2), 0);

  EXPECT_THAT(tv.take(), ElementsAre("log onSTRResume: app_url: url, reason: 2",
                                     "bridge.notifyAirPlaySTRResume"));
}

class AnotherReason : public AnApmLink, public ::testing::WithParamInterface<int> {};

TEST_P(AnotherReason, ForASuspendIsReportedOnly) {
  isBoundAndConnected();

  EXPECT_EQ(app().onSTRSuspend("url", GetParam()), 0);

  EXPECT_THAT(tv.take(),
              ElementsAre("log onSTRSuspend: app_url: url, reason: " + std::to_string(GetParam()),
                          "IN sendAirPlayStatusToAPM", reports(8), "OUT sendAirPlayStatusToAPM"));
}

TEST_P(AnotherReason, ForAResumeIsLoggedOnly) {
  isBoundAndConnected();

  EXPECT_EQ(app().onSTRResume("url", GetParam()), 0);

  EXPECT_THAT(tv.take(),
              ElementsAre("log onSTRResume: app_url: url, reason: " + std::to_string(GetParam())));
}

INSTANTIATE_TEST_SUITE_P(, AnotherReason, Values(0, 1, 3, -2));

TEST_F(AnApmLink, OnlyTracesTheBeginningOfSuspendAndResume) {
  isBoundAndConnected();

  EXPECT_EQ(app().onSTRSuspending("url", 2), 0);
  EXPECT_EQ(app().onSTRResuming("url", 2), 0);

  EXPECT_THAT(tv.take(), ElementsAre("IN onSTRSuspending", "OUT onSTRSuspending",
                                     "IN onSTRResuming", "OUT onSTRResuming"));
}

TEST_F(AnApmLink, PassesAKeyOn) {
  isBoundAndConnected();

  EXPECT_EQ(app().onKeyEvent(keyEvent(28)), 1);

  EXPECT_THAT(tv.take(), ElementsAre("IN onKeyEvent", "bridge.processCMD_AirPlay_KeyCode 28",
                                     "OUT onKeyEvent"));
}

TEST_F(AnApmLink, AnswersZeroForAKeyThatIsNotHandled) {
  isBoundAndConnected();
  bridge.keyIsHandled = false;
  EXPECT_EQ(app().onKeyEvent(keyEvent(28)), 0);
}

TEST_F(AnApmLink, EndsAStartThatTimedOut) {
  isBoundAndConnected();
  bridge.result = 7;

  EXPECT_EQ(app().notifyAppEventMessage("am", "AirPlayBridge", "app_start_time_out"), 0);

  EXPECT_THAT(tv.take(), ElementsAre("log notifyAppEventMessage: src: am, dst: AirPlayBridge, "
                                     "msg: app_start_time_out",
                                     "bridge.processCMD_AirPlay_StartTimeout"));
}

TEST_F(AnApmLink, StopsWhenMemoryIsLow) {
  isBoundAndConnected();
  bridge.result = 7;

  EXPECT_EQ(app().notifyAppEventMessage("am", "AirPlayBridge", "low_memory"), 0);

  EXPECT_THAT(tv.take(),
              ElementsAre("log notifyAppEventMessage: src: am, dst: AirPlayBridge, msg: low_memory",
                          "bridge.processCMD_AirPlay_Stop"));
}

TEST_F(AnApmLink, AnswersZeroInTheSlotsThatItHasNoUseFor) {
  isBoundAndConnected();

  EXPECT_THAT(
      (std::vector{app().reserved1(), app().reserved2(), app().reserved3(), app().reserved4(),
                   app().reserved5(), app().reserved6(), app().reserved7(), app().reserved8(),
                   app().reserved9(), app().reserved10(), app().reserved11()}),
      ::testing::Each(0));
  EXPECT_THAT(tv.take(), IsEmpty());
}

TEST_F(AnApmLink, FailsWhenItIsAskedForAText) {
  isBoundAndConnected();
  try {
    (void)app().reservedText();
    FAIL() << "gave a text";
  } catch (const std::logic_error& error) {
    EXPECT_STREQ(error.what(), "basic_string::_M_construct null not valid");
  }
}

// ---- Callbacks before there is anybody to tell.

class AnUnboundApmLink : public AnApmLink {
 protected:
  AnUnboundApmLink() {
    EXPECT_TRUE(link->connect());
    tv.deliverPending();
    (void)tv.take();
  }
};

TEST_F(AnUnboundApmLink, IgnoresALaunch) {
  EXPECT_EQ(app().onRunning("url", "{"), 0);
  EXPECT_THAT(tv.take(), ElementsAre("log onRunning: app_url: url, param: {",
                                     "ERR onRunning: Client is not set yet, ignore ."));
}

TEST_F(AnUnboundApmLink, IgnoresASuspend) {
  EXPECT_EQ(app().onSuspend("url", "x"), 0);
  EXPECT_THAT(tv.take(), ElementsAre("log onSuspend: app_url: url, param: x",
                                     "ERR onSuspend: Client is not set yet, ignore ."));
}

TEST_F(AnUnboundApmLink, IgnoresASuspendToRamAndReportsNothing) {
  EXPECT_EQ(app().onSTRSuspend("url", 2), 0);
  EXPECT_THAT(tv.take(), ElementsAre("log onSTRSuspend: app_url: url, reason: 2",
                                     "ERR onSTRSuspend: Client is not set yet, ignore ."));
}

TEST_F(AnUnboundApmLink, IgnoresAResume) {
  EXPECT_EQ(app().onSTRResume("url", 2), 0);
  EXPECT_THAT(tv.take(), ElementsAre("log onSTRResume: app_url: url, reason: 2",
                                     "ERR onSTRResume: Client is not set yet, ignore ."));
}

TEST_F(AnUnboundApmLink, IgnoresAKey) {
  EXPECT_EQ(app().onKeyEvent(keyEvent(28)), 0);
  EXPECT_THAT(tv.take(),
              ElementsAre("IN onKeyEvent", "ERR onKeyEvent: Client is not set yet, ignore .",
                          "OUT onKeyEvent"));
}

TEST_F(AnUnboundApmLink, IgnoresAnEventMessage) {
  EXPECT_EQ(app().notifyAppEventMessage("am", "AirPlayBridge", "register_ok"), 0);
  EXPECT_THAT(
      tv.take(),
      ElementsAre("log notifyAppEventMessage: src: am, dst: AirPlayBridge, msg: register_ok",
                  "ERR notifyAppEventMessage: Client is not set yet, ignore ."));
}

TEST_F(AnUnboundApmLink, IgnoresAnEventMessageThatIsNoJsonAlike) {
  EXPECT_EQ(app().notifyAppEventMessage("am", "AirPlayBridge", "{"), 0);
  EXPECT_THAT(tv.takeOnly({"ERR"}),
              ElementsAre("ERR notifyAppEventMessage: Client is not set yet, ignore ."));
}

}  // namespace
