#include "set/app_manager.h"

#include <gmock/gmock.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <optional>

#include "recorded_set.h"
#include "set/refusal.h"

namespace benchtv {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr char kMdnsdStarted[] = R"({"appId":"mdnsd","appStatus":"started"})";
constexpr char kMdnsdStopped[] = R"({"appId":"mdnsd","appStatus":"stopped"})";
constexpr char kMarkVariable[] = "BENCHTV_TEST_MARK";

// An application manager whose mdnsd is a shell under that name, running |script|.
class TheApplicationManager : public ::testing::Test {
 protected:
  TheApplicationManager() {
    std::filesystem::create_symlink("/bin/sh", folder.path("mdnsd"));
    switchOn();
  }
  ~TheApplicationManager() override { manager->endAll(); }

  // A new set on the same journal, after the kill of the one before.
  void switchOn() {
    manager.reset();
    journal.reset();
    journal.emplace(folder.path());
    manager.emplace(
        [this](const std::string& process) { return plan(process); },
        [this](const std::string& report) { reports.push_back(report); },
        [this](const std::string& application, Place place) {
          reports.push_back(application + (place == Place::kForeground ? " in front" : " behind"));
        },
        std::string(kMarkVariable) + "=" + folder.path().string(), *journal);
    manager->adopt();
  }

  LaunchPlan plan(const std::string& process) {
    return {folder.path(process),
            {"-c", script},
            {{kMarkVariable, folder.path().string()}},
            folder.path(process + ".log")};
  }

  void command(const char* word) { manager->command({"AirPlayBridge", {}, "am", word, "mdnsd"}); }

  int pid() { return manager->processes().at("mdnsd"); }

  // Lets the manager notice ends until |condition| holds; false after ten seconds.
  template <class Condition>
  bool until(const Condition& condition) {
    for (int left = 10'000; left > 0 && !condition(); left -= 50) {
      std::vector<pollfd> waits;
      for (const int fd : manager->descriptors()) {
        waits.push_back({fd, POLLIN, 0});
      }
      poll(waits.data(), waits.size(), 50);
      manager->check();
    }
    return condition();
  }

