#include "set/tv_set.h"

#include <gmock/gmock.h>

#include "recorded_set.h"
#include "set/launch_plan.h"
#include "set/refusal.h"

namespace benchtv {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

class TheSet : public ::testing::Test {
 protected:
  TheSet() {
    options.runFolder = folder.path();
    options.stateFolder = folder.path("state");
    options.product =
        folder.write("default.yaml", "brand: \"Two\\nlines\"\nmodel: M1\nserial: S1\n");
    options.standIns = "/opt/stand_ins";
    options.bizReady = std::nullopt;
    options.busAddress = "unix:path=/none";
  }

  TemporaryFolder folder;
  SetOptions options;
  RecordingOutlet outlet;
};

TEST_F(TheSet, TellsItsStatus) {
  TvSet set(options, outlet);
  set.start();
  set.bus.join("AirPlayBridge", ":1.1");
  set.apps.registerApp("AirPlayBridge", ":1.1");
  set.faults.set("bus-send", "", -4);
  set.journal.error("test", "x");

  Json::Value status = parseJson(set.status());
  EXPECT_GT(status["uptime"].asDouble(), 0);
  status.removeMember("uptime");
  EXPECT_EQ(jsonText(status),
            R"({"apps":[{"name":"AirPlayBridge","status":0}],"errors":1,)"
            R"("faults":[{"fault":"bus-send","target":"","value":-4}],"joined":["AirPlayBridge"],)"
            R"("processes":[{"name":"AirPlayApp","pid":null},{"name":"airplaydemo","pid":null},)"
            R"({"name":"launcher","pid":null},{"name":"mdnsd","pid":null}],)"
            R"("product":"default"})");
}

TEST_F(TheSet, ForgetsAClientEverywhere) {
  TvSet set(options, outlet);
  set.bus.join("AirPlayBridge", ":1.1");
  set.apps.registerApp("AirPlayBridge", ":1.1");
  set.settings.observe("torvo.sl2.i32.sound.main.mute", ":1.1");
  outlet.sent.clear();
  set.clientGone(":1.1");
  set.settings.write("torvo.sl2.i32.sound.main.mute", 1, Writer::kBench);

  EXPECT_THAT(outlet.sent, IsEmpty());
  EXPECT_THAT(set.bus.names(), IsEmpty());
  EXPECT_THAT(set.apps.apps(), IsEmpty());
}

TEST_F(TheSet, PutsTheFaultsOfItsCommandLineIntoForce) {
  options.faults = {"bus-init=-3", "apm-missing=1"};
  TvSet set(options, outlet);
  set.start();
  EXPECT_EQ(set.bus.join("AirPlayBridge", ":1.1"), -3);
  EXPECT_FALSE(set.apps.attach(":1.1"));
}

TEST_F(TheSet, RefusesMarkersThatAreNone) {
  options.markers = {"/tmp/elsewhere"};
  TvSet set(options, outlet);
  EXPECT_THAT([&] { set.start(); },
              ::testing::ThrowsMessage<Refusal>(
                  "no marker file \"/tmp/elsewhere\": there are /var/run/BIZREADY2, "
                  "/var/local/enable_airplay, /var/local/disable_airplay, /tmp/semaphore_ipc"));
}

TEST_F(TheSet, TakesNotesThatCannotPassForItsOwnLines) {
  TvSet set(options, outlet);
  set.note("process", {{"op", "\"start\""}, {"name", "\"service\""}, {"pid", "12"}});
  EXPECT_EQ(journalOf(folder).back(), R"(process name="service" op="start" pid=12)");
  set.note("error", {{"text", "\"x\""}});
  EXPECT_EQ(set.journal.errors(), 1U);

  EXPECT_THROW(set.note("log", {}), Refusal);
  EXPECT_THROW(set.note("", {}), Refusal);
  EXPECT_THROW(set.note("two words", {}), Refusal);
  EXPECT_THROW(set.note("process", {{"seq", "1"}}), Refusal);
  EXPECT_THROW(set.note("process", {{"pid", "twelve"}}), Refusal);
}

TEST_F(TheSet, TellsEveryApplicationOfSuspendAndResume) {
  TvSet set(options, outlet);
  set.apps.registerApp("AirPlayBridge", ":1.1");
  set.apps.registerApp("launcher", ":1.2");
  outlet.sent.clear();
  set.power("suspend", 2);
  set.power("resume", 1);
  EXPECT_THAT(outlet.sent,
              ElementsAre(R"(:1.1: call 3 AirPlayBridge onSTRSuspending ["AirPlayBridge"] 2)",
                          R"(:1.2: call 4 launcher onSTRSuspending ["launcher"] 2)",
                          R"(:1.1: call 5 AirPlayBridge onSTRSuspend ["AirPlayBridge"] 2)",
                          R"(:1.2: call 6 launcher onSTRSuspend ["launcher"] 2)",
                          R"(:1.1: call 7 AirPlayBridge onSTRResume ["AirPlayBridge"] 1)",
                          R"(:1.2: call 8 launcher onSTRResume ["launcher"] 1)",
                          R"(:1.1: call 9 AirPlayBridge onSTRResuming ["AirPlayBridge"] 1)",
                          R"(:1.2: call 10 launcher onSTRResuming ["launcher"] 1)"));
}

TEST_F(TheSet, GoesToStandbyAndOn) {
  TvSet set(options, outlet);
  set.power("standby", 0);
  set.power("on", 0);
  EXPECT_THAT(
      journalOf(folder),
      ElementsAre(
          R"(power op="standby")",
          R"(setting by="set" key="torvo.sl2.i32.system.enum.pwr.use.case" op="write" status=0 value=0)",
          R"(setting by="set" key="torvo.sl2.i32.system.enum.screen.state" op="write" status=0 value=0)",
          R"(power op="on")",
          R"(setting by="set" key="torvo.sl2.i32.system.enum.pwr.use.case" op="write" status=0 value=1)",
          R"(setting by="set" key="torvo.sl2.i32.system.enum.screen.state" op="write" status=0 value=1)"));
  EXPECT_THROW(set.power("off", 0), Refusal);
}

TEST_F(TheSet, HandsKeysToTheService) {
  TvSet set(options, outlet);
  EXPECT_THROW(set.pressKey("ENTER"), Refusal);
  set.apps.registerApp("AirPlayBridge", ":1.1");
  EXPECT_EQ(set.pressKey("enter"), 2U);
  EXPECT_EQ(journalOf(folder).back(), R"(apm app="AirPlayBridge" code=28 id=2 op="onKeyEvent")");
  EXPECT_THROW(set.pressKey("NO_SUCH"), Refusal);
}

TEST_F(TheSet, BringsTheApplicationBehindForwardWhenTheOneInFrontStops) {
  options.standIns = folder.path();
  std::filesystem::create_symlink("/bin/cat", folder.path("AirPlayApp"));
  TvSet set(options, outlet);
  set.settings.write("torvo.sl2.str.source.app.current", std::string("HDMI 1"), Writer::kBench);
  const auto current = [&] {
    return std::get<std::string>(*set.settings.find("torvo.sl2.str.source.app.current"));
  };
  set.bus.sendAsBench(0, false, {"AirPlayBridge", "am", {}, "start", "[AirPlayApp]"});
  EXPECT_EQ(current(), "AirPlayApp");
  set.bus.sendAsBench(0, false, {"AirPlayBridge", "am", {}, "backgm", "AirPlayApp"});
  EXPECT_EQ(current(), "HDMI 1");
  set.end();
}

TEST_F(TheSet, StartsStandInsUnlessToldOtherwise) {
  TvSet set(options, outlet);
  const LaunchPlan mdnsd = planLaunch("mdnsd", set.options, set.product, set.faults);
  EXPECT_EQ(mdnsd.program, "/opt/stand_ins/mdnsd");
  EXPECT_THAT(mdnsd.arguments, IsEmpty());
  EXPECT_EQ(mdnsd.log, folder.path("mdnsd.log"));

  set.faults.set("daemon-hang", "", 1);
  set.faults.set("daemon-never-ready", "", 1);
  EXPECT_THAT(planLaunch("airplaydemo", set.options, set.product, set.faults).arguments,
              ElementsAre("--hang", "--never-ready"));
}

TEST_F(TheSet, AnnouncesItsProductThroughTheRealResponder) {
  options.mdnsd = "/usr/sbin/mdnsd";
  options.mdnsdLibraries = "/opt/lib";
  options.interface = "tv0";
  TvSet set(options, outlet);
  const LaunchPlan mdnsd = planLaunch("mdnsd", set.options, set.product, set.faults);

  EXPECT_EQ(mdnsd.program, "/usr/sbin/mdnsd");
  EXPECT_THAT(mdnsd.arguments,
              ElementsAre("-n", "-i", "tv0", "-H", "benchtv", folder.path("mdns.d")));
  EXPECT_THAT(mdnsd.environment, ElementsAre(Pair("LD_LIBRARY_PATH", "/opt/lib")));
  EXPECT_EQ(
      folder.read("mdns.d/airplay.service"),
      "name Two lines M1\ntype _airplay._tcp\nport 7000\ntxt model=M1\ntxt serialNumber=S1\n");
}

}  // namespace
}  // namespace benchtv
