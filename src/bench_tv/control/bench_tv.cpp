#include "control/bench_tv.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <system_error>

#include "control/journal.h"
#include "control/keeper_link.h"
#include "control/tv_start.h"
#include "model/value.h"

namespace benchtv {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kKeeperAnswer = 8s;  // it may have to end what does not want to
constexpr auto kKillTakes = 5s;
constexpr auto kPoll = 5ms;

// What shows that the service has decided and gone to work.
constexpr char kAskedForDaemon[] =
    "kind=bus op=send src=AirPlayBridge to=am cmd=start para=AirPlayDaemon";
constexpr char kBridgeOnly[] =
    "kind=setting op=write key=torvo.sl2.i32.app.setting.airplay.enable value=0 by=service";

bool isRole(const std::string& who) { return who == "bus" || who == "set" || who == "service"; }

KeeperLink linkTo(const RunFolder& run, const std::string& name) {
  if (auto link = KeeperLink::connect(run)) {
    return std::move(*link);
  }
  throw std::runtime_error("no bench TV named \"" + name + "\" is up: start one by benchtv up" +
                           (name == "tv" ? "" : " --name " + name));
}

bool isGone(pid_t pid) {
  const auto tree = processTree(pid);
  return std::none_of(tree.begin(), tree.end(), [pid](const ProcessInfo& process) {
    return process.pid == pid && process.runs();
  });
}

void waitUntilGone(pid_t pid) {
  const auto deadline = Clock::now() + kKillTakes;
  while (!isGone(pid)) {
    if (Clock::now() > deadline) {
      throw TimedOut("process " + std::to_string(pid) + " was killed and does not end");
    }
    usleep(static_cast<useconds_t>(std::chrono::microseconds(kPoll).count()));
  }
}

}  // namespace

BenchTv BenchTv::start(const Options& options) {
  StartedTv started = startTv(options);
  BenchTv tv(options.name, std::move(started.run));
  tv.timeout = options.timeout;
  tv.outside = started.outside;
  return tv;
}

BenchTv BenchTv::boot(const Options& options) {
  const auto begin = Clock::now();
  BenchTv tv = start(options);
  if (options.startService) {
    tv.timeout -= std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
    tv.waitUntilSupervising();
    tv.timeout = options.timeout;
  }
  return tv;
}

BenchTv BenchTv::find(const std::string& name) {
  RunFolder run = RunFolder::ofName(name);
  linkTo(run, name);
  return {name, std::move(run)};
}

bool BenchTv::isUp(const std::string& name) {
  return KeeperLink::connect(RunFolder::ofName(name)).has_value();
}

void BenchTv::waitUntilSupervising() {
  static const Expression kSigns[] = {kAskedForDaemon, kBridgeOnly};
  static const Expression kServiceEnd = "kind=process op=end name=service";
  static const Expression kServiceSpoke = "kind=log source=service";

  const auto deadline = Clock::now() + timeout;
  const KeeperLink link = linkTo(run, tvName);
  Journal journal(run.journal());
  std::string lastLine = "the service has logged nothing yet";
  while (true) {
    for (const Json::Value& event : journal.readNew()) {
      if (kSigns[0].matches(event) || kSigns[1].matches(event)) {
        return;
      }
      if (kServiceEnd.matches(event)) {
        const int status = event["status"].asInt();
        throw ServiceEnded("the service ended by itself, " +
                               (status < 0 ? "by signal " + std::to_string(-status)
                                           : "with exit status " + std::to_string(status)) +
                               "; its last error lines:\n" + lastErrors() + "the set \"" + tvName +
                               "\" stays up",
                           status);
      }
      if (kServiceSpoke.matches(event)) {
        lastLine = "its last line: " + event["text"].asString();
      }
    }
    switch (journal.waitForMore(deadline, link.descriptor())) {
      case Journal::Wake::kGrown:
        break;
      case Journal::Wake::kOtherReadable:
        throw std::runtime_error("the bench TV went down while it was booting; its keeper said:\n" +
                                 lastLines(run.log("keeper"), 10));
      case Journal::Wake::kDeadline:
        throw TimedOut(
            "the service does not supervise yet: it has neither asked the application manager for "
            "the daemon nor set the enable state to 0; " +
            lastLine);
    }
  }
}

std::string BenchTv::lastErrors() const {
  static const Expression kError = "kind=log level=error";
  std::vector<std::string> lines;
  for (const Json::Value& event : events()) {
    if (kError.matches(event)) {
      lines.push_back("    " + event["text"].asString() + "\n");
    }
  }
  static constexpr std::size_t kMost = 5;
  std::string text;
  for (std::size_t i = lines.size() - std::min(lines.size(), kMost); i < lines.size(); ++i) {
    text += lines[i];
  }
  return text.empty() ? lastLines(run.log("service"), kMost) : text;
}

std::vector<Json::Value> BenchTv::down() {
  auto link = linkTo(run, tvName);
  const pid_t keeper = link.keeperPid();
  std::string unreported;
  try {
    link.ask("down", kKeeperAnswer);
  } catch (const std::runtime_error& why) {
    unreported = why.what();
    ::kill(keeper, SIGKILL);
  }
  // As a child of this process it stays a zombie until somebody asks for it.
  if (outside > 0) {
    waitpid(std::exchange(outside, -1), nullptr, 0);
  }
  waitUntilGone(keeper);
  if (!unreported.empty()) {
    throw std::runtime_error("an error of the bench itself: " + unreported);
  }

  static const Expression kError = "kind=error";
  std::vector<Json::Value> errors = events();
  errors.erase(std::remove_if(errors.begin(), errors.end(),
                              [](const Json::Value& event) { return !kError.matches(event); }),
               errors.end());
  return errors;
}