  std::string script = "while :; do read line < /dev/zero; done";
  TemporaryFolder folder;
  std::vector<std::string> reports;
  std::optional<Journal> journal;
  std::optional<AppManager> manager;
};

TEST_F(TheApplicationManager, StartsAndStopsAndPublishesBoth) {
  command("start");
  const int started = pid();
  EXPECT_GT(started, 0);
  command("stop");
  ASSERT_TRUE(until([&] { return pid() == 0; }));

  const std::string number = std::to_string(started);
  EXPECT_THAT(reports, ElementsAre(kMdnsdStarted, kMdnsdStopped));
  EXPECT_THAT(journalOf(folder),
              ElementsAre(R"(process name="mdnsd" op="start" pid=)" + number,
                          R"(process name="mdnsd" op="stop" pid=)" + number,
                          R"(process name="mdnsd" op="end" pid=)" + number + " status=-15"));
}

TEST_F(TheApplicationManager, PublishesAgainWhatIsAlreadySo) {
  command("stop");
  command("start");
  const int first = pid();
  command("start");
  EXPECT_EQ(pid(), first);
  EXPECT_THAT(reports, ElementsAre(kMdnsdStopped, kMdnsdStarted, kMdnsdStarted));
}

TEST_F(TheApplicationManager, NoticesADeathAtOnce) {
  command("start");
  const int victim = pid();
  kill(victim, SIGKILL);
  ASSERT_TRUE(until([&] { return pid() == 0; }));
  EXPECT_THAT(reports, ElementsAre(kMdnsdStarted, kMdnsdStopped));
  EXPECT_EQ(journal->errors(), 0U);
}

TEST_F(TheApplicationManager, CallsACrashAnErrorOfTheBench) {
  script = "exit 3";
  command("start");
  ASSERT_TRUE(until([&] { return pid() == 0; }));
  EXPECT_EQ(journalOf(folder).back(), R"(error source="mdnsd" text="ended with status 3")");

  script = "kill -SEGV $$";
  command("start");
  ASSERT_TRUE(until([&] { return pid() == 0; }));
  EXPECT_EQ(journalOf(folder).back(), R"(error source="mdnsd" text="ended by signal 11")");
}

TEST_F(TheApplicationManager, ResetsToANewProcess) {
  command("start");
  const int first = pid();
  command("reset");
  ASSERT_TRUE(until([&] { return pid() != first && pid() != 0; }));
  EXPECT_THAT(reports, ElementsAre(kMdnsdStarted, kMdnsdStopped, kMdnsdStarted));
}

TEST_F(TheApplicationManager, StartsWhatIsResetWithoutRunning) {
  command("reset");
  EXPECT_GT(pid(), 0);
  EXPECT_THAT(reports, ElementsAre(kMdnsdStarted));
}

TEST_F(TheApplicationManager, KillsWhatDoesNotHeedAStop) {
  script = "trap '' TERM; echo deaf; while :; do read line < /dev/zero; done";
  command("start");
  ASSERT_TRUE(until([&] { return folder.read("mdnsd.log") == "deaf\n"; }));
  command("stop");
  EXPECT_TRUE(manager->deadline().has_value());
  ASSERT_TRUE(until([&] { return pid() == 0; }));
  EXPECT_THAT(journalOf(folder).back(), ::testing::EndsWith("status=-9"));
  EXPECT_FALSE(manager->deadline().has_value());
}

TEST_F(TheApplicationManager, SaysWhenAProgramCannotBeStarted) {
  manager->command({"AirPlayBridge", {}, "am", "start", "AirPlayDaemon"});
  EXPECT_EQ(journalOf(folder).back(), R"(error source="airplaydemo" text="cannot be started: )" +
                                          folder.path("airplaydemo").string() +
                                          R"(: No such file or directory")");
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(TheApplicationManager, LeavesOtherCommandsWithoutEffect) {
  manager->command({"AirPlayBridge", "am", "am", "started", "AirPlayBridge"});
  manager->command({"AirPlayBridge", "am", "am", "start", "[{\"cwd\":1}]"});
  manager->command({"AirPlayBridge", "am", "am", "start", "AirPlayApp"});
  manager->command({"AirPlayBridge", "am", "am", "start", "[AirPlayApps]"});
  manager->command({"AirPlayBridge", "am", "am", "start", "[]"});
  manager->command({"AirPlayBridge", "am", "am", "start", "["});
  manager->command({"AirPlayBridge", "am", "am", "start", "launcher"});
  manager->command({"AirPlayBridge", "am", "am", "foregm", "mdnsd"});
  manager->command({"AirPlayBridge", "am", "am", {}, "mdnsd"});
  manager->command({"AirPlayBridge", "am", "am", "start", {}});
  EXPECT_THAT(reports, IsEmpty());
  EXPECT_THAT(journalOf(folder), IsEmpty());
}

TEST_F(TheApplicationManager, TakesOverItsProcessesAfterAKillOfTheSet) {
  script = "echo up; " + script;
  command("start");
  const int first = pid();
  ASSERT_TRUE(until([&] { return folder.read("mdnsd.log") == "up\n"; }));
  switchOn();
  EXPECT_EQ(pid(), first);
  EXPECT_EQ(journalOf(folder).back(),
            R"(process name="mdnsd" op="adopt" pid=)" + std::to_string(first));
  reports.clear();
  manager->reportsObserved();
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(TheApplicationManager, TakesOverNoProcessOfAnotherSet) {
  script = "echo up; " + script;
  LaunchPlan foreign = plan("mdnsd");
  foreign.environment[kMarkVariable] = "another";
  Process other = Process::start(foreign);
  ASSERT_TRUE(until([&] { return folder.read("mdnsd.log") == "up\n"; }));
  switchOn();
  EXPECT_EQ(pid(), 0);
  other.signal(SIGKILL);
  pollfd wait{other.descriptor(), POLLIN, 0};
  poll(&wait, 1, 10'000);
  EXPECT_EQ(other.reap(), -SIGKILL);
}

TEST_F(TheApplicationManager, ReportsWhatEndedWhileTheSetWasGoneOnceSomebodyListens) {
  command("start");
  kill(pid(), SIGKILL);
  ASSERT_TRUE(until([&] { return pid() == 0; }));
  // As if the set had been killed first: its journal knows of no end.
  folder.write(
      kJournalFile,
      "{\"seq\":1,\"t\":1.0,\"kind\":\"process\",\"op\":\"start\",\"name\":\"mdnsd\",\"pid\":7}\n");
  reports.clear();
  switchOn();

  EXPECT_EQ(journalOf(folder).back(), R"(process name="mdnsd" op="end" pid=null status=null)");
  EXPECT_THAT(reports, IsEmpty());
  manager->reportsObserved();
  manager->reportsObserved();
  EXPECT_THAT(reports, ElementsAre(kMdnsdStopped));
}

// The same manager with an AirPlayApp that notes its argument.
class TheApplicationManagerOfAnApp : public TheApplicationManager {
 protected:
  static constexpr char kInFront[] = "AirPlayApp in front";
  static constexpr char kBehind[] = "AirPlayApp behind";
  static constexpr char kStarted[] = R"({"appId":"AirPlayApp","appStatus":"started"})";
  static constexpr char kPaused[] = R"({"appId":"AirPlayApp","appStatus":"paused"})";
  static constexpr char kStopped[] = R"({"appId":"AirPlayApp","appStatus":"stopped"})";

  TheApplicationManagerOfAnApp() {
    std::filesystem::create_symlink("/bin/sh", folder.path("AirPlayApp"));
    script = "echo \"$0\"; " + script;
  }

  void say(const char* word, const char* parameter) {
    manager->command({"AirPlayBridge", {}, "am", word, parameter});
  }

  int appPid() { return manager->processes().at("AirPlayApp"); }
};

TEST_F(TheApplicationManagerOfAnApp, HandsTheParameterWithoutItsBracketsToTheApplication) {
  say("start", "[AirPlayApp cwd=/data/airplay session=1]");
  EXPECT_THAT(reports, ElementsAre(kInFront, kStarted));
  ASSERT_TRUE(until(
      [&] { return folder.read("AirPlayApp.log") == "AirPlayApp cwd=/data/airplay session=1\n"; }));
  EXPECT_EQ(
      journalOf(folder).back(),
      R"(process name="AirPlayApp" op="start" param="AirPlayApp cwd=/data/airplay session=1" pid=)" +
          std::to_string(appPid()));
}

TEST_F(TheApplicationManagerOfAnApp, MovesItBehindAndForwardAgain) {
  say("start", "[AirPlayApp]");
  const int first = appPid();
  say("backgm", "AirPlayApp");
  say("foregm", "AirPlayApp");
  say("backgm", "AirPlayApp");
  say("start", "[AirPlayApp again]");
  EXPECT_EQ(appPid(), first);
  EXPECT_THAT(reports, ElementsAre(kInFront, kStarted, kBehind, kPaused, kInFront, kStarted,
                                   kBehind, kPaused, kInFront, kStarted));
}

TEST_F(TheApplicationManagerOfAnApp, StopsItByItsNameOrByItsParameter) {
  say("start", "[AirPlayApp page=input]");
  say("stop", "AirPlayApp page=other");
  say("stop", "AirPlayApp page=input");
  ASSERT_TRUE(until([&] { return appPid() == 0; }));
  say("start", "[AirPlayApp page=input]");
  say("stop", "AirPlayApp");
  ASSERT_TRUE(until([&] { return appPid() == 0; }));
  EXPECT_THAT(reports, ElementsAre(kInFront, kStarted, kBehind, kStopped, kInFront, kStarted,
                                   kBehind, kStopped));
}

TEST_F(TheApplicationManagerOfAnApp, SaysOfAnAppThatDoesNotRunThatItIsStopped) {
  say("stop", "AirPlayApp");
  say("backgm", "AirPlayApp");
  say("foregm", "AirPlayApp");
  EXPECT_THAT(reports, ElementsAre(kBehind, kStopped, kBehind, kStopped, kBehind, kStopped));
}

TEST_F(TheApplicationManagerOfAnApp, ReportsItsDeath) {
  say("start", "[AirPlayApp]");
  kill(appPid(), SIGKILL);
  ASSERT_TRUE(until([&] { return appPid() == 0; }));
  EXPECT_THAT(reports, ElementsAre(kInFront, kStarted, kBehind, kStopped));
}

TEST_F(TheApplicationManagerOfAnApp, PublishesNothingOfTheUi) {
  std::filesystem::create_symlink("/bin/sh", folder.path("launcher"));
  manager->startUi();
  const int ui = manager->processes().at("launcher");
  EXPECT_GT(ui, 0);
  manager->startUi();
  say("stop", "launcher");
  EXPECT_EQ(manager->processes().at("launcher"), ui);
  kill(ui, SIGKILL);
  ASSERT_TRUE(until([&] { return manager->processes().at("launcher") == 0; }));
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(TheApplicationManagerOfAnApp, StartsByHandWhatDoesNotRun) {
  manager->startByHand("mdnsd");
  EXPECT_GT(pid(), 0);
  EXPECT_THAT([&] { manager->startByHand("mdnsd"); },
              ::testing::ThrowsMessage<Refusal>("mdnsd runs already"));
  EXPECT_THAT([&] { manager->startByHand("AirPlayApp"); },
              ::testing::ThrowsMessage<Refusal>("no process \"AirPlayApp\" to start: there are "
                                                "mdnsd, airplaydemo, launcher"));
}

}  // namespace
}  // namespace benchtv
