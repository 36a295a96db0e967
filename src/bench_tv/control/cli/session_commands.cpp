#include "control/cli/session_commands.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Option.hpp>
#include <iostream>
#include <memory>
#include <vector>

#include "control/bench_tv.h"
#include "control/cli/event_text.h"

namespace benchtv {

namespace {

constexpr char kServiceApp[] = "AirPlayBridge";

struct Verb {
  const char* word;
  const char* help;
  const char* argument = nullptr;  // what it is called; none without
  bool needsArgument = false;
};

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) {
    text += (text.empty() ? "" : " ") + word;
  }
  return text;
}

// One subcommand for each verb of a stand-in, and "state".
void addVerbs(CLI::App* command, const std::string& name, const std::string& process,
              const std::vector<Verb>& verbs) {
  command->require_subcommand(1);
  for (const Verb& verb : verbs) {
    auto words = std::make_shared<std::vector<std::string>>();
    CLI::App* sub = command->add_subcommand(verb.word, verb.help);
    if (verb.argument) {
      CLI::Option* argument = sub->add_option(verb.argument, *words);
      if (verb.needsArgument) {
        argument->required();
      }
    }
    const std::string word = verb.word;
    sub->callback(
        [=, &name] { BenchTv::find(name).standIn(process).perform(word, joined(*words)); });
  }
  command->add_subcommand("state", "What it knows now, as JSON")->callback([=, &name] {
    std::cout << compactJson(BenchTv::find(name).standIn(process).state()) << "\n";
  });
}

void addPhone(CLI::App& app, const std::string& name) {
  CLI::App* phone =
      app.add_subcommand("phone", "A phone near the set, and the receiver it talks to");
  phone->footer(
      R"(What the phone does reaches the service as the receiver's commands. A phone that connects on
its own waits until the UI has accepted it: benchtv ui accept

Examples:
  benchtv phone connect
  benchtv phone press KEY_ENTER
  benchtv phone switch-input 2
  benchtv phone say unblank screen
  benchtv phone disconnect
)");
  addVerbs(phone, name, "airplaydemo",
           {{"connect", "Begin a session, of which the UI is asked first"},
            {"disconnect", "End the newest session"},
            {"press", "Press a key on the phone", "key", true},
            {"switch-input", "Ask for an input by its number, 0 being AirPlay", "number", true},
            {"pair", "Ask for HomeKit pairing, with this text", "text"},
            {"mute-screen", "Have the blanked screen shown again (unblank screen)"},
            {"wake", "Wake the set from standby (wakeup_screen on)"},
            {"background", "Have the application leave the foreground (backgm)"},
            {"need-stop", "Have the application stopped (need_stop)"},
            {"enable", "The receiver reports that it is switched on"},
            {"disable", "The receiver reports that it is switched off"},
            {"say", "Send the service any command with any parameter", "command", true}});
}

void addUi(CLI::App& app, const std::string& name) {
  CLI::App* ui = app.add_subcommand("ui", "The TV's own user interface");
  ui->footer(R"(Requests of phones are answered by hand unless the policy says otherwise.

Examples:
  benchtv ui accept                        the request that has waited longest
  benchtv ui accept BRIDGE-8123.456789     this one, even if nobody asked
  benchtv ui start input                   AirPlay is picked in the input list
  benchtv ui policy accept
)");
  addVerbs(ui, name, "launcher",
           {{"accept", "Accept a phone's request", "session"},
            {"decline", "Decline a phone's request", "session"},
            {"start", "Start AirPlay from: input, switch-input, setting, homekit", "where", true},
            {"quit", "Quit AirPlay"},
            {"policy", "How requests are answered: ask, accept, decline", "policy", true}});
}

void addPower(CLI::App& app, const std::string& name) {
  auto state = std::make_shared<std::string>();
  auto reason = std::make_shared<std::int32_t>(2);
  CLI::App* power = app.add_subcommand("power", "Suspend, resume, standby, on");
  power->footer(
      R"(suspend and resume tell every registered application (suspend to RAM), with a reason; standby and
on write the power use case and the screen state.

Examples:
  benchtv power suspend
  benchtv power resume
  benchtv power suspend --reason 1         another reason, which the service takes otherwise
)");
  power->add_option("state", *state)
      ->required()
      ->check(CLI::IsMember({"suspend", "resume", "standby", "on"}));
  power->add_option("--reason", *reason, "The reason given to the applications")
      ->capture_default_str();
  power->callback([=, &name] { BenchTv::find(name).control().power(*state, *reason); });
}

void addKey(CLI::App& app, const std::string& name) {
  auto key = std::make_shared<std::string>();
  CLI::App* command = app.add_subcommand("key", "Press a key of the remote control");
  command->footer(
      R"(The key arrives at the service, which passes it on while AirPlay is in front. Names are those of
the Linux input event codes, with or without KEY_; a number is a code.

Examples:
  benchtv key ENTER
  benchtv key KEY_VOLUMEUP
  benchtv key 28
)");
  command->add_option("key", *key, "NAME or CODE")->required();
  command->callback(
      [=, &name] { std::cout << BenchTv::find(name).control().pressKey(*key) << "\n"; });
}

void addApp(CLI::App& app, const std::string& name) {
  CLI::App* command =
      app.add_subcommand("app", "What the application manager tells the service's application");
  command->require_subcommand(1);
  command->footer(R"(Prints the id by which the journal knows the call: its answer has the same.

Examples:
  benchtv app run '{"type":"AirPlayMessage","cmd":"start","from":"TVInput"}'
  benchtv app suspend NorvaleUI
  benchtv app event '{"type":"AirPlayMessage","cmd":"stop"}'
  benchtv app low-memory
)");
  struct Row {
    const char* word;
    const char* help;
    const char* operation;
    std::vector<std::string> before;  // texts before the one that is given
    const char* fixed;                // instead of one that is given; null: it is given
  };
  const std::vector<Row> rows = {
      {"run", "Run it with a launch text", "onRunning", {kServiceApp}, nullptr},
      {"suspend", "Suspend it, with a text that says who did", "onSuspend", {kServiceApp}, nullptr},
      {"destroy", "Destroy it", "onDestroy", {kServiceApp}, nullptr},
      {"event", "Send it an event message", "notifyAppEventMessage", {"am", kServiceApp}, nullptr},
      {"start-timeout",
       "Tell it that a start took too long",
       "notifyAppEventMessage",
       {"am", kServiceApp},
       "app_start_time_out"},
      {"low-memory",
       "Tell it that memory is low",
       "notifyAppEventMessage",
       {"am", kServiceApp},
       "low_memory"},
  };
  for (const Row& row : rows) {
    auto text = std::make_shared<std::string>(row.fixed ? row.fixed : "");
    CLI::App* sub = command->add_subcommand(row.word, row.help);
    if (!row.fixed) {
      sub->add_option("text", *text, "The text; empty unless given");
    }
    sub->callback([=, &name] {
      std::vector<std::string> texts = row.before;
      texts.push_back(*text);
      std::cout << BenchTv::find(name).control().callApp(kServiceApp, row.operation, texts) << "\n";
    });
  }
}

}  // namespace

void addSessionCommands(CLI::App& app, const std::string& name) {
  addPhone(app, name);
  addUi(app, name);
  addPower(app, name);
  addKey(app, name);
  addApp(app, name);
}

}  // namespace benchtv
