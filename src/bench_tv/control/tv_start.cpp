#include "control/tv_start.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <system_error>

#include "control/keeper_link.h"
#include "control/sandbox.h"
#include "model/product.h"
#include "model/value.h"

namespace benchtv {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr double kDefaultUptime = 12;
constexpr auto kSetTakes = 20s;
constexpr useconds_t kPollMicros = 5'000;

// Names the folder of real mdnsd, as unpacked from its packages.
constexpr char kMdnsdVariable[] = "BENCHTV_MDNSD";

fs::path programFolder() { return fs::read_symlink("/proc/self/exe").parent_path(); }

void say(const BenchTv::Options& options, const std::string& line) {
  if (options.say) {
    options.say(line);
  }
}

fs::path program(const fs::path& path, const std::string& what) {
  if (!fs::exists(path)) {
    throw std::runtime_error("there is no " + what + " at " + path.native());
  }
  if (!fs::is_regular_file(path) || access(path.c_str(), X_OK) != 0) {
    throw std::runtime_error("the " + what + " " + path.native() + " is not executable");
  }
  return fs::canonical(path);
}

fs::path checkedProduct(const std::string& nameOrFile) {
  const fs::path file =
      fs::absolute(findProduct(nameOrFile, programFolder() / "tv_products")).lexically_normal();
  loadProduct(file);
  return file;
}

// Makes it where it is missing. SQLite needs to create files there.
fs::path writableFolder(const fs::path& given, const char* what) {
  const fs::path folder = fs::absolute(given).lexically_normal();
  std::error_code why;
  if (fs::create_directories(folder, why)) {
    fs::permissions(folder, fs::perms::owner_all, why);  // one that was there is its owner's affair
  }
  std::string trial = folder / ".benchtv-trial-XXXXXX";
  const FileDescriptor made(why ? -1 : mkstemp(trial.data()));
  if (!made.isOpen()) {
    throw std::runtime_error(std::string("cannot write to the ") + what + " " + folder.native() +
                             ": " + (why ? why.message() : strerror(errno)));
  }
  fs::remove(trial);
  return fs::canonical(folder);
}

// In /tmp anybody may have made it first.
void makePrivate(const fs::path& folder) {
  if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
    throw std::system_error(errno, std::generic_category(), "cannot make " + folder.native());
  }
  struct stat state {};
  if (lstat(folder.c_str(), &state) != 0 || !S_ISDIR(state.st_mode) || state.st_uid != geteuid()) {
    throw std::runtime_error(folder.native() + " is not a folder of this user: remove it");
  }
  if (chmod(folder.c_str(), 0700) != 0) {
    throw std::system_error(errno, std::generic_category(), "cannot protect " + folder.native());
  }
}

