#include "control/cli/commands.h"

#include <json/reader.h>
#include <unistd.h>

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Option.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <numeric>
#include <optional>
#include <sstream>
#include <vector>

#include "control/bench_tv.h"
#include "control/cli/event_text.h"
#include "control/cli/session_commands.h"
#include "control/journal.h"

namespace benchtv {

namespace {

bool isTerminal() { return ::isatty(STDOUT_FILENO) != 0; }

// A flag that prints data as JSON.
void addJson(CLI::App* command, bool& json) { command->add_flag("--json", json, "Print JSON"); }

void printEvent(const Json::Value& event, bool json) {
  std::cout << (json ? compactJson(event) : eventText(event, isTerminal())) << std::endl;
}

std::chrono::milliseconds milliseconds(double seconds) {
  return std::chrono::milliseconds(static_cast<long long>(seconds * 1000));
}

// ---- up, down, status

void addUp(CLI::App& app, const std::string& name) {
  auto options = std::make_shared<BenchTv::Options>();
  auto uptime = std::make_shared<double>(0);
  auto timeout = std::make_shared<double>(60);
  CLI::App* up = app.add_subcommand("up", "Boot a television and the service on it");
  up->footer(
      R"(Prints one line, "ready: ...", when the service supervises, and returns; the set stays up.
Products: default, other-brand, factory, no-region, not-capable, or the path of a file like them.
Faults (see: benchtv fault --help) given here are in force before the service starts.

Examples:
  benchtv up --product other-brand
  benchtv up --uptime 4.2                  as if the set had been switched on 4.2 s ago
  benchtv up --fault bus-init=-5
  benchtv up --fault setting-read:torvo.sl2.i32.norfactory.logo=-5
  benchtv up --marker /var/local/disable_airplay
)");
  up->add_option("--product", options->product, "Name or file of the product")
      ->capture_default_str();
  up->add_option("--state", options->state,
                 "Folder that keeps the settings; fresh ones unless given");
  CLI::Option* uptimeOption =
      up->add_option("--uptime", *uptime, "Seconds that the set has been up; 12 unless given")
          ->check([](const std::string& text) {
            double seconds = 0;
            const bool fits = CLI::detail::lexical_cast(text, seconds) && seconds >= 0;
            return fits ? std::string() : "seconds from 0 on are needed, not " + text;
          });
  up->add_flag("!--no-sandbox", options->sandbox, "Run in the open, on this machine's own paths");
  up->add_flag("!--no-service", options->startService, "Boot the set without the service");
  up->add_option("--service", options->service, "The service's program");
  up->add_option("--bus", options->bus, "Which message bus: daemon or broker")
      ->check(CLI::IsMember({"daemon", "broker"}))
      ->capture_default_str();
  up->add_option("--biz-ready", options->bizReady,
                 "Seconds until the business layer is ready, or never; at once unless given");
  up->add_option("--marker", options->markers, "A marker file that is there from the start");
  up->add_option("--fault", options->faults, "NAME=VALUE or NAME:TARGET=VALUE");
  up->add_option("--log-level", options->logLevel, "The service's: error, info, verbose or off")
      ->check(CLI::IsMember({"error", "info", "verbose", "off"}))
      ->capture_default_str();
  up->add_option("--timeout", *timeout, "Seconds to wait for the service")->capture_default_str();
  up->callback([=, &name] {
    options->name = name;
    options->timeout = milliseconds(*timeout);
    options->say = [](const std::string& line) { std::cerr << line << "\n"; };
    if (uptimeOption->count() > 0) {
      options->uptime = *uptime;
    }
    if (!options->startService) {
      (void)BenchTv::start(*options);
      std::cout << "ready: " << name << " (product " << options->product << ", no service)\n";
      return;
    }
    const BenchTv tv = BenchTv::boot(*options);
    std::cout << "ready: " << name << " (product " << options->product << ", service "
              << tv.pidOf("service") << ")\n";
  });
}

void addDown(CLI::App& app, const std::string& name) {
  CLI::App* down = app.add_subcommand("down", "End a television and everything on it");
  down->footer(
      "Fails (exit status 1) when the journal holds errors of the bench itself, and shows them.\n");
  down->callback([&name] {
    const std::vector<Json::Value> errors = BenchTv::find(name).down();
    for (const Json::Value& error : errors) {
      std::cerr << eventText(error, false) << "\n";
    }
    std::cout << "down: " << name << ", " << errors.size() << " errors\n";
    if (!errors.empty()) {
      throw CLI::RuntimeError(1);
    }
  });
}

void addStatus(CLI::App& app, const std::string& name) {
  auto json = std::make_shared<bool>(false);
  CLI::App* status = app.add_subcommand("status", "What is on, and who is there");
  addJson(status, *json);
  status->callback([=, &name] {
    const BenchTv tv = BenchTv::find(name);
    const Json::Value set = tv.control().status();
    if (*json) {
      Json::Value all = set;
      all["tv"] = tv.description();
      std::cout << compactJson(all) << "\n";
      return;
    }
    const Json::Value description = tv.description();
    for (const std::string& field : description.getMemberNames()) {
      std::cout << field << ": " << compactJson(description[field]) << "\n";
    }
    for (const std::string& field : set.getMemberNames()) {
      std::cout << field << ": " << compactJson(set[field]) << "\n";
    }
  });
}

// ---- settings

// The number of single-character edits between two texts.
std::size_t distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, replaced});
    }
  }
  return row[b.size()];
}

