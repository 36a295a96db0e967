// Each fault that the set can be asked for, once: what the service makes of it, and what becomes of
// it when the fault is gone.
#include <gmock/gmock.h>

#include "desk_tv.h"
#include "told.h"

namespace desk {
namespace {

using ::testing::ElementsAre;

constexpr char kEnableState[] = "torvo.sl2.i32.app.setting.airplay.enable";
constexpr char kNetwork[] = "torvo.sl2.i32.local.network.available";
constexpr char kCurrentApp[] = "torvo.sl2.str.source.app.current";
constexpr char kAppStatus[] = "torvo.sl2.str.source.app.status";

class Faults : public Desk {
 protected:
  void resetsTheDaemonByHand() {
    EXPECT_EQ(tv.control().sendRecord({"Bench", "am", std::nullopt, "reset", "AirPlayDaemon"}), 0);
  }

  // A key event of the set: 76 bytes, the code at byte 24.
  static std::string keyEvent(char code) {
    std::string event(76, '\0');
    event[24] = code;
    return event;
  }
};

TEST_F(Faults, ACapabilityThatCannotBeReadEndsTheServiceWithStatus0) {
  tv.wanted.faults = {"setting-read:torvo.sl2.i32.system.airplay.support=-5"};

  EXPECT_EQ(tv.bootUntilServiceEnd(), 0);

  tv.seesInOrder({logs("Error get airplay supported or not -5, assuming NOT."),
                  logs("Airplay is NOT supported, Exiting AirplayBridge."),
                  logs("Airplay is failed to start. ")});
  EXPECT_FALSE(tv.has("kind=bus src=AirPlayBridge"));
}

TEST_F(Faults, AnEnableStateThatCannotBeWrittenStopsNothing) {
  tv.wanted.faults = {std::string("setting-write:") + kEnableState + "=-13"};
  tv.bootUntilReady();

  tv.seesInOrder({writes(kEnableState, "3", "service") + " status=-13",
                  logs("AirPlay EnableState: 0 -> 3"), processStarts("mdnsd"),
                  processStarts("airplaydemo")});
  EXPECT_EQ(tv.control().setting(kEnableState), 0);
}

TEST_F(Faults, ANetworkThatCannotBeConnectedNeverReportsChangesButTheOthersDo) {
  tv.wanted.faults = {std::string("setting-connect:") + kNetwork + "=-110"};
  tv.bootUntilReady();
  tv.seesInOrder({logs("Will connect LocalNetwork Value."),
                  logs("Fail to connect LocalNetwork Value, status: -110"),
                  logs("Will connect application status Value."),
                  logs("Will connect current app Value.")});

  // Gone or not: there is no second attempt.
  tv.control().clearFault();
  tv.control().setSetting(kNetwork, 0);
  tv.control().setSetting(kCurrentApp, "browser");

  // Changes come in the order of the writes.
  tv.sees(logs("Current App change to browser"));
  EXPECT_FALSE(tv.has(logs("state:0.")));
}

TEST_F(Faults, ACommandBusThatRefusesTheServiceIsLostForIt) {
  tv.wanted.faults = {"bus-init=-111"};
  tv.start();
  const Event failed = tv.sees(logs("GAM init failed"));
  tv.control().clearFault();

  // It goes on, connects to all else, and asks in vain.
  tv.seesInOrder(
      {"kind=apm op=registerApp app=AirPlayBridge result=0", writes(kEnableState, "3", "service"),
       logs("cmd: start,  dest: am, param: mdnsd"), logs("waiting for mdns started, cnt:11"),
       logs("mdns start timeout"), "kind=log text~'PID of mdnsd: 0, time used: '",
       logs("mdnsd Timeout"), logs("cmd: start,  dest: am, param: AirPlayDaemon"),
       logs("waiting for AirPlayDaemon started, cnt:1")},
      failed["seq"].asUInt64());
  EXPECT_THAT(only(told(tv->events()), {"bus "}), ElementsAre("bus join AirPlayBridge -> -111"));
}

TEST_F(Faults, ACommandBusThatTakesNoMessagesIsAskedAgainByTheNextCheck) {
  tv.wanted.faults = {"bus-send=-11"};
  tv.start();
  tv.seesInOrder({"kind=bus op=send cmd=started status=-11", logs("GAM command send failed"),
                  sends("am", "start", "mdnsd") + " status=-11"});
  const Event timeout = tv.seesInOrder(
      {logs("waiting for mdns started, cnt:1"), logs("waiting for mdns started, cnt:11"),
       logs("mdns start timeout"), logs("mdnsd Timeout"),
       sends("am", "start", "AirPlayDaemon") + " status=-11",
       logs("waiting for AirPlayDaemon started, cnt:11"), logs("AirPlayDaemon start timeout 5s")});
  EXPECT_FALSE(tv.has(logs("waiting for mdns started, cnt:12")));

  tv.control().clearFault();

  tv.seesInOrder({sends("am", "start", "mdnsd") + " status=0", processStarts("mdnsd"),
                  logs("mdnsd Started."), sends("am", "start", "AirPlayDaemon") + " status=0",
                  processStarts("airplaydemo"), logs("Daemon socket is ready: YES")},
                 timeout["seq"].asUInt64());
}

TEST_F(Faults, AKeyThatCannotBeInjectedIsAnsweredWithTheBussStatus) {
  tv.bootUntilReady();
  tv.control().setSetting(kAppStatus, R"({"appId":"AirPlayApp","appStatus":"started"})");
  tv.sees(R"(kind=setting key=torvo.sl2.vstr.app.setting.airplay.status value='["started",""]')");

  const auto taken = tv.control().callApp("AirPlayBridge", "onKeyEvent", {keyEvent(28)});
  tv.seesInOrder({logs("receive key code 28"), "kind=key code=28 status=0",
                  "kind=apm op=answer result=0 id=" + std::to_string(taken)});

  tv.control().setFault("bus-inject", "", -19);
  const auto refused = tv.control().callApp("AirPlayBridge", "onKeyEvent", {keyEvent(29)});
  tv.seesInOrder({logs("receive key code 29"), "kind=key code=29 status=-19",
                  "kind=apm op=answer result=1 id=" + std::to_string(refused)});
}

TEST_F(Faults, AMissingApplicationManagerIsNotedAndNeverJoinedButAskedAfreshForEachMessage) {
  tv.wanted.faults = {"apm-missing=1"};
  tv.bootUntilReady();
  tv.seesInOrder({"kind=log text~'B-LOG(IN)] apm_bridge.cpp:' text~connect",
                  logs("Failed to get an instance of AppManagerClient "),
                  logs("Will connect LocalNetwork Value.")});
  const benchtv::BusRecord pairing{"AirPlayDaemon", "AirPlayBridge", std::nullopt, "HKAccess", "x"};

  tv.control().sendRecord(pairing);
  const Event lost = tv.sees(logs("Get apm failed"));
  tv.control().clearFault();
  tv.control().sendRecord(pairing);

  tv.sees("kind=apm op=sendMessage source=AirPlayBridge target=launcher message~HomeKitPairing",
          lost["seq"].asUInt64());
  EXPECT_FALSE(tv.has("kind=apm op=registerApp app=AirPlayBridge"));
}

TEST_F(Faults, ADaemonThatHangsLooksAliveAndIsEndedByForceWhenItIsReset) {
  tv.wanted.faults = {"daemon-hang=1"};
  tv.bootUntilReady();
  const Event first = tv.sees(processStarts("airplaydemo"));

  tv.control().clearFault();
  resetsTheDaemonByHand();

  const Event second = tv.seesInOrder(
      {"kind=process op=stop name=airplaydemo", processEnds("airplaydemo") + " status=-9",
       writes(kAppStatus, R"({"appId":"AirPlayDaemon","appStatus":"stopped"})", "set"),
       processStarts("airplaydemo")},
      first["seq"].asUInt64());
  EXPECT_NE(first["pid"], second["pid"]);
  tv.sees("kind=bus op=join src=AirPlayDaemon", second["seq"].asUInt64());
}

TEST_F(Faults, ADaemonThatIsNeverReadyIsNotedAndCountsAsRunning) {
  tv.wanted.faults = {"daemon-never-ready=1"};
  tv.boot();

  tv.seesInOrder({logs("Waiting Daemon socket ready...."), logs("Daemon socket is ready: NO"),
                  "kind=log level=error text='airplay daemon may be not ready yet.'",
                  logs("AirPlayDaemon is already running...")});
  EXPECT_EQ(tv.all(processStarts("airplaydemo")).size(), 1U);
}

}  // namespace
}  // namespace desk
