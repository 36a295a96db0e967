#include "stand_ins/receiver.h"

#include "model/key_codes.h"

namespace benchtv {
namespace {

constexpr char kSelf[] = "AirPlayDaemon";
constexpr char kService[] = "AirPlayBridge";
constexpr char kApp[] = "AirPlayApp";
constexpr char kKind[] = "phone";

void refuseArgument(const std::string& verb, const std::string& argument) {
  if (!argument.empty()) {
    throw StandInRefusal(verb + " takes no argument");
  }
}

}  // namespace

void Receiver::act(const std::string& verb, const std::string& argument) {
  struct Row {
    const char* verb;
    void (Receiver::*act)(const std::string& argument);
    bool takesArgument;
  };
  static constexpr Row kRows[] = {
      {"connect", &Receiver::connect, false},    {"disconnect", &Receiver::disconnect, false},
      {"press", &Receiver::press, true},         {"switch-input", &Receiver::switchInput, true},
      {"pair", &Receiver::pair, true},           {"mute-screen", &Receiver::unblank, false},
      {"wake", &Receiver::wake, false},          {"background", &Receiver::background, false},
      {"need-stop", &Receiver::needStop, false}, {"enable", &Receiver::enable, false},
      {"disable", &Receiver::disable, false},    {"say", &Receiver::sayAnything, true},
  };
  std::string verbs;
  for (const Row& row : kRows) {
    if (verb == row.verb) {
      if (!row.takesArgument) {
        refuseArgument(verb, argument);
      }
      (this->*row.act)(argument);
      return;
    }
    verbs += (verbs.empty() ? "" : ", ") + std::string(row.verb);
  }
  throw StandInRefusal("the phone knows no \"" + verb + "\": there are " + verbs);
}

void Receiver::connect(const std::string&) {
  if (!enabled) {
    throw StandInRefusal("AirPlay is switched off on this set, so no phone finds it: phone enable");
  }
  // A phone that connects wakes the receiver.
  asleep = false;
  const int session = lastSession + 1;
  send("connect", "start",
       std::string(kApp) + " cwd=/data/airplay session=" + std::to_string(session));
  lastSession = session;
  sessions.push_back(session);
}

void Receiver::disconnect(const std::string&) {
  if (sessions.empty()) {
    throw StandInRefusal("no phone is connected: phone connect");
  }
  send("disconnect", "stop", kApp);
  sessions.pop_back();
}

void Receiver::press(const std::string& key) {
  if (!keyCode(key)) {
    throw StandInRefusal(noSuchKey(key));
  }
  refuseWhileAsleep("press");
  send("press", "key_press", key);
}

void Receiver::switchInput(const std::string& number) {
  if (number.empty() || number.size() > 3 ||
      number.find_first_not_of("0123456789") != std::string::npos) {
    throw StandInRefusal(
        "switch-input takes the number of an input, such as 2; 0 is AirPlay, not \"" + number +
        "\"");
  }
  refuseWhileAsleep("switch-input");
  send("switch-input", "homekitnotify", "source=" + number);
}

void Receiver::pair(const std::string& what) {
  refuseWhileAsleep("pair");
  send("pair", "HKAccess", what.empty() ? "pair" : what);
}

void Receiver::unblank(const std::string&) {
  refuseWhileAsleep("mute-screen");
  send("mute-screen", "unblank", "screen");
}

void Receiver::wake(const std::string&) { send("wake", "wakeup_screen", "on"); }

void Receiver::background(const std::string&) {
  refuseWhileAsleep("background");
  send("background", "backgm", kApp);
}

void Receiver::needStop(const std::string&) {
  refuseWhileAsleep("need-stop");
  send("need-stop", "need_stop", kApp);
  sessions.clear();
}

void Receiver::enable(const std::string&) {
  refuseWhileAsleep("enable");
  send("enable", "AirPlayEnabled", "enable");
  enabled = true;
}

void Receiver::disable(const std::string&) {
  refuseWhileAsleep("disable");
  send("disable", "AirPlayEnabled", "disable");
  enabled = false;
}

void Receiver::sayAnything(const std::string& text) {
  if (text.empty()) {
    throw StandInRefusal("say takes a command and its parameter: say unblank screen");
  }
  const std::size_t blank = text.find(' ');
  send("say", text.substr(0, blank), blank == std::string::npos ? "" : text.substr(blank + 1));
}

void Receiver::send(const std::string& op, const std::string& cmd, const std::string& para) {
  set.note(kKind, op, {{"cmd", cmd}, {"para", para}});
  const int status = set.sendRecord(kSelf, kService, cmd, para);
  if (status < 0) {
    throw StandInRefusal("the service did not get it (status " + std::to_string(status) +
                         "): it has not joined the command bus, or a fault is in force");
  }
}

void Receiver::refuseWhileAsleep(const std::string& what) const {
  if (asleep) {
    throw StandInRefusal("the set is in suspend and the receiver sleeps, so there is no " + what +
                         ": power resume, or phone connect or phone wake, which reach it");
  }
}

void Receiver::onCommand(const std::string& cmd, const std::string& para) {
  if (cmd == "suspend") {
    asleep = true;
  } else if (cmd == "wakeup") {
    asleep = false;
  } else if (cmd == "AirPlayEnabled") {
    enabled = para == "enable";
  } else if (asleep) {
    say("asleep: no answer to " + cmd);
  } else if (cmd == "action") {
    answer("start", std::string(kApp) + " page=input");
  } else if (cmd == "settings") {
    answer("start", std::string(kApp) + " page=settings");
  } else if (cmd == "HomeKitSettings") {
    answer("start", std::string(kApp) + " page=homekit");
  } else if (cmd == "BringAppToBackground") {
    answer("backgm", kApp);
  } else if (cmd == "StopApp") {
    sessions.clear();
    answer("stop", kApp);
  }
}

void Receiver::answer(const std::string& cmd, const std::string& para) {
  const int status = set.sendRecord(kSelf, kService, cmd, para);
  if (status < 0) {
    say("nobody got the answer " + cmd + ": " + std::to_string(status));
  }
}

Json::Value Receiver::state() const {
  Json::Value all(Json::objectValue);
  all["sessions"] = Json::Value(Json::arrayValue);
  for (const int session : sessions) {
    all["sessions"].append(session);
  }
  all["asleep"] = asleep;
  all["enabled"] = enabled;
  return all;
}

}  // namespace benchtv