Setting findSetting(const ControlLink& control, const std::string& key) {
  const std::vector<Setting> all = control.settings();
  const Setting* nearest = nullptr;
  for (const Setting& setting : all) {
    if (setting.key == key) {
      return setting;
    }
    if (nearest == nullptr || distance(key, setting.key) < distance(key, nearest->key)) {
      nearest = &setting;
    }
  }
  std::string text = "there is no setting \"" + key + "\"";
  if (nearest != nullptr) {
    text += "; the nearest is \"" + nearest->key + "\"";
  }
  throw std::runtime_error(text + "; \"benchtv settings list\" shows all");
}

// JSON of the setting's kind; text for a text need not be quoted.
Json::Value parseValue(const Setting& setting, const std::string& text) {
  Json::Value value;
  std::string error;
  std::istringstream stream(text);
  const bool parsed = Json::parseFromStream(Json::CharReaderBuilder(), stream, &value, &error);
  const bool fits = parsed && ((setting.kind == "i32" && value.isInt()) ||
                               (setting.kind == "str" && value.isString()) ||
                               (setting.kind == "vstr" && value.isArray()));
  if (fits) {
    return value;
  }
  if (setting.kind == "str") {
    return text;
  }
  throw UsageError("\"" + text + "\" is no value for " + setting.key + ": it takes " +
                   (setting.kind == "i32" ? "a whole number" : R"(a list like ["a","b"])"));
}

void addSettings(CLI::App& app, const std::string& name) {
  CLI::App* settings = app.add_subcommand("settings", "The settings model of the set");
  settings->require_subcommand(1);
  settings->footer(R"(Reads and writes as the set itself does: no fault applies.

Examples:
  benchtv settings get torvo.sl2.i32.norfactory.region
  benchtv settings set torvo.sl2.i32.local.network.available 0
  benchtv settings set torvo.sl2.vstr.app.setting.airplay.status '["stopped",""]'
  benchtv settings watch
)");
  auto json = std::make_shared<bool>(false);
  auto key = std::make_shared<std::string>();
  auto value = std::make_shared<std::string>();

  CLI::App* list = settings->add_subcommand("list", "All keys with their values");
  addJson(list, *json);
  list->callback([=, &name] {
    for (const Setting& setting : BenchTv::find(name).control().settings()) {
      if (*json) {
        Json::Value line;
        line["key"] = setting.key;
        line["kind"] = setting.kind;
        line["value"] = setting.value;
        std::cout << compactJson(line) << "\n";
      } else {
        std::cout << setting.key << " = "
                  << (setting.value.isNull() ? "(not on this product)" : compactJson(setting.value))
                  << "\n";
      }
    }
  });

  CLI::App* get = settings->add_subcommand("get", "The value of one key, as JSON");
  get->add_option("key", *key)->required();
  get->add_flag("--json", *json, "Print JSON, which it is anyway");
  get->callback([=, &name] {
    const ControlLink control = BenchTv::find(name).control();
    std::cout << compactJson(findSetting(control, *key).value) << "\n";
  });

  CLI::App* set = settings->add_subcommand("set", "Write one key");
  set->add_option("key", *key)->required();
  set->add_option("value", *value, "JSON; a text need not be quoted")->required();
  set->callback([=, &name] {
    const ControlLink control = BenchTv::find(name).control();
    control.setSetting(*key, parseValue(findSetting(control, *key), *value));
  });

  CLI::App* watch = settings->add_subcommand("watch", "Writes as they come, until interrupted");
  watch->add_option("key", *key, "Of this key only");
  addJson(watch, *json);
  watch->callback([=, &name] {
    const BenchTv tv = BenchTv::find(name);
    tv.follow(tv.lastSeq(), [&](const Json::Value& event) {
      if (event["kind"] == "setting" && (key->empty() || event["key"] == *key)) {
        printEvent(event, *json);
      }
      return true;
    });
  });
}

