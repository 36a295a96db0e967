// What the service may count on of the application manager.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <boost/make_shared.hpp>
#include <boost/weak_ptr.hpp>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "app_manager_client.h"
#include "gam_client.h"
#include "set_under_test.h"
#include "waiting.h"

namespace contract {
namespace {

using nv::apmclient::AppManagerClient;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Lt;

constexpr char kApp[] = "AirPlayBridge";
constexpr char kOtherApp[] = "AnotherApp";

// An application: keeps what it is told, and in onRunning() does what the case wants.
class App : public nv::appmanager::AppInterface {
 public:
  int onRunning(const std::string& appUrl, const std::string& param) override {
    add("onRunning " + appUrl + "|" + param);
    if (then) {
      then();
    }
    return 0;
  }
  int onDestroy(const std::string& appUrl, const std::string& param) override {
    return add("onDestroy " + appUrl + "|" + param);
  }
  int onSuspend(const std::string& appUrl, const std::string& param) override {
    return add("onSuspend " + appUrl + "|" + param);
  }
  int onSTRSuspending(const std::string& appUrl, int reason) override {
    return add("onSTRSuspending " + appUrl + "|" + std::to_string(reason));
  }
  int onSTRSuspend(const std::string& appUrl, int reason) override {
    return add("onSTRSuspend " + appUrl + "|" + std::to_string(reason));
  }
  int onSTRResume(const std::string& appUrl, int reason) override {
    return add("onSTRResume " + appUrl + "|" + std::to_string(reason));
  }
  int onSTRResuming(const std::string& appUrl, int reason) override {
    return add("onSTRResuming " + appUrl + "|" + std::to_string(reason));
  }
  int notifyAppEventMessage(const std::string& src, const std::string& dst,
                            const std::string& msg) override {
    if (msg == "register_ok") {
      registrations.add(dst);
      return 0;
    }
    return add("message " + src + "|" + dst + "|" + msg);
  }
  int onKeyEvent(const GAM_KeyEvent& key) override {
    return add("onKeyEvent " + std::to_string(key.code) + " " + std::to_string(key.head[0]) + " " +
               std::to_string(key.tail[47]));
  }
  int reserved1() override { return add("reserved"); }
  int reserved2() override { return add("reserved"); }
  int reserved3() override { return add("reserved"); }
  int reserved4() override { return add("reserved"); }
  int reserved5() override { return add("reserved"); }
  int reserved6() override { return add("reserved"); }
  int reserved7() override { return add("reserved"); }
  int reserved8() override { return add("reserved"); }
  int reserved9() override { return add("reserved"); }
  int reserved10() override { return add("reserved"); }
  int reserved11() override { return add("reserved"); }
  std::string reservedText() override {
    add("reserved");
    return {};
  }

  Seen<std::string> told;
  Seen<std::string> registrations;
  std::function<void()> then;

 private:
  int add(const std::string& what) {
    told.add(what);
    return 0;
  }
};

class AppManager : public ::testing::Test {
 protected:
  ~AppManager() override {
    set.endFaults();
    for (const char* name : {kApp, kOtherApp}) {
      client().unregisterApp(name);
    }
  }

  // The client, which there is as soon as the library has found the set.
  AppManagerClient& client() {
    AppManagerClient* found = nullptr;
    EXPECT_TRUE(eventually([&] { return (found = AppManagerClient::getInstance()) != nullptr; }));
    return *found;
  }

  // Registered, and known to be.
  boost::shared_ptr<App> registeredApp(const char* name = kApp) {
    auto app = boost::make_shared<App>();
    EXPECT_EQ(client().registerApp(name, app), 0);
    EXPECT_THAT(app->registrations.waitFor(1), ElementsAre(name));
    return app;
  }

