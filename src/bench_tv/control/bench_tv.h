// BenchTv: a bench TV in the hand of a test or of the command line.
#pragma once

#include <json/value.h>
#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "control/control_link.h"
#include "control/expression.h"
#include "control/processes.h"
#include "control/run_folder.h"
#include "control/stand_in_link.h"

namespace benchtv {

// What was waited for did not come.
class TimedOut : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The service has ended by itself; the bench TV is still up.
class ServiceEnded : public std::runtime_error {
 public:
  ServiceEnded(const std::string& what, int exitStatus)
      : std::runtime_error(what), status(exitStatus) {}

  const int status;  // exit status, or the negated signal
};

// All operations throw std::runtime_error with a text for people. None is for several threads at
// once on one object; any number of objects, in any number of processes, may hold the same bench
// TV.
class BenchTv {
 public:
  struct Options {
    std::string name = "tv";
    std::string product = "default";  // a name, or the path of a product file
    std::filesystem::path state;      // of the settings; empty: fresh ones in the run folder
    std::optional<double> uptime;     // seconds, as the service starts; 12 unless told
    bool sandbox = true;              // where the machine allows it
    bool startService = true;
    std::filesystem::path service;     // empty: airplay_bridge beside this program
    std::string bus = "daemon";        // or "broker"
    std::string bizReady;              // seconds after which the marker is there, or "never"
    std::vector<std::string> markers;  // further marker files, there from the start
    std::vector<std::string> faults;   // NAME=VALUE or NAME:TARGET=VALUE, in force from the start
    std::string logLevel = "verbose";  // the service's
    std::chrono::milliseconds timeout{60'000};    // of boot()
    std::function<void(const std::string&)> say;  // gets lines of progress
  };

  // Starts keeper, bus, set and service, and waits until the service supervises. Throws
  // ServiceEnded or TimedOut when it does not come to that; the bench TV is up all the same then.
  // After any other exception there is none.
  static BenchTv boot(const Options& options);

  // The same without waiting for the service, which may not even have been started on return.
  static BenchTv start(const Options& options);

  // The one of that name that is up.
  static BenchTv find(const std::string& name = "tv");

  static bool isUp(const std::string& name);

  // Until the service has asked for the daemon, or has settled for being a bridge only. Without
  // |timeout| as long as Options said, 60 s for one that was found.
  void waitUntilSupervising();

  // Ends everything, and returns the error events of the run's journal: what went wrong with the
  // bench itself. Errors that no journal took any more are an exception, after the end.
  std::vector<Json::Value> down();

  // Settings, command bus, applications, faults, markers.
  ControlLink control() const { return ControlLink(run); }

  // The phones are "airplaydemo", the TV's UI is "launcher".
  StandInLink standIn(const std::string& process) const { return {run, process}; }

  // The journal from |after| on, without that event itself.
  std::vector<Json::Value> events(std::uint64_t after = 0) const;

  // The same of a bench TV that is or was up: a journal stays until the next start of that name.
  static std::vector<Json::Value> eventsOfRun(const std::string& name, std::uint64_t after = 0);

  // The first event after |after| that is as |expression| says; it may be there already. Throws
  // TimedOut, or std::runtime_error when the bench TV goes down meanwhile.
  Json::Value waitFor(const Expression& expression, std::chrono::milliseconds patience,
                      std::uint64_t after = 0) const;

  // Hands |each| the events after |after|, then those that come, until it returns false or the
  // bench TV goes down.
  void follow(std::uint64_t after, const std::function<bool(const Json::Value&)>& each) const;

  // The number of the last event so far.
  std::uint64_t lastSeq() const;

  // The keeper and everything below it.
  std::vector<ProcessInfo> processes() const;

  // |who| is "bus", "set" or "service", or the name of a process. As this machine sees it; 0 when
  // it does not run.
  pid_t pidOf(const std::string& who) const;

  // Sends all processes of that name a signal and returns their pids. With SIGKILL it returns when
  // they are gone.
  std::vector<pid_t> kill(const std::string& who, int signal = 9) const;

  // |role| is "bus", "set" or "service".
  void startRole(const std::string& role) const;

  // How it ended: exit status or negated signal; nothing while it runs or when it was never
  // started.
  std::optional<int> endOf(const std::string& role) const;

  const RunFolder& runFolder() const { return run; }
  Json::Value description() const;  // tv.json

 private:
  BenchTv(std::string name, RunFolder folder) : tvName(std::move(name)), run(std::move(folder)) {}

  std::string lastErrors() const;

  std::string tvName;
  RunFolder run;
  std::chrono::milliseconds timeout{60'000};
  pid_t outside = -1;  // the process that waits for the keeper, when it is a child of this process
};

}  // namespace benchtv
