// AppManager: starts, stops and watches the processes of the set, on the word of the command bus.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "set/journal.h"
#include "set/process.h"
#include "set/record.h"

namespace benchtv {

enum class Place { kForeground, kBackground };

// Commands are "start", "stop" and "reset" with the name of a helper as the parameter. An
// application is started by "[" PARAMETER "]", of which the first word is its name and the whole
// its argument; "stop", "backgm" and "foregm" take its name or that parameter. Whatever else comes
// is in the journal and has no effect. What has started or ended is published at once as
//   {"appId":"mdnsd","appStatus":"started"}   or "stopped",
// and of an application "started" is said when it comes to the foreground, "paused" when it leaves
// it. A start of what runs already publishes again that it runs, and a command to what does not run
// that it does not, so that whoever asked learns it. The TV's UI is published by nobody and heeds
// no command.
class AppManager {
 public:
  using Planner = std::function<LaunchPlan(const std::string& process)>;
  using Publisher = std::function<void(const std::string& report)>;
  using Placer = std::function<void(const std::string& application, Place place)>;

  // |place| is told of an application before its status is published. |busMark| tells processes of
  // this set from others; see Process::find().
  AppManager(Planner plan, Publisher publish, Placer place, std::string busMark, Journal& journal);

  // Takes over what an earlier set has left running, and notes what has ended since.
  void adopt();

  // The service has begun to listen to the reports: it hears of what ended while nobody watched.
  void reportsObserved();

  void command(const Record& record);

  // By a person: |process| must not run. Throws Refusal. startUi() does nothing where it runs.
  void startByHand(const std::string& process);
  void startUi();

  // Descriptors of running processes: readable when one has ended, then call check().
  std::vector<int> descriptors() const;
  void check();

  // When check() has to be called at the latest, in microseconds of the monotonic clock.
  std::optional<std::int64_t> deadline() const;

  // Ends everything: asks, after one second kills, and after two gives up.
  void endAll();

  // Process id by name of the process; 0 where it does not run.
  std::map<std::string, int> processes() const;

 private:
  enum class Role { kHelper, kApplication, kUi };

  // What runs under a name of the command bus.
  struct Helper {
    std::string id;       // as commands and reports call it
    std::string process;  // as the kernel does
    Role role = Role::kHelper;
    std::string parameter = {};  // an application's, of its last start
    std::optional<Process> running = std::nullopt;
    bool stopping = false;    // it has been told to end
    bool startAgain = false;  // when it has ended
    std::int64_t killAt = 0;  // while stopping
    bool endUnreported = false;
  };

  Helper* named(const std::string& parameter);
  Helper* toStart(const std::string& parameter);
  void start(Helper& helper);
  void stop(Helper& helper);
  void reset(Helper& helper);
  void bringForward(Helper& helper);
  void sendBack(Helper& helper);
  void launch(Helper& helper);
  void ended(Helper& helper);
  void report(const Helper& helper, const char* status);
  void note(const char* op, const Helper& helper);

  std::array<Helper, 4> helpers = {{{"mdnsd", "mdnsd"},
                                    {"AirPlayDaemon", "airplaydemo"},
                                    {"AirPlayApp", "AirPlayApp", Role::kApplication},
                                    {"launcher", "launcher", Role::kUi}}};
  Planner plan;
  Publisher publish;
  Placer placeApp;
  std::string busMark;
  Journal& journal;
};

}  // namespace benchtv
