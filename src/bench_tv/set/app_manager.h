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

// Commands are "start", "stop" and "reset" with the name of a helper as the parameter; whatever
// else comes is in the journal and has no effect. What has started or ended is published at once as
//   {"appId":"mdnsd","appStatus":"started"}   or "stopped".
// A start of what runs already publishes again that it runs, and a stop of what does not run that
// it does not, so that whoever asked learns it.
class AppManager {
 public:
  using Planner = std::function<LaunchPlan(const std::string& process)>;
  using Publisher = std::function<void(const std::string& report)>;

  // |busMark| tells processes of this set from others; see Process::find().
  AppManager(Planner plan, Publisher publish, std::string busMark, Journal& journal);

  // Takes over what an earlier set has left running, and notes what has ended since.
  void adopt();

  // The service has begun to listen to the reports: it hears of what ended while nobody watched.
  void reportsObserved();

  void command(const Record& record);

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
  // What runs under a name of the command bus. An application has its row here as well.
  struct Helper {
    std::string id;       // as commands and reports call it
    std::string process;  // as the kernel does
    std::optional<Process> running = std::nullopt;
    bool stopping = false;    // it has been told to end
    bool startAgain = false;  // when it has ended
    std::int64_t killAt = 0;  // while stopping
    bool endUnreported = false;
  };

  Helper* find(const std::string& id);
  void start(Helper& helper);
  void stop(Helper& helper);
  void reset(Helper& helper);
  void launch(Helper& helper);
  void ended(Helper& helper);
  void report(const Helper& helper, const char* status);
  void note(const char* op, const Helper& helper);

  std::array<Helper, 2> helpers = {{{"mdnsd", "mdnsd"}, {"AirPlayDaemon", "airplaydemo"}}};
  Planner plan;
  Publisher publish;
  std::string busMark;
  Journal& journal;
};

}  // namespace benchtv