// ---- bus

struct SendOptions {
  std::string destination;
  std::string command;
  std::string parameter;
  std::string from = "benchtv";
  std::vector<std::string> absent;
  std::int32_t type = 0;
  bool synchronous = false;
};

void send(const std::string& name, const SendOptions& options) {
  BusRecord record{options.from, options.destination, std::nullopt, options.command,
                   options.parameter};
  const char* const fields[] = {"src", "ack", "dest", "cmd", "para"};
  for (std::size_t i = 0; i < record.size(); ++i) {
    if (std::find(options.absent.begin(), options.absent.end(), fields[i]) !=
        options.absent.end()) {
      record.at(i).reset();
    }
  }
  if (!record[1]) {
    record[2] = options.destination;
  }
  const std::int32_t status =
      BenchTv::find(name).control().sendRecord(record, options.type, options.synchronous);
  std::cout << status << "\n";
  if (status < 0) {
    throw std::runtime_error("nobody got it: status " + std::to_string(status) +
                             "; \"benchtv status\" shows who has joined the bus");
  }
}

void addBus(CLI::App& app, const std::string& name) {
  CLI::App* bus = app.add_subcommand("bus", "The command bus of the set");
  bus->require_subcommand(1);
  bus->footer(R"(Examples:
  benchtv bus send AirPlayBridge unblank screen --from AirPlayDaemon
  benchtv bus send am stop mdnsd
  benchtv bus watch
)");

  auto options = std::make_shared<SendOptions>();
  CLI::App* sendCommand =
      bus->add_subcommand("send", "Send a record, and print the status that its sender gets");
  sendCommand->add_option("dest", options->destination, "Who gets it, a name on the bus")
      ->required();
  sendCommand->add_option("cmd", options->command, "The command")->required();
  sendCommand->add_option("para", options->parameter, "The parameter; empty unless given");
  sendCommand->add_option("--from", options->from, "Who says it")->capture_default_str();
  sendCommand->add_option("--type", options->type, "The message type")->capture_default_str();
  sendCommand->add_flag("--sync", options->synchronous, "For the synchronous callback");
  sendCommand->add_option("--null", options->absent, "A field that is null")
      ->check(CLI::IsMember({"src", "ack", "cmd", "para"}));
  sendCommand->callback([=, &name] { send(name, *options); });

  auto json = std::make_shared<bool>(false);
  CLI::App* watch = bus->add_subcommand("watch", "Records as they go, until interrupted");
  addJson(watch, *json);
  watch->callback([=, &name] {
    const BenchTv tv = BenchTv::find(name);
    tv.follow(tv.lastSeq(), [&](const Json::Value& event) {
      if (event["kind"] == "bus") {
        printEvent(event, *json);
      }
      return true;
    });
  });
}

// ---- processes, markers, faults