  SetUnderTest& set = theSet();
};

TEST_F(AppManager, HasOneClientForTheProcess) { EXPECT_EQ(&client(), &client()); }

TEST_F(AppManager, TellsAnApplicationThatItIsRegistered) {
  const auto app = boost::make_shared<App>();
  EXPECT_EQ(client().registerApp(kApp, app), 0);
  EXPECT_THAT(app->registrations.waitFor(1), ElementsAre(kApp));
  EXPECT_TRUE(app->registrations.cameOnOneOtherThread());
}

TEST_F(AppManager, CallsEveryOperationWithItsArgumentsInOrderOnOneThread) {
  const auto app = registeredApp();
  GAM_KeyEvent key{};
  key.head[0] = 200;
  key.code = 28;
  key.tail[47] = 7;

  set.callApp(kApp, "onRunning", {"airplay", "param %s \xff"}, 0);
  set.callApp(kApp, "onDestroy", {"", ""}, 0);
  set.callApp(kApp, "onSuspend", {"airplay", "NorvaleUI"}, 0);
  set.callApp(kApp, "onSTRSuspending", {"airplay"}, 1);
  set.callApp(kApp, "onSTRSuspend", {"airplay"}, 2);
  set.callApp(kApp, "onSTRResume", {"airplay"}, -3);
  set.callApp(kApp, "onSTRResuming", {"airplay"}, 4);
  set.callApp(kApp, "notifyAppEventMessage", {"launcher", kApp, "low_memory"}, 0);
  set.callApp(kApp, "onKeyEvent", {std::string(reinterpret_cast<char*>(&key), sizeof key)}, 0);

  EXPECT_THAT(
      app->told.waitFor(9),
      ElementsAre("onRunning airplay|param %s \xff", "onDestroy |", "onSuspend airplay|NorvaleUI",
                  "onSTRSuspending airplay|1", "onSTRSuspend airplay|2", "onSTRResume airplay|-3",
                  "onSTRResuming airplay|4", "message launcher|AirPlayBridge|low_memory",
                  "onKeyEvent 28 200 7"));
  EXPECT_TRUE(app->told.cameOnOneOtherThread());
}

TEST_F(AppManager, HoldsTheNextCallbackWhileOneBlocksAndLosesNone) {
  const auto app = registeredApp();
  const auto other = registeredApp(kOtherApp);
  Gate gate;
  app->then = gate.passage();

  set.callApp(kApp, "onRunning", {"first", ""}, 0);
  EXPECT_TRUE(gate.waitForSomeone());
  set.callApp(kApp, "onRunning", {"second", ""}, 0);
  set.callApp(kOtherApp, "onRunning", {"third", ""}, 0);
  EXPECT_EQ(client().setAppStatus(kApp, 1), 0) << "a call must not wait for the callback";
  EXPECT_THAT(other->told.all(), IsEmpty());
  gate.open();

  EXPECT_THAT(app->told.waitFor(2), ElementsAre("onRunning first|", "onRunning second|"));
  EXPECT_THAT(other->told.waitFor(1), ElementsAre("onRunning third|"));
}

TEST_F(AppManager, GivesTheNameToTheLaterRegistration) {
  const auto first = registeredApp();
  const auto second = registeredApp();

  set.callApp(kApp, "onRunning", {"airplay", ""}, 0);

  EXPECT_THAT(second->told.waitFor(1), ElementsAre("onRunning airplay|"));
  EXPECT_THAT(first->told.all(), IsEmpty());
}

TEST_F(AppManager, SharesTheOwnershipUntilUnregistered) {
  auto app = registeredApp();
  const boost::weak_ptr<App> watched = app;
  app.reset();
  EXPECT_FALSE(watched.expired());

  EXPECT_EQ(client().unregisterApp(kApp), 0);
  EXPECT_TRUE(eventually([&] { return watched.expired(); }));
}

TEST_F(AppManager, StartsNoCallbackOnceUnregistered) {
  const auto blocking = registeredApp(kOtherApp);
  const auto app = registeredApp();
  Gate gate;
  blocking->then = gate.passage();
  set.callApp(kOtherApp, "onRunning", {"block", ""}, 0);
  EXPECT_TRUE(gate.waitForSomeone());
  set.callApp(kApp, "onRunning", {"too late", ""}, 0);

  EXPECT_EQ(client().unregisterApp(kApp), 0);
  gate.open();

  set.callApp(kOtherApp, "onRunning", {"afterwards", ""}, 0);
  EXPECT_EQ(blocking->told.waitFor(2).back(), "onRunning afterwards|");
  EXPECT_THAT(app->told.all(), IsEmpty());
}

TEST_F(AppManager, RecordsTheStateOfAnApplication) {
  const auto app = registeredApp();
  for (const int status : {1, 2, 4, 8}) {
    EXPECT_EQ(client().setAppStatus(kApp, status), 0);
  }
}

TEST_F(AppManager, DeliversAMessageAsItIs) {
  const auto app = registeredApp();
  const std::string big(kBig, 'x');
  EXPECT_EQ(client().sendMessage("sender", kApp, "{\"a\": \"%s\"}\n"), 0);
  EXPECT_EQ(client().sendMessage("", kApp, ""), 0);
  EXPECT_EQ(client().sendMessage("bad \xff", kApp, "bytes \x80\xc3\x28"), 0);
  EXPECT_EQ(client().sendMessage("sender", kApp, big), 0);

  std::vector<std::string> told = app->told.waitFor(4);
  ASSERT_EQ(told.size(), 4u);
  EXPECT_TRUE(told.back() == "message sender|AirPlayBridge|" + big);
  told.pop_back();
  EXPECT_THAT(
      told, ElementsAre("message sender|AirPlayBridge|{\"a\": \"%s\"}\n", "message |AirPlayBridge|",
                        "message bad \xff|AirPlayBridge|bytes \x80\xc3\x28"));
}

TEST_F(AppManager, TellsTheSenderThatNoApplicationHasTheName) {
  EXPECT_THAT(client().sendMessage(kApp, "NoSuchApp", "text"), Lt(0));
}

TEST_F(AppManager, TakesCallsFromWithinACallback) {
  const auto app = registeredApp();
  Seen<int> results;
  app->then = [&] {
    results.add(client().setAppStatus(kApp, 1));
    results.add(client().sendMessage(kApp, kApp, "to myself"));
    results.add(client().unregisterApp(kApp));
    results.add(client().registerApp(kApp, app));
  };
  set.callApp(kApp, "onRunning", {"airplay", ""}, 0);
  EXPECT_THAT(results.waitFor(4), ElementsAre(0, 0, 0, 0));
  EXPECT_EQ(app->registrations.waitFor(2).size(), 2u);
}

TEST_F(AppManager, TakesCallsFromManyThreadsAtOnce) {
  const auto app = registeredApp();
  std::atomic<int> failures{0};
  inThreads(4, [&](int) {
    for (int i = 0; i < 50; ++i) {
      AppManagerClient* found = AppManagerClient::getInstance();
      failures += found == nullptr || found->setAppStatus(kApp, 1) != 0 ||
                  found->sendMessage(kApp, kApp, "x") != 0;
    }
  });
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(app->told.waitFor(200).size(), 200u);
}

// ---- Without one.

TEST_F(AppManager, HasNoClientWhileItIsMissing) {
  AppManagerClient& before = client();
  set.takeAppManagerAway();
  EXPECT_TRUE(eventually([] { return AppManagerClient::getInstance() == nullptr; }));
  EXPECT_THAT(before.setAppStatus(kApp, 1), Lt(0)) << "the object stays valid";

  set.endFaults();
  EXPECT_TRUE(eventually([&] { return AppManagerClient::getInstance() == &before; }));
}

TEST_F(AppManager, HasNoClientWhileTheSetIsGoneAndKnowsItsApplicationsWhenItIsBack) {
  const auto app = registeredApp();
  AppManagerClient& before = client();
  set.die();
  EXPECT_TRUE(eventually([] { return AppManagerClient::getInstance() == nullptr; }));
  EXPECT_LT(durationOf([&] {
              EXPECT_THAT(before.setAppStatus(kApp, 1), Lt(0));
              EXPECT_THAT(before.sendMessage(kApp, kApp, "x"), Lt(0));
            }),
            std::chrono::seconds(2));

  set.comeBack();
  EXPECT_TRUE(eventually([&] { return AppManagerClient::getInstance() == &before; }));
  EXPECT_TRUE(eventually([&] { return before.sendMessage("after", kApp, "back") == 0; }));
  EXPECT_THAT(app->told.waitFor(1), Contains("message after|AirPlayBridge|back"));
}

}  // namespace
}  // namespace contract
