// Whole sessions, by the roads that they take on a set: in through the libraries' callbacks, out
// through their calls.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "one_scenario.h"
#include "wired_bridge.h"

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using Entries = History::Entries;
using nv::appmanager::AppInterface;

// A set with the process's own bridge on it, and what people and programs do to it.
class ADay : public OneScenarioPerProcess {
 public:
  ADay() {
    time.startAt(100s);
    bridge.init(&apm, &gam, &platform);
    EXPECT_EQ(bridge.start(), 0);
    tv.deliverPending();
    (void)tv.take();
  }

  // The phone, through the daemon.
  void phoneConnects() {
    session = sessionOfNow();
    (void)tv.daemonSays("start", "AirPlayApp cwd=/" + std::to_string(++phones));
  }
  void phoneStops() { (void)tv.daemonSays("stop", "AirPlayApp"); }
  void phoneNeedsToStop() { (void)tv.daemonSays("need_stop", "AirPlayApp"); }
  void phonePressesAKey() { (void)tv.daemonSays("key_press", ""); }
  void phoneGoesToTheBackground() { (void)tv.daemonSays("backgm", "AirPlayApp"); }
  void phoneSwitchesTheInput() { (void)tv.daemonSays("homekitnotify", "source=1"); }
  void phonePairs() { (void)tv.daemonSays("HKAccess", "pair"); }
  void phoneUnblanks() { (void)tv.daemonSays("unblank", "screen"); }
  void phoneWakesTheSet() { (void)tv.daemonSays("wakeup_screen", "on"); }
  void daemonConfirms() { (void)tv.daemonSays("start", "AirPlayApp"); }
  void daemonSaysNonsense() { (void)tv.daemonSays("%s%n", "\xff"); }
  void isSwitchedOff() { (void)tv.daemonSays("AirPlayEnabled", "disable"); }
  void isSwitchedOn() { (void)tv.daemonSays("AirPlayEnabled", "enable"); }

  // The viewer, through the UI.
  void viewerAccepts() {
    says(R"({"type":"AirPlayMessage","cmd":"start","from":"AirPlayApp","sessionid":")" + session +
         "\"}");
  }
  void viewerPicksTheInput() {
    says(R"({"type":"AirPlayMessage","cmd":"start","from":"TVInput"})");
  }
  void viewerUsesTheSettings() {
    says(R"({"type":"AirPlayMessage","cmd":"start","from":"Setting"})");
  }
  void viewerOpensHomeKit() {
    says(R"({"type":"AirPlayMessage","cmd":"start","from":"HomeKitSetting"})");
  }
  void viewerQuits() { says(R"({"type":"AirPlayMessage","cmd":"stop"})"); }
  void uiSaysNonsense() { says("{"); }
  void uiStartsFromNowhere() { says(R"({"type":"AirPlayMessage","cmd":"start"})"); }
  void uiSendsNoSessionId() {
    says(R"({"type":"AirPlayMessage","cmd":"start","from":"AirPlayApp","sessionid":1})");
  }

  // The application manager.
  void isLaunched() { runs(R"({"type":"AirPlayMessage","cmd":"start","from":"SwitchInput"})"); }
  void isLaunchedWithNonsense() { runs("[]"); }
  void isSuspended() {
    tv.callApp([](AppInterface& app) { return app.onSuspend("url", "HDMI1"); });
  }
  void isDestroyed() {
    tv.callApp([](AppInterface& app) { return app.onDestroy("url", ""); });
  }
  void memoryIsLow() { says("low_memory"); }
  void startTimesOut() { says("app_start_time_out"); }
  void setSleeps() {
    tv.callApp([](AppInterface& app) { return app.onSTRSuspend("url", 2); });
  }
  void setWakes() {
    tv.callApp([](AppInterface& app) { return app.onSTRResume("url", 2); });
  }
  void keyIsPressed() {
    tv.callApp([](AppInterface& app) { return app.onKeyEvent(keyEvent(28)); });
  }

  // The application and the helper processes, as the set reports them.
  void appStarts() { isReported("AirPlayApp", "started"); }
  void appPauses() { isReported("AirPlayApp", "paused"); }
  void appStops() { isReported("AirPlayApp", "stopped"); }
  void appDoesSomethingElse() { isReported("AirPlayApp", "dancing"); }
  void anotherAppStarts() { isReported("Browser", "started"); }
  void daemonStarts() { isReported("AirPlayDaemon", "started"); }
  void daemonDies() { isReported("AirPlayDaemon", "stopped"); }
  void mdnsdDies() { isReported("mdnsd", "stopped"); }

  // What was sent since the last look: commands on the bus and messages to the UI.
  Entries sent() {
    Entries all = tv.takeOnly({"gam.send", "apm.sendMessage"});
    (void)tv.take();
    return all;
  }

  static std::string consentFor(const std::string& id) {
    return toUi(R"({"cmd":"startAirPlay","sessionid":")" + id +
                R"(","source":"AirPlayBridge","type":"AirPlayMessage"})");
  }

  InMemoryTv tv;
  VirtualLibc time{tv.history()};
  norvale::PlatformDelegate platform;
  norvale::APMBridge apm{std::make_shared<ClientGetter>()};
  norvale::GAMBridgeMTK gam;
  norvale::AirPlayBridge& bridge = *norvale::AirPlayBridge::getInstance();

  int phones = 0;
  std::string session = "BRIDGE-0.000000";  // the last one that the UI was asked about

 private:
  void says(const std::string& text) {
    tv.callApp([&](AppInterface& app) {
      return app.notifyAppEventMessage("launcher", "AirPlayBridge", text);
    });
  }
  void runs(const std::string& text) {
    tv.callApp([&](AppInterface& app) { return app.onRunning("url", text); });
  }
  void isReported(const std::string& id, const std::string& status) {
    tv.changes(kAppStatus, R"({"appId":")" + id + R"(","appStatus":")" + status + "\"}");
  }
  // The id under which the UI is asked about a phone that connects now.
  std::string sessionOfNow() const {
    char id[64];
    (void)std::snprintf(id, sizeof id, "BRIDGE-%f",
                        std::chrono::duration<double>(time.now()).count());
    return id;
  }
};

