// The bench TV as a whole: beside another one, on another bus, and at rest.
#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>

#include "desk_tv.h"
#include "told.h"

namespace desk {
namespace {

using ::testing::AllOf;
using ::testing::Ge;
using ::testing::Le;

constexpr char kDisableOverride[] = "/var/local/disable_airplay";
constexpr char kNetwork[] = "torvo.sl2.i32.local.network.available";

class TwoTvs : public Desk {
 protected:
  DeskTv other{"other"};
};

TEST_F(TwoTvs, DoNotTouchEachOther) {
  tv.bootUntilReady();
  other.wanted.product = "factory";
  other.wanted.uptime = 1000;
  other.boot();
  const pid_t mdnsd = tv->pidOf("mdnsd");
  const std::uint64_t before = tv.now();

  // What is done to the other one:
  other.control().setSetting(kNetwork, 0);
  other.sees(logs("state:0."));
  other.control().setMarker(kDisableOverride, true);
  EXPECT_EQ(other.control().sendRecord({"Bench", "AirPlayBridge", std::nullopt, "unblank", ""}), 0);
  EXPECT_EQ(other.control().sendRecord({"Bench", "AirPlayDaemon", std::nullopt, "x", ""}), -2);
  EXPECT_EQ(other.control().sendRecord({"Bench", "am", std::nullopt, "start", "mdnsd"}), 0);
  other.sees(processStarts("mdnsd"));
  other->kill("mdnsd");
  other.sees(processEnds("mdnsd") + " status=-9");
  other->kill("set");

  // The first one has heard nothing of it, and its check finds all in order.
  tv.seesInOrder({logs("MDNSD is already running..."), logs("AirPlayDaemon is already running...")},
                 before);
  EXPECT_FALSE(tv.has("kind=marker path=" + std::string(kDisableOverride)));
  EXPECT_FALSE(tv.has("kind=bus src=Bench"));
  EXPECT_FALSE(tv.has(logs("state:0.")));
  EXPECT_EQ(tv.all("kind=process name=mdnsd").size(), 1U);
  EXPECT_EQ(tv->pidOf("mdnsd"), mdnsd);
  EXPECT_EQ(tv.control().setting(kNetwork), 1);
  // Each has a clock of its own.
  EXPECT_THAT(other->events().front()["t"].asDouble(), Ge(1000));
  EXPECT_THAT(tv->events().front()["t"].asDouble(), AllOf(Ge(12), Le(999)));
}

bool isInstalled(const std::string& program) {
  for (const char* folder : {"/usr/bin/", "/usr/local/bin/", "/bin/"})
    if (access((folder + program).c_str(), X_OK) == 0) return true;
  return false;
}

class OtherBus : public Desk {};

TEST_F(OtherBus, ServesAsWell) {
  if (!isInstalled("dbus-broker-launch"))
    GTEST_SKIP() << "dbus-broker is not installed: apt-get install dbus-broker";
  tv.wanted.bus = "broker";
  tv.bootUntilReady();

  tv.control().setSetting(kNetwork, 0);
  tv.sees(logs("Network enabled changed from 1(true) to 0(false)"));
  EXPECT_EQ(tv.control().sendRecord({"Bench", "AirPlayBridge", std::nullopt, "unblank", ""}), 0);
  tv.sees(logs("unblank screen"));

  const std::uint64_t before = tv.now();
  tv->kill("bus");
  tv->startRole("bus");
  tv.waitUntilServiceIsBack(before);
  tv.control().setSetting(kNetwork, 1);
  tv.sees(logs("Network enabled changed from 0(false) to 1(true)"));
}

class AtRest : public Desk {
 protected:
  // The number of the line "NAME:" in a status file of the kernel.
  static long statusOf(const std::string& file, const std::string& name) {
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);)
      if (line.rfind(name + ":", 0) == 0) return std::atol(line.c_str() + name.size() + 1);
    throw std::runtime_error("no " + name + " in " + file);
  }
};

TEST_F(AtRest, TheServicesMainThreadWakesUpAboutOnceASecond) {
  tv.bootUntilReady();
  const std::string pid = std::to_string(tv->pidOf("service"));
  const std::string mainThread = "/proc/" + pid + "/task/" + pid + "/status";
  const auto wakeUps = [&] { return statusOf(mainThread, "voluntary_ctxt_switches"); };

  // From one tick to five seconds later: the time is what is measured here.
  const long first = wakeUps();
  tv.waitUntil("a tick", [&] { return wakeUps() > first; });
  const auto start = std::chrono::steady_clock::now();
  const long before = wakeUps();
  sleep(5);
  const long after = wakeUps();
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

  // In five seconds that is four to eight.
  EXPECT_THAT(static_cast<double>(after - before), AllOf(Ge(0.75 * seconds), Le(1.6 * seconds)));
  std::cout << "at rest: " << after - before << " wake-ups of the main thread in " << seconds
            << " s, " << statusOf("/proc/" + pid + "/status", "VmRSS") << " kB resident\n";
}

}  // namespace
}  // namespace desk
