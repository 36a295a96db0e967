// kill -9: of what the service looks after, of what it talks to, and of itself.
#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "desk_tv.h"
#include "told.h"

namespace desk {
namespace {

using ::testing::AnyOf;
using ::testing::Eq;

constexpr char kNetwork[] = "torvo.sl2.i32.local.network.available";
constexpr char kAppStatus[] = "torvo.sl2.str.source.app.status";
constexpr char kEnableState[] = "torvo.sl2.i32.app.setting.airplay.enable";
constexpr char kUseCase[] = "torvo.sl2.i32.system.enum.pwr.use.case";

class Kills : public Desk {
 protected:
  std::string reports(const std::string& app, const std::string& status) const {
    return writes(kAppStatus, R"({"appId":")" + app + R"(","appStatus":")" + status + R"("})",
                  "set");
  }

  struct Pids {
    pid_t service, mdnsd, daemon;
    bool operator==(const Pids& other) const {
      return service == other.service && mdnsd == other.mdnsd && daemon == other.daemon;
    }
  };

  Pids pids() { return {tv->pidOf("service"), tv->pidOf("mdnsd"), tv->pidOf("airplaydemo")}; }

  // The service hears of a setting, gets a message and a callback, sends one, and writes.
  void worksInAllDirections() {
    const std::uint64_t before = tv.now();
    tv.control().setSetting(kNetwork, 0);
    tv.sees(logs("Network enabled changed from 1(true) to 0(false)"), before);
    const auto id = tv.control().callApp("AirPlayBridge", "onSTRResume", {"url"}, 2);
    tv.sees(sends("AirPlayDaemon", "wakeup", "AirPlayDaemon") + " status=0", before);
    tv.sees("kind=apm op=answer result=0 id=" + std::to_string(id), before);
    EXPECT_EQ(tv.control().sendRecord(
                  {"AirPlayDaemon", "AirPlayBridge", std::nullopt, "AirPlayEnabled", "disable"}),
              0);
    tv.sees(writes(kEnableState, "2", "service") + " status=0", before);
  }