// ---- A hundred steps.

const Texts kNone{};
const Texts kByDaemon{"starting", "Daemon"};
const Texts kByUi{"starting", "NorvaleUI"};
const Texts kStarted{"started", ""};
const Texts kStopping{"stopping", "currentSource"};
const Texts kSuspended{"stopping", "HDMI1"};
const Texts kStopped{"stopped", ""};

class ALongDay : public ADay {
 protected:
  struct Step {
    void (ALongDay::*happens)();
    bool isWritten;  // the list is written once, otherwise not touched
    Texts lifeCycle;
  };

  void live(const std::vector<Step>& day) {
    int number = 0;
    for (const Step& step : day) {
      SCOPED_TRACE("step " + std::to_string(++number));
      time.pass(5s);
      (void)tv.take();

      (this->*step.happens)();

      const int writes = writesOfTheLifeCycle();
      EXPECT_EQ(writes, step.isWritten ? 1 : 0);
      EXPECT_EQ(tv.setting(kLifeCycle), InMemoryTv::Value(step.lifeCycle));
    }
  }

 private:
  int writesOfTheLifeCycle() {
    int writes = 0;
    for (const std::string& entry : tv.takeOnly({"settings.set"})) {
      writes += entry.find(kLifeCycle) != std::string::npos;
    }
    return writes;
  }
};