void addProcesses(CLI::App& app, const std::string& name) {
  CLI::App* process = app.add_subcommand("process", "The processes of the set");
  process->require_subcommand(1);
  process->footer(
      R"(bus, set and service are known by these names too. What dies stays dead until it is started
again: bus, set and service by the keeper, the others by the set.

Examples:
  benchtv process kill airplaydemo
  benchtv process kill set && benchtv process start set
  benchtv process kill service --signal TERM
)");
  auto json = std::make_shared<bool>(false);
  CLI::App* list = process->add_subcommand("list", "What runs");
  addJson(list, *json);
  list->callback([=, &name] {
    for (const ProcessInfo& info : BenchTv::find(name).processes()) {
      if (*json) {
        Json::Value line;
        line["name"] = info.name;
        line["pid"] = info.pid;
        line["inside_pid"] = info.insidePid;
        line["state"] = std::string(1, info.state);
        std::cout << compactJson(line) << "\n";
      } else {
        std::cout << info.pid << "\t" << info.state << "\t" << info.name << "\n";
      }
    }
  });

  auto who = std::make_shared<std::string>();
  auto signal = std::make_shared<std::string>("KILL");
  CLI::App* kill = process->add_subcommand("kill", "Send a signal to all processes of a name");
  kill->add_option("name", *who)->required();
  kill->add_option("--signal", *signal)->capture_default_str();
  kill->callback([=, &name] {
    for (const pid_t pid : BenchTv::find(name).kill(*who, signalNumber(*signal))) {
      std::cout << pid << "\n";
    }
  });

  CLI::App* start = process->add_subcommand("start", "Start what has ended again");
  start->add_option("name", *who)
      ->required()
      ->check(CLI::IsMember({"bus", "set", "service", "mdnsd", "airplaydemo", "launcher"}));
  start->callback([=, &name] {
    const BenchTv tv = BenchTv::find(name);
    if (*who == "bus" || *who == "set" || *who == "service") {
      tv.startRole(*who);
    } else {
      tv.control().startProcess(*who);
    }
  });
}

void addMarkers(CLI::App& app, const std::string& name) {
  CLI::App* marker = app.add_subcommand("marker", "The marker files that the service looks for");
  marker->require_subcommand(1);
  marker->footer(R"(Examples:
  benchtv marker add /var/local/disable_airplay
  benchtv marker remove /tmp/semaphore_ipc
)");
  auto path = std::make_shared<std::string>();
  for (const bool present : {true, false}) {
    CLI::App* command =
        marker->add_subcommand(present ? "add" : "remove", present ? "Make one" : "Take one away");
    command->add_option("path", *path)->required();
    command->callback([=, &name] { BenchTv::find(name).control().setMarker(*path, present); });
  }
}

void addFaults(CLI::App& app, const std::string& name) {
  CLI::App* fault = app.add_subcommand("fault", "Have something fail");
  fault->require_subcommand(1);
  fault->footer(R"(Faults:
  setting-read KEY STATUS, setting-write KEY STATUS, setting-connect KEY STATUS
  bus-init STATUS, bus-send STATUS, bus-inject STATUS
  apm-missing              there is no application manager
  daemon-hang              the daemon joins the bus and then reads nothing; from its next start on
  daemon-never-ready       it never makes its marker file; from its next start on

Examples:
  benchtv fault set setting-read torvo.sl2.i32.norfactory.logo -5
  benchtv fault set bus-send -11
  benchtv fault set apm-missing
  benchtv fault clear
)");
  auto json = std::make_shared<bool>(false);
  auto what = std::make_shared<std::string>();
  auto rest = std::make_shared<std::vector<std::string>>();

  CLI::App* set = fault->add_subcommand("set", "Put a fault in force");
  set->add_option("fault", *what)->required();
  set->add_option("arguments", *rest, "[KEY] [STATUS]")->expected(0, 2);
  set->callback([=, &name] {
    std::string target;
    std::string value = "1";
    if (rest->size() == 2) {
      target = rest->front();
    }
    if (!rest->empty()) {
      value = rest->back();
    }
    std::int32_t number = 0;
    if (!CLI::detail::lexical_cast(value, number)) {
      throw UsageError("\"" + value + "\" is no status: a whole number is needed, such as -5");
    }
    BenchTv::find(name).control().setFault(*what, target, number);
  });

  auto target = std::make_shared<std::string>();
  CLI::App* clear = fault->add_subcommand("clear", "Take a fault back, or all");
  clear->add_option("fault", *what, "All unless given");
  clear->add_option("key", *target, "For all keys unless given");
  clear->callback([=, &name] { BenchTv::find(name).control().clearFault(*what, *target); });

  CLI::App* list = fault->add_subcommand("list", "The faults in force");
  addJson(list, *json);
  list->callback([=, &name] {
    for (const Fault& each : BenchTv::find(name).control().faults()) {
      if (*json) {
        Json::Value line;
        line["fault"] = each.name;
        line["target"] = each.target;
        line["value"] = each.value;
        std::cout << compactJson(line) << "\n";
      } else {
        std::cout << each.name << (each.target.empty() ? "" : " ") << each.target << " "
                  << each.value << "\n";
      }
    }
  });
}