  void theJournalHasNoGap() {
    std::uint64_t expected = 0;
    double t = 0;
    for (const Event& event : tv->events()) {
      EXPECT_EQ(event["seq"].asUInt64(), ++expected);
      EXPECT_GE(event["t"].asDouble(), t);
      t = event["t"].asDouble();
    }
  }
};

TEST_F(Kills, TheDaemonIsFoundMissingByTheNextCheckAndStartedAgain) {
  tv.bootUntilReady();
  const Event first = tv.sees(processStarts("airplaydemo"));

  tv->kill("airplaydemo");

  const Event second = tv.seesInOrder(
      {processEnds("airplaydemo") + " status=-9", reports("AirPlayDaemon", "stopped"),
       logs("MDNSD is already running..."), logs("Starting AirPlay Daemon..."),
       sends("am", "start", "AirPlayDaemon"), processStarts("airplaydemo")},
      first["seq"].asUInt64());
  EXPECT_NE(first["pid"], second["pid"]);
  tv.seesInOrder({"kind=log text~'PID of airplaydemo: " + second["pid"].asString() + ",'",
                  logs("Daemon socket is ready: YES")},
                 second["seq"].asUInt64());
}

TEST_F(Kills, MdnsdIsFoundMissingByTheNextCheckAndStartedAgain) {
  tv.bootUntilReady();
  const Event first = tv.sees(processStarts("mdnsd"));

  tv->kill("mdnsd");

  const Event second =
      tv.seesInOrder({processEnds("mdnsd") + " status=-9", reports("mdnsd", "stopped"),
                      logs("Starting ..."), sends("am", "start", "mdnsd"), processStarts("mdnsd")},
                     first["seq"].asUInt64());
  EXPECT_NE(first["pid"], second["pid"]);
  tv.seesInOrder({"kind=log text~'PID of mdnsd: " + second["pid"].asString() + ",'",
                  logs("mdnsd Started."), logs("AirPlayDaemon is already running...")},
                 second["seq"].asUInt64());
}

TEST_F(Kills, TheServiceSurvivesTheSetAndWorksAgainWhenItIsBack) {
  tv.bootUntilReady();
  const Pids before = pids();
  const std::uint64_t then = tv.now();

  tv->kill("set");
  EXPECT_EQ(pids(), before);
  tv->startRole("set");

  tv.waitUntilServiceIsBack(then);
  tv.sees("kind=process op=adopt name=mdnsd", then);
  tv.sees("kind=process op=adopt name=airplaydemo", then);
  tv.sees("kind=bus op=join src=AirPlayDaemon", then);
  worksInAllDirections();
  EXPECT_EQ(pids(), before);
  theJournalHasNoGap();
}

TEST_F(Kills, TheServiceSurvivesTheBusAndWorksAgainWhenItIsBack) {
  tv.bootUntilReady();
  const Pids before = pids();
  const std::uint64_t then = tv.now();

  tv->kill("bus");
  EXPECT_EQ(pids(), before);
  tv->startRole("bus");

  tv.waitUntilServiceIsBack(then);
  tv.sees("kind=bus op=join src=AirPlayDaemon", then);
  worksInAllDirections();
  EXPECT_EQ(pids(), before);
  theJournalHasNoGap();
}

TEST_F(Kills, ADaemonThatDiesWhileTheSetIsGoneIsReportedByTheNextSetAndStartedAgain) {
  tv.bootUntilReady();
  const std::uint64_t then = tv.now();

  tv->kill("set");
  tv->kill("airplaydemo");
  tv->startRole("set");

  tv.seesInOrder({processEnds("airplaydemo") + " status=null", reports("AirPlayDaemon", "stopped"),
                  logs("Starting AirPlay Daemon..."), processStarts("airplaydemo"),
                  logs("Daemon socket is ready: YES")},
                 then);
}

TEST_F(Kills, AnAnsweredWriteSurvivesTheSet) {
  tv.bootUntilReady();
  const benchtv::ControlLink control = tv.control();
  std::atomic<int> answered{0};
  std::thread writer([&] {
    try {
      for (int value = 1;; ++value) {
        control.setSetting(kUseCase, value);
        answered = value;
      }
    } catch (const std::runtime_error&) {
      // The set is gone.
    }
  });
  tv.waitUntil("some writes", [&] { return answered >= 20; });

  tv->kill("set");
  writer.join();
  tv->startRole("set");

  tv.waitUntilServiceIsBack(0);
  // The one that was under way may have made it.
  const int last = answered;
  EXPECT_THAT(tv.control().setting(kUseCase).asInt(), AnyOf(Eq(last), Eq(last + 1)));
  EXPECT_EQ(tv.control().setting(kEnableState), 3);
}

TEST_F(Kills, AServiceThatIsStartedAgainTakesUpWhatRuns) {
  tv.bootUntilReady();
  const Pids before = pids();
  const std::uint64_t then = tv.now();

  tv->kill("service");
  tv.sees(processEnds("service") + " status=-9", then);
  tv.sees("kind=bus op=leave src=AirPlayBridge", then);
  tv->startRole("service");

  tv.seesInOrder({logs("TVS API is enabled : FALSE"), logs("airplay switch is : 1"),
                  logs("AirPlay EnableState: 3 -> 3"), logs("mdnsd Started."),
                  logs("Daemon socket is ready: YES")},
                 then);
  EXPECT_EQ(pids().mdnsd, before.mdnsd);
  EXPECT_EQ(pids().daemon, before.daemon);
  worksInAllDirections();
}

TEST_F(Kills, AServiceThatIsStartedWithoutASetEnds) {
  tv.boot();
  tv->kill("service");
  tv->kill("set");
  const std::uint64_t then = tv.now();

  tv->startRole("service");

  tv.waitUntil("the service's end", [this] { return tv->endOf("service").has_value(); });
  EXPECT_EQ(tv->endOf("service"), 0);
  tv->startRole("set");
  tv.seesInOrder({"kind=log text~'H [host] settings: no set at '",
                  logs("Error get airplay supported or not -19, assuming NOT."),
                  logs("Airplay is NOT supported, Exiting AirplayBridge."),
                  logs("Airplay is failed to start. ")},
                 then);
}

}  // namespace
}  // namespace desk