TEST_F(ALongDay, KeepsTheLifeCycleExactAfterEachOfAHundredSteps) {
  constexpr bool kWritten = true;
  constexpr bool kKept = false;
  const std::vector<Step> day{
      // Morning: a phone, from consent to stop.
      {&ALongDay::daemonStarts, kKept, kNone},
      {&ALongDay::phoneUnblanks, kKept, kNone},
      {&ALongDay::phoneConnects, kKept, kNone},
      {&ALongDay::viewerAccepts, kWritten, kByDaemon},
      {&ALongDay::appStarts, kWritten, kStarted},
      {&ALongDay::keyIsPressed, kKept, kStarted},
      {&ALongDay::viewerAccepts, kWritten, kByDaemon},  // a used id: noted, and not started
      {&ALongDay::appStarts, kWritten, kStarted},
      {&ALongDay::phoneStops, kWritten, kStopping},
      {&ALongDay::phoneStops, kKept, kStopping},
      {&ALongDay::appStops, kWritten, kStopped},
      {&ALongDay::phoneStops, kWritten, kStopping},
      {&ALongDay::appStops, kWritten, kStopped},

      // A phone that nobody lets in, and texts that nobody understands.
      {&ALongDay::phoneConnects, kKept, kStopped},
      {&ALongDay::uiSaysNonsense, kKept, kStopped},
      {&ALongDay::uiStartsFromNowhere, kKept, kStopped},
      {&ALongDay::uiSendsNoSessionId, kKept, kStopped},
      {&ALongDay::daemonSaysNonsense, kKept, kStopped},
      {&ALongDay::isLaunchedWithNonsense, kKept, kStopped},
      {&ALongDay::appDoesSomethingElse, kKept, kStopped},
      {&ALongDay::anotherAppStarts, kKept, kStopped},
      {&ALongDay::viewerQuits, kKept, kStopped},

      // From the input list: the phone's keys stay the phone's.
      {&ALongDay::viewerPicksTheInput, kWritten, kByUi},
      {&ALongDay::daemonConfirms, kKept, kByUi},
      {&ALongDay::appStarts, kWritten, kStarted},
      {&ALongDay::phonePressesAKey, kKept, kStarted},
      {&ALongDay::phoneGoesToTheBackground, kKept, kStarted},
      {&ALongDay::appPauses, kWritten, kStopped},
      {&ALongDay::phonePressesAKey, kWritten, kStopping},  // paused: no longer from the list
      {&ALongDay::phonePressesAKey, kWritten, kStopping},
      {&ALongDay::appStops, kWritten, kStopped},

      // Launched with an input of its own; another input takes over.
      {&ALongDay::isLaunched, kWritten, kByUi},
      {&ALongDay::daemonConfirms, kKept, kByUi},
      {&ALongDay::appStarts, kWritten, kStarted},
      {&ALongDay::isSuspended, kWritten, kSuspended},
      {&ALongDay::phoneStops, kKept, kSuspended},
      {&ALongDay::phoneNeedsToStop, kKept, kSuspended},
      {&ALongDay::appStops, kWritten, kStopped},
      {&ALongDay::isDestroyed, kKept, kStopped},

      // From the settings page; the start comes too late.
      {&ALongDay::viewerUsesTheSettings, kWritten, kByUi},
      {&ALongDay::startTimesOut, kKept, kByUi},
      {&ALongDay::appStarts, kWritten, kStarted},
      {&ALongDay::phonePressesAKey, kWritten, kStopping},
      {&ALongDay::appStops, kWritten, kStopped},

      // HomeKit.
      {&ALongDay::phonePairs, kKept, kStopped},
      {&ALongDay::viewerOpensHomeKit, kWritten, kByUi},
      {&ALongDay::daemonConfirms, kKept, kByUi},
      {&ALongDay::appStarts, kWritten, kStarted},
      {&ALongDay::phoneSwitchesTheInput, kKept, kStarted},
      {&ALongDay::viewerQuits, kKept, kStarted},
      {&ALongDay::appPauses, kWritten, kStopped},
      {&ALongDay::appPauses, kWritten, kStopped},

      // Noon: the set sleeps in the middle of a session.
      {&ALongDay::phoneConnects, kKept, kStopped},
      {&ALongDay::viewerAccepts, kWritten, kByDaemon},
      {&ALongDay::appStarts, kWritten, kStarted},
      {&ALongDay::setSleeps, kKept, kStarted},
      {&ALongDay::phoneStops, kWritten, kStopping},
      {&ALongDay::appStops, kWritten, kStopped},
      {&ALongDay::phoneConnects, kKept, kStopped},  // asked for after 21 s
      {&ALongDay::setWakes, kKept, kStopped},
      {&ALongDay::phoneWakesTheSet, kKept, kStopped},
      {&ALongDay::viewerAccepts, kWritten, kByDaemon},
      {&ALongDay::appStarts, kWritten, kStarted},

      // The daemon dies in mid-session.
      {&ALongDay::daemonDies, kKept, kStarted},
      {&ALongDay::mdnsdDies, kKept, kStarted},
      {&ALongDay::appStops, kWritten, kStopped},
      {&ALongDay::daemonStarts, kKept, kStopped},
      {&ALongDay::phoneConnects, kKept, kStopped},
      {&ALongDay::viewerAccepts, kWritten, kByDaemon},
      {&ALongDay::appStarts, kWritten, kStarted},
      {&ALongDay::memoryIsLow, kKept, kStarted},
      {&ALongDay::phoneNeedsToStop, kWritten, kStopping},
      {&ALongDay::appStops, kWritten, kStopped},

      // Evening: switched off and on.
      {&ALongDay::isSwitchedOff, kKept, kStopped},
      {&ALongDay::phoneUnblanks, kKept, kStopped},
      {&ALongDay::isSwitchedOn, kKept, kStopped},
      {&ALongDay::viewerPicksTheInput, kWritten, kByUi},
      {&ALongDay::isSuspended, kWritten, kSuspended},
      {&ALongDay::viewerPicksTheInput, kWritten, kByUi},
      {&ALongDay::daemonConfirms, kKept, kByUi},
      {&ALongDay::appStarts, kWritten, kStarted},
      {&ALongDay::viewerPicksTheInput, kWritten, kByUi},
      {&ALongDay::phonePressesAKey, kKept, kByUi},
      {&ALongDay::setSleeps, kKept, kByUi},
      {&ALongDay::setWakes, kKept, kByUi},
      {&ALongDay::phonePressesAKey, kKept, kByUi},
      {&ALongDay::startTimesOut, kKept, kByUi},
      {&ALongDay::phonePressesAKey, kWritten, kStopping},
      {&ALongDay::appStops, kWritten, kStopped},

      // Night: two phones, one let in after the other.
      {&ALongDay::phoneConnects, kKept, kStopped},
      {&ALongDay::phoneConnects, kKept, kStopped},
      {&ALongDay::viewerAccepts, kWritten, kByDaemon},
      {&ALongDay::appStarts, kWritten, kStarted},
      {&ALongDay::phoneConnects, kKept, kStarted},
      {&ALongDay::viewerAccepts, kWritten, kByDaemon},
      {&ALongDay::appStarts, kWritten, kStarted},
      {&ALongDay::phoneStops, kWritten, kStopping},
      {&ALongDay::daemonDies, kKept, kStopping},
      {&ALongDay::appStops, kWritten, kStopped},
      {&ALongDay::setSleeps, kKept, kStopped},
  };
  ASSERT_EQ(day.size(), 100U);

  live(day);
}