std::vector<Json::Value> BenchTv::events(std::uint64_t after) const {
  std::vector<Json::Value> events = Journal(run.journal()).readNew();
  events.erase(std::remove_if(events.begin(), events.end(),
                              [after](const Json::Value& event) { return seqOf(event) <= after; }),
               events.end());
  return events;
}

std::vector<Json::Value> BenchTv::eventsOfRun(const std::string& name, std::uint64_t after) {
  const BenchTv tv(name, RunFolder::ofName(name));
  if (!std::filesystem::exists(tv.run.journal())) {
    throw std::runtime_error("there is no journal: no bench TV named \"" + name +
                             "\" is or was up");
  }
  return tv.events(after);
}

std::uint64_t BenchTv::lastSeq() const {
  const auto all = events();
  return all.empty() ? 0 : seqOf(all.back());
}

Json::Value BenchTv::waitFor(const Expression& expression, std::chrono::milliseconds patience,
                             std::uint64_t after) const {
  const auto deadline = Clock::now() + patience;
  const KeeperLink link = linkTo(run, tvName);
  Journal journal(run.journal());
  std::size_t looked = 0;
  for (bool up = true, inTime = true;;) {
    for (const Json::Value& event : journal.readNew()) {
      if (seqOf(event) <= after) {
        continue;
      }
      ++looked;
      if (expression.matches(event)) {
        return event;
      }
    }
    const std::string what = "no event is as \"" + expression.text() + "\" says: looked at " +
                             std::to_string(looked) +
                             (after > 0 ? " after number " + std::to_string(after) : "");
    if (!up) {
      throw std::runtime_error(what + ", then the bench TV went down");
    }
    if (!inTime) {
      throw TimedOut(what + " in " + std::to_string(patience.count()) + " ms");
    }
    const Journal::Wake wake = journal.waitForMore(deadline, link.descriptor());
    up = wake != Journal::Wake::kOtherReadable;
    inTime = wake != Journal::Wake::kDeadline;
  }
}

void BenchTv::follow(std::uint64_t after,
                     const std::function<bool(const Json::Value&)>& each) const {
  const KeeperLink link = linkTo(run, tvName);
  Journal journal(run.journal());
  for (bool up = true;;) {
    for (const Json::Value& event : journal.readNew()) {
      if (seqOf(event) > after && !each(event)) {
        return;
      }
    }
    if (!up) {
      return;
    }
    up = journal.waitForMore(Clock::now() + 1h, link.descriptor()) != Journal::Wake::kOtherReadable;
  }
}

std::vector<ProcessInfo> BenchTv::processes() const {
  return processTree(linkTo(run, tvName).keeperPid());
}

pid_t BenchTv::pidOf(const std::string& who) const {
  auto link = linkTo(run, tvName);
  std::string inside;
  if (isRole(who)) {
    const std::string state = link.ask("state " + who, kKeeperAnswer);
    static constexpr std::string_view kRunning = "running ";
    if (state.compare(0, kRunning.size(), kRunning) != 0) {
      return 0;
    }
    inside = state.substr(kRunning.size());
  }
  for (const ProcessInfo& process : processTree(link.keeperPid())) {
    if (process.runs() &&
        (inside.empty() ? process.name == who : std::to_string(process.insidePid) == inside)) {
      return process.pid;
    }
  }
  return 0;
}

std::vector<pid_t> BenchTv::kill(const std::string& who, int signal) const {
  std::vector<pid_t> found;
  if (isRole(who)) {
    if (const pid_t pid = pidOf(who); pid != 0) {
      found.push_back(pid);
    }
  } else {
    for (const ProcessInfo& process : processes()) {
      if (process.name == who && process.runs()) {
        found.push_back(process.pid);
      }
    }
  }
  if (found.empty()) {
    throw std::runtime_error("no process \"" + who +
                             "\" runs here: benchtv process list shows those that do");
  }

  for (pid_t pid : found) {
    if (::kill(pid, signal) != 0 && errno != ESRCH) {
      throw std::system_error(errno, std::generic_category(),
                              "cannot send a signal to process " + std::to_string(pid));
    }
  }
  if (signal == SIGKILL) {
    std::for_each(found.begin(), found.end(), waitUntilGone);
  }
  return found;
}

void BenchTv::startRole(const std::string& role) const {
  if (!isRole(role)) {
    throw std::runtime_error("\"" + role +
                             "\" is none of bus, set and service; the set starts the others when "
                             "it is asked to: benchtv bus send am start mdnsd");
  }
  linkTo(run, tvName).ask("start " + role, kKeeperAnswer);
}

std::optional<int> BenchTv::endOf(const std::string& role) const {
  const std::string state = linkTo(run, tvName).ask("state " + role, kKeeperAnswer);
  static constexpr std::string_view kEnded = "ended ";
  if (state.compare(0, kEnded.size(), kEnded) != 0) {
    return std::nullopt;
  }
  return std::stoi(state.substr(kEnded.size()));
}

Json::Value BenchTv::description() const {
  std::ifstream in(run.description());
  std::string line;
  std::getline(in, line);
  return line.empty() ? Json::Value(Json::objectValue) : parseJson(line);
}

}  // namespace benchtv
