// A phone's sessions, with every process real.
#include <gmock/gmock.h>

#include "desk_tv.h"

namespace desk {
namespace {

using ::testing::ElementsAre;

constexpr char kConsent[] = "kind=ui op=consent";

class Sessions : public Desk {
 protected:
  void phone(const std::string& verb) { tv->standIn("airplaydemo").perform(verb); }
  void ui(const std::string& verb, const std::string& argument = "") {
    tv->standIn("launcher").perform(verb, argument);
  }

  static std::string lifeCycle(const std::string& state, const std::string& origin) {
    return R"(kind=setting by=service key=torvo.sl2.vstr.app.setting.airplay.status value='[")" +
           state + R"(",")" + origin + R"("]')";
  }
  static std::string appStatus(int status) {
    return "kind=apm op=setAppStatus app=AirPlayBridge status=" + std::to_string(status);
  }

  std::vector<std::string> lifeCycles() const {
    std::vector<std::string> all;
    for (const Event& event :
         tv.all("kind=setting by=service key=torvo.sl2.vstr.app.setting.airplay.status")) {
      all.push_back(event["value"][0].asString() + " " + event["value"][1].asString());
    }
    return all;
  }

  // A session that the viewer has accepted, with its application on the screen.
  void sessionRuns() {
    const std::uint64_t before = tv.now();
    phone("connect");
    tv.sees(kConsent, before);
    ui("accept");
    tv.sees(lifeCycle("started", ""), before);
  }
};

TEST_F(Sessions, TheAcceptedOneGoesFromConsentToStop) {
  tv.bootUntilReady();

  sessionRuns();
  phone("disconnect");

  tv.seesInOrder({kConsent, lifeCycle("starting", "Daemon"), appStatus(1),
                  lifeCycle("stopping", "currentSource"),
                  "kind=process op=end name=AirPlayApp status=0", appStatus(4),
                  lifeCycle("stopped", "")});
  EXPECT_THAT(lifeCycles(),
              ElementsAre("starting Daemon", "started ", "stopping currentSource", "stopped "));
}

TEST_F(Sessions, TheDeclinedOneStartsNothing) {
  tv.bootUntilReady();
  phone("connect");
  tv.sees(kConsent);

  ui("decline");

  tv.sees("kind=ui op=decline");
  EXPECT_FALSE(tv.has(processStarts("AirPlayApp")));
  EXPECT_THAT(lifeCycles(), ElementsAre());
}

TEST_F(Sessions, TheDaemonsDeathEndsTheApplicationAndTheDaemonComesBack) {
  tv.bootUntilReady();
  sessionRuns();
  const std::uint64_t running = tv.now();

  tv->kill("airplaydemo");

  tv.seesInOrder({processEnds("airplaydemo") + " status=-9", sends("am", "stop", "AirPlayApp"),
                  processEnds("AirPlayApp"), logs("Starting AirPlay Daemon..."),
                  processStarts("airplaydemo"), logs("Daemon socket is ready: YES")},
                 running);
}

TEST_F(Sessions, ARequestOutlivesTheUiThatDiesBeforeItAnswers) {
  tv.bootUntilReady();
  phone("connect");
  const std::string id = tv.sees(kConsent)["session"].asString();
  ASSERT_THAT(id, ::testing::StartsWith("BRIDGE-"));

  tv->kill("launcher");
  const Event death = tv.sees(processEnds("launcher") + " status=-9");
  tv.control().startProcess("launcher");
  tv.sees("kind=apm op=registerApp app=launcher", death["seq"].asUInt64());
  EXPECT_FALSE(tv.has(processStarts("AirPlayApp")));
  ui("accept", id);

  tv.sees(processStarts("AirPlayApp"));
}

TEST_F(Sessions, WithoutAnApplicationManagerThePhoneGetsNoAnswer) {
  tv.wanted.faults = {"apm-missing=1"};
  tv.boot();
  tv.sees(logs("Failed to get an instance of AppManagerClient "));
  tv.sees(logs("Daemon socket is ready: YES"));

  phone("connect");

  tv.seesInOrder({logs("start from outside"), logs("Get apm failed")});
  EXPECT_FALSE(tv.has(kConsent));
}

TEST_F(Sessions, OneGoesOnAfterSuspendAndResume) {
  tv.bootUntilReady();
  sessionRuns();

  tv.control().power("suspend");
  tv.seesInOrder({sends("AirPlayDaemon", "suspend", "AirPlayDaemon"), appStatus(8)});
  tv.control().power("resume");
  const Event woken = tv.sees(sends("AirPlayDaemon", "wakeup", "AirPlayDaemon"));
  phone("disconnect");

  tv.seesInOrder(
      {lifeCycle("stopping", "currentSource"), processEnds("AirPlayApp"), lifeCycle("stopped", "")},
      woken["seq"].asUInt64());
}

}  // namespace
}  // namespace desk