// ---- Sessions whose every message counts.

TEST_F(ADay, BeginsASessionWithConsentAndEndsItWithTheStop) {
  phoneConnects();
  EXPECT_THAT(sent(), ElementsAre(consentFor("BRIDGE-100.000000")));
  viewerAccepts();
  EXPECT_THAT(sent(), ElementsAre(toAm("start", "[AirPlayApp cwd=/1]")));
  appStarts();
  EXPECT_THAT(tv.takeOnly({"apm"}), ElementsAre(reports(1)));
  phoneStops();
  EXPECT_THAT(sent(), ElementsAre(toAm("stop", "AirPlayApp")));
  appStops();
  EXPECT_THAT(tv.takeOnly({"apm"}), ElementsAre(reports(4)));
}

TEST_F(ADay, TakesTheDaemonsStartAfterAStartFromTheInputListAsItsEcho) {
  viewerPicksTheInput();
  EXPECT_THAT(sent(), ElementsAre(toDaemon("action")));
  (void)tv.daemonSays("start", "AirPlayApp cwd=/1");
  EXPECT_THAT(sent(), ElementsAre(toAm("start", "[AirPlayApp cwd=/1]")));
}

TEST_F(ADay, StopsTheApplicationWhoseDaemonDied) {
  phoneConnects();
  viewerAccepts();
  appStarts();
  (void)tv.take();

  daemonDies();
  EXPECT_THAT(sent(), ElementsAre(toAm("stop", "AirPlayApp")));
  appStops();
  daemonDies();
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(ADay, HoldsTwoPhonesBackUntilTheSetWakesAndAsksForEach) {
  setSleeps();
  (void)tv.take();
  const InMemoryTv::Record second{"AirPlayDaemon", "AirPlayBridge", "AirPlayBridge", "start",
                                  "AirPlayApp cwd=/second"};
  time.after(300ms, [&] { tv.post(0, second); });
  time.after(1200ms, [&] { setWakes(); });

  phoneConnects();

  EXPECT_EQ(time.now(), 101500ms);
  EXPECT_THAT(sent(), ElementsAre(toDaemon("wakeup"), consentFor("BRIDGE-100.000000"),
                                  consentFor("BRIDGE-101.500000")));
  session = "BRIDGE-101.500000";
  viewerAccepts();
  EXPECT_THAT(sent(), ElementsAre(toAm("start", "[AirPlayApp cwd=/second]")));
  session = "BRIDGE-100.000000";
  viewerAccepts();
  EXPECT_THAT(sent(), ElementsAre(toAm("start", "[AirPlayApp cwd=/1]")));
}

TEST_F(ADay, LetsTheSecondOfTwoPhonesInAndTheFirstNot) {
  phoneConnects();
  const std::string first = session;
  time.pass(1s);
  phoneConnects();
  (void)tv.take();

  viewerAccepts();
  EXPECT_THAT(sent(), ElementsAre(toAm("start", "[AirPlayApp cwd=/2]")));
  viewerAccepts();
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(ADay, GoesOnWhenTheSameMessageComesTwice) {
  phoneConnects();
  phoneConnects();
  viewerAccepts();
  viewerAccepts();
  EXPECT_THAT(sent(), ElementsAre(consentFor("BRIDGE-100.000000"), consentFor("BRIDGE-100.000000"),
                                  toAm("start", "[AirPlayApp cwd=/1]")));
}

TEST_F(ADay, GoesOnWhenTheSetDiesAndComesBack) {
  phoneConnects();
  tv.dies();
  viewerAccepts();
  phoneStops();
  phonePressesAKey();
  appStarts();
  setSleeps();
  setWakes();
  tv.comesBack();
  (void)tv.take();

  phoneConnects();
  viewerAccepts();
  EXPECT_THAT(sent(),
              ElementsAre(consentFor("BRIDGE-100.000000"), toAm("start", "[AirPlayApp cwd=/2]")));
}

}  // namespace
