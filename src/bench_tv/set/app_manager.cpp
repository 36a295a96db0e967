#include "set/app_manager.h"

#include <poll.h>

#include <algorithm>
#include <csignal>
#include <utility>

#include "model/value.h"
#include "set/clock.h"
#include "set/refusal.h"

namespace benchtv {
namespace {

constexpr std::int64_t kStopMicros = 1'000'000;
constexpr char kStarted[] = "started";
constexpr char kPaused[] = "paused";
constexpr char kStopped[] = "stopped";

// Those that a person or the set itself ends a process with; any other is a crash.
bool isWanted(int status) { return status == 0 || status == -SIGTERM || status == -SIGKILL; }

// What stands in the brackets; nothing where there are none.
std::optional<std::string> applicationParameter(const std::string& text) {
  if (text.size() < 2 || text.front() != '[' || text.back() != ']') {
    return std::nullopt;
  }
  return text.substr(1, text.size() - 2);
}

std::string firstWord(const std::string& text) { return text.substr(0, text.find(' ')); }

}  // namespace

AppManager::AppManager(Planner planner, Publisher publisher, Placer placer, std::string mark,
                       Journal& setJournal)
    : plan(std::move(planner)),
      publish(std::move(publisher)),
      placeApp(std::move(placer)),
      busMark(std::move(mark)),
      journal(setJournal) {}

void AppManager::adopt() {
  for (Helper& helper : helpers) {
    helper.running = Process::find(helper.process, busMark);
    if (helper.running) {
      note("adopt", helper);
    } else if (journal.leftRunning().count(helper.process) > 0) {
      journal.write(kind::kProcess, {{"op", "end"},
                                     {"name", helper.process},
                                     {"pid", Json::Value()},
                                     {"status", Json::Value()}});
      helper.endUnreported = true;
    }
  }
}

void AppManager::reportsObserved() {
  for (Helper& helper : helpers) {
    if (std::exchange(helper.endUnreported, false)) {
      report(helper, kStopped);
    }
  }
}

void AppManager::command(const Record& record) {
  struct Row {
    const char* word;
    Helper* (AppManager::*find)(const std::string& parameter);
    void (AppManager::*act)(Helper&);
  };
  static constexpr Row kRows[] = {
      {"start", &AppManager::toStart, &AppManager::start},
      {"stop", &AppManager::named, &AppManager::stop},
      {"reset", &AppManager::named, &AppManager::reset},
      {"backgm", &AppManager::named, &AppManager::sendBack},
      {"foregm", &AppManager::named, &AppManager::bringForward},
  };
  if (!record.para) {
    return;
  }
  for (const Row& row : kRows) {
    if (record.cmd != row.word) {
      continue;
    }
    Helper* helper = (this->*row.find)(*record.para);
    if (helper && helper->role != Role::kUi) {
      (this->*row.act)(*helper);
    }
  }
}

void AppManager::startByHand(const std::string& process) {
  std::string names;
  for (Helper& helper : helpers) {
    if (helper.role == Role::kApplication) {
      continue;
    }
    names += (names.empty() ? "" : ", ") + helper.process;
    if (helper.process != process) {
      continue;
    }
    if (helper.running) {
      throw Refusal(process + " runs already");
    }
    launch(helper);
    return;
  }
  throw Refusal("no process \"" + process + "\" to start: there are " + names);
}

void AppManager::startUi() {
  for (Helper& helper : helpers) {
    if (helper.role == Role::kUi && !helper.running) {
      launch(helper);
    }
  }
}

void AppManager::start(Helper& helper) {
  if (!helper.running) {
    launch(helper);
  } else if (helper.stopping) {
    helper.startAgain = true;
  } else {
    report(helper, kStarted);
  }
}

void AppManager::stop(Helper& helper) {
  helper.startAgain = false;
  if (!helper.running) {
    report(helper, kStopped);
    return;
  }
  if (helper.stopping) {
    return;
  }
  note("stop", helper);
  helper.stopping = true;
  helper.killAt = monotonicMicros() + kStopMicros;
  helper.running->signal(SIGTERM);
}

void AppManager::reset(Helper& helper) {
  if (helper.running) {
    stop(helper);
  }
  start(helper);
}

void AppManager::bringForward(Helper& helper) {
  if (helper.role != Role::kApplication) {
    return;
  }
  report(helper, helper.running && !helper.stopping ? kStarted : kStopped);
}

void AppManager::sendBack(Helper& helper) {
  if (helper.role != Role::kApplication) {
    return;
  }
  report(helper, helper.running && !helper.stopping ? kPaused : kStopped);
}

void AppManager::launch(Helper& helper) {
  helper.endUnreported = false;
  try {
    LaunchPlan launchPlan = plan(helper.process);
    if (helper.role == Role::kApplication) {
      launchPlan.arguments.push_back(helper.parameter);
    }
    helper.running = Process::start(launchPlan);
  } catch (const std::exception& failed) {
    journal.error(helper.process, std::string("cannot be started: ") + failed.what());
    return;
  }
  note("start", helper);
  report(helper, kStarted);
}

std::vector<int> AppManager::descriptors() const {
  std::vector<int> all;
  for (const Helper& helper : helpers) {
    if (helper.running) {
      all.push_back(helper.running->descriptor());
    }
  }
  return all;
}

void AppManager::check() {
  for (Helper& helper : helpers) {
    if (!helper.running) {
      continue;
    }
    if (helper.running->hasEnded()) {
      ended(helper);
    } else if (helper.stopping && monotonicMicros() >= helper.killAt) {
      helper.running->signal(SIGKILL);
    }
  }
}

void AppManager::ended(Helper& helper) {
  const int pid = helper.running->pid();
  const std::optional<int> status = helper.running->reap();
  helper.running.reset();
  helper.stopping = false;
  journal.write(kind::kProcess, {{"op", "end"},
                                 {"name", helper.process},
                                 {"pid", pid},
                                 {"status", status ? Json::Value(*status) : Json::Value()}});
  if (status && !isWanted(*status)) {
    journal.error(helper.process, *status < 0 ? "ended by signal " + std::to_string(-*status)
                                              : "ended with status " + std::to_string(*status));
  }
  report(helper, kStopped);
  if (std::exchange(helper.startAgain, false)) {
    launch(helper);
  }
}

std::optional<std::int64_t> AppManager::deadline() const {
  std::optional<std::int64_t> first;
  for (const Helper& helper : helpers) {
    if (helper.running && helper.stopping) {
      first = first ? std::min(*first, helper.killAt) : helper.killAt;
    }
  }
  return first;
}

void AppManager::endAll() {
  for (Helper& helper : helpers) {
    if (helper.running) {
      stop(helper);
    }
  }
  const std::int64_t giveUpAt = monotonicMicros() + 2 * kStopMicros;
  while (const auto first = deadline()) {
    if (monotonicMicros() > giveUpAt) {
      return;
    }
    std::vector<pollfd> waits;
    for (const int fd : descriptors()) {
      waits.push_back({fd, POLLIN, 0});
    }
    const std::int64_t left = std::max<std::int64_t>(0, *first - monotonicMicros());
    poll(waits.data(), waits.size(), static_cast<int>(left / 1000) + 1);
    check();
  }
}

std::map<std::string, int> AppManager::processes() const {
  std::map<std::string, int> all;
  for (const Helper& helper : helpers) {
    all[helper.process] = helper.running ? helper.running->pid() : 0;
  }
  return all;
}

AppManager::Helper* AppManager::named(const std::string& parameter) {
  for (Helper& helper : helpers) {
    if (parameter == helper.id || (helper.running && parameter == helper.parameter)) {
      return &helper;
    }
  }
  return nullptr;
}

AppManager::Helper* AppManager::toStart(const std::string& parameter) {
  const auto application = applicationParameter(parameter);
  for (Helper& helper : helpers) {
    if (helper.role == Role::kApplication) {
      if (!application || firstWord(*application) != helper.id) {
        continue;
      }
      helper.parameter = *application;
      return &helper;
    }
    if (parameter == helper.id) {
      return &helper;
    }
  }
  return nullptr;
}

void AppManager::report(const Helper& helper, const char* status) {
  if (helper.role == Role::kUi) {
    return;
  }
  if (helper.role == Role::kApplication) {
    placeApp(helper.id, std::string(kStarted) == status ? Place::kForeground : Place::kBackground);
  }
  Json::Value words(Json::objectValue);
  words["appId"] = helper.id;
  words["appStatus"] = status;
  publish(jsonText(words));
}

void AppManager::note(const char* op, const Helper& helper) {
  JournalFields fields = {{"op", op}, {"name", helper.process}, {"pid", helper.running->pid()}};
  if (helper.role == Role::kApplication) {
    fields.emplace_back("param", helper.parameter);
  }
  journal.write(kind::kProcess, fields);
}

}  // namespace benchtv