// Held until the keeper answers, so that of two that start one name at once only one does.
FileDescriptor reserve(const RunFolder& run, const std::string& name) {
  makePrivate(run.path().parent_path());
  makePrivate(run.path());
  FileDescriptor folder(open(run.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder.isOpen() || flock(folder.get(), LOCK_EX | LOCK_NB) != 0) {
    throw std::runtime_error("a bench TV named \"" + name + "\" is just being started");
  }
  if (KeeperLink::connect(run)) {
    throw std::runtime_error(
        "a bench TV named \"" + name + "\" is up already: take it down by benchtv down" +
        (name == "tv" ? "" : " --name " + name) + ", or give this one another --name");
  }
  return folder;
}

void empty(const RunFolder& run, const fs::path& keep) {
  for (const auto& entry : fs::directory_iterator(run.path())) {
    const fs::path inside = keep.lexically_relative(entry.path());
    const bool kept = !keep.empty() && !inside.empty() && *inside.begin() != "..";
    if (!kept) {
      fs::remove_all(entry.path());
    }
  }
}

void checkBus(const std::string& bus) {
  if (bus != "daemon" && bus != "broker") {
    throw std::runtime_error("the bus is daemon or broker, not \"" + bus + "\"");
  }
}

// Decides between sandbox and none, and says so.
bool wantsSandbox(const BenchTv::Options& options) {
  std::string why = "it was not wanted";
  if (options.sandbox) {
    why = sandboxObstacle();
    if (why.empty()) {
      return true;
    }
  }
  if (options.uptime) {
    throw std::runtime_error("the uptime can be set in a sandbox only, and there is none: " + why);
  }
  say(options,
      "no sandbox: " + why +
          "; so this machine's own process list, clock, /tmp, /var/local and /var/run count" +
          (access("/var/run", W_OK) == 0 ? "" : ", of which this user cannot write the last"));
  return false;
}

// The real responder announces on the private network only.
std::vector<std::string> networkArguments(std::vector<fs::path>& visible) {
  std::vector<std::string> words{"--iface", kInterface};
  const char* told = std::getenv(kMdnsdVariable);
  const fs::path root = told ? fs::absolute(told) : programFolder() / "../../tools/mdnsd";
  const fs::path responder = (root / "usr/sbin/mdnsd").lexically_normal();
  if (access(responder.c_str(), X_OK) != 0) {
    return words;
  }
  words.insert(words.end(), {"--mdnsd", responder});
  visible.push_back(root.lexically_normal());
  for (const auto& entry : fs::directory_iterator(root / "usr/lib")) {
    if (entry.is_directory()) {
      words.insert(words.end(), {"--mdnsd-lib", entry.path().lexically_normal()});
    }
  }
  return words;
}

std::string now() {
  const std::time_t seconds = std::time(nullptr);
  std::tm local{};
  localtime_r(&seconds, &local);
  std::ostringstream text;
  text << std::put_time(&local, "%FT%T%z");
  return text.str();
}

struct Facts {
  fs::path keeper;
  fs::path set;
  fs::path service;  // empty: none
  fs::path product;
  fs::path state;
  bool sandbox = false;
};

std::vector<std::string> keeperCommand(const BenchTv::Options& options, const RunFolder& run,
                                       const Facts& facts) {
  std::vector<std::string> words{facts.keeper, "--run-dir",   run.path(),      "--bus",
                                 options.bus,  "--log-level", options.logLevel};
  if (!facts.service.empty()) {
    words.insert(words.end(), {"--service", facts.service});
  }
  if (facts.sandbox) {
    words.emplace_back("--private-run");
  }
  words.insert(words.end(),
               {"--", facts.set, "--run-dir", run.path(), "--state-dir", facts.state, "--product",
                facts.product, "--stand-ins", programFolder() / "stand_ins"});
  if (!options.bizReady.empty()) {
    words.insert(words.end(), {"--biz-ready", options.bizReady});
  }
  for (const std::string& marker : options.markers) {
    words.insert(words.end(), {"--marker", marker});
  }
  for (const std::string& fault : options.faults) {
    words.insert(words.end(), {"--fault", fault});
  }
  return words;
}

SandboxPlan planFor(const BenchTv::Options& options, const RunFolder& run, const Facts& facts) {
  SandboxPlan plan;
  plan.command = keeperCommand(options, run, facts);
  plan.visible = {programFolder(), facts.product, facts.state, run.path()};
  if (!facts.service.empty()) {
    plan.visible.push_back(facts.service);
  }
  plan.networkArguments = networkArguments(plan.visible);
  plan.uptime = options.uptime.value_or(kDefaultUptime);
  plan.log = run.log("keeper");
  plan.say = options.say;
  return plan;
}

void writeDescription(const BenchTv::Options& options, const RunFolder& run, const Facts& facts,
                      pid_t keeper) {
  Json::Value tv(Json::objectValue);
  tv["name"] = options.name;
  tv["product"] = options.product;
  tv["keeper_pid"] = keeper;
  tv["sandbox"] = facts.sandbox;
  tv["state"] = facts.state.native();
  tv["service"] = facts.service.empty() ? Json::Value() : Json::Value(facts.service.native());
  tv["started"] = now();
  std::ofstream(run.description()) << jsonText(tv) << '\n';
}

// Says how far it got when it doesn't get there.
KeeperLink waitForSet(const RunFolder& run, pid_t outside) {
  const auto deadline = std::chrono::steady_clock::now() + kSetTakes;
  std::optional<KeeperLink> link;
  while (std::chrono::steady_clock::now() < deadline) {
    if (waitpid(outside, nullptr, WNOHANG) != 0) {
      throw std::runtime_error("the keeper could not start; it said:\n" +
                               lastLines(run.log("keeper"), 10));
    }
    if (!link) {
      link = KeeperLink::connect(run);
    }
    if (link) {
      for (const std::string role : {"bus", "set"}) {
        if (link->ask("state " + role, 2s).compare(0, 5, "ended") == 0) {
          throw std::runtime_error("the " + role + " ended at once; it said:\n" +
                                   lastLines(run.log(role), 10));
        }
      }
      try {
        ControlLink(run).status();
        return std::move(*link);
      } catch (const std::runtime_error&) {
        // Not yet.
      }
    }
    usleep(kPollMicros);
  }
  throw std::runtime_error("the set does not answer; it said:\n" + lastLines(run.log("set"), 10));
}

void endQuietly(const RunFolder& run, pid_t outside) {
  if (auto link = KeeperLink::connect(run)) {
    ::kill(link->keeperPid(), SIGKILL);
  }
  ::kill(outside, SIGKILL);
  waitpid(outside, nullptr, 0);
}

}  // namespace

StartedTv startTv(const BenchTv::Options& options) {
  RunFolder run = RunFolder::ofName(options.name);
  checkBus(options.bus);
  if (options.uptime && !(*options.uptime >= 0 && *options.uptime < 1e9)) {
    throw std::runtime_error("the uptime is a number of seconds from 0 on");
  }

  Facts facts;
  facts.keeper = program(programFolder() / "benchtv_keeper", "keeper");
  facts.set = program(programFolder() / "benchtv_set", "set");
  facts.product = checkedProduct(options.product);
  if (options.startService) {
    facts.service = program(
        options.service.empty() ? programFolder() / "airplay_bridge" : options.service, "service");
  }

  const FileDescriptor reserved = reserve(run, options.name);
  const fs::path wantedState =
      options.state.empty() ? fs::path() : writableFolder(options.state, "state folder");
  facts.sandbox = wantsSandbox(options);
  empty(run, wantedState);
  facts.state = wantedState.empty() ? writableFolder(run.state(), "state folder") : wantedState;

  const SandboxPlan plan = planFor(options, run, facts);
  say(options,
      "starting bus and set" + (facts.sandbox ? std::string(" in a sandbox") : std::string()));
  const pid_t outside = facts.sandbox ? startInSandbox(plan) : startInTheOpen(plan);
  try {
    const KeeperLink link = waitForSet(run, outside);
    writeDescription(options, run, facts, link.keeperPid());
  } catch (...) {
    endQuietly(run, outside);
    throw;
  }
  return {std::move(run), outside};
}

}  // namespace benchtv