// ---- events, wait

void addEvents(CLI::App& app, const std::string& name) {
  auto json = std::make_shared<bool>(false);
  auto follow = std::make_shared<bool>(false);
  auto after = std::make_shared<std::uint64_t>(0);
  auto kind = std::make_shared<std::string>();
  CLI::App* events =
      app.add_subcommand("events", "The journal: what happened on the set, in order");
  events->footer(
      R"(Without --follow also of a television that is down: its journal stays until the next up.

Examples:
  benchtv events --kind bus
  benchtv events --follow --json
)");
  addJson(events, *json);
  events->add_flag("--follow", *follow, "Go on as events come, until interrupted");
  events->add_option("--after", *after, "Only those after this number");
  events->add_option("--kind", *kind, "setting, bus, apm, process, key, log, fault, ...");
  events->callback([=, &name] {
    const auto show = [&](const Json::Value& event) {
      if (kind->empty() || event["kind"] == *kind) {
        printEvent(event, *json);
      }
      return true;
    };
    if (*follow) {
      BenchTv::find(name).follow(*after, show);
      return;
    }
    for (const Json::Value& event : BenchTv::eventsOfRun(name, *after)) {
      (void)show(event);
    }
  });
}

void addWait(CLI::App& app, const std::string& name) {
  auto json = std::make_shared<bool>(false);
  auto text = std::make_shared<std::string>();
  auto timeout = std::make_shared<double>(10);
  auto after = std::make_shared<std::uint64_t>(0);
  CLI::App* wait = app.add_subcommand("wait", "Wait for an event, and print it");
  wait->footer(R"(An expression is terms joined by blanks, all of which must hold:
  field=value     it has that value         field!=value   it has not
  field~text      it contains the text
Values with blanks stand in quotes. An event that is in the journal already counts; --after
leaves older ones out.

Examples:
  benchtv wait 'kind=log text~"Daemon socket is ready"' --timeout 20
  benchtv wait 'kind=process op=end name=airplaydemo' --timeout 5
)");
  wait->add_option("expression", *text)->required();
  wait->add_option("--timeout", *timeout, "Seconds")->capture_default_str();
  wait->add_option("--after", *after, "Only events after this number");
  addJson(wait, *json);
  wait->callback([=, &name] {
    std::optional<Expression> expression;
    try {
      expression.emplace(*text);
    } catch (const ExpressionError& error) {
      throw UsageError(std::string(error.what()) + "\n  " + *text + "\n  " +
                       std::string(error.position, ' ') + "^");
    }
    printEvent(BenchTv::find(name).waitFor(*expression, milliseconds(*timeout), *after), *json);
  });
}

}  // namespace

void addCommands(CLI::App& app, const std::string& name) {
  addUp(app, name);
  addDown(app, name);
  addStatus(app, name);
  addSettings(app, name);
  addBus(app, name);
  addProcesses(app, name);
  addMarkers(app, name);
  addFaults(app, name);
  addSessionCommands(app, name);
  addEvents(app, name);
  addWait(app, name);
}

}  // namespace benchtv
