#include "stand_ins/tv_ui.h"

#include <algorithm>

#include "model/setting_keys.h"

namespace benchtv {
namespace {

constexpr char kSelf[] = "launcher";
constexpr char kService[] = "AirPlayBridge";
constexpr char kKind[] = "ui";
constexpr char kMessageType[] = "AirPlayMessage";
constexpr std::size_t kLongestShown = 1000;

std::string textOf(const Json::Value& object, const char* name) {
  return object[name].isString() ? object[name].asString() : std::string();
}

Json::Value startMessage(const std::string& from) {
  Json::Value message(Json::objectValue);
  message["type"] = kMessageType;
  message["cmd"] = "start";
  message["from"] = from;
  return message;
}

const char* policyWord(int policy) {
  static constexpr const char* kWords[] = {"ask", "accept", "decline"};
  return kWords[policy];
}

}  // namespace

void TvUi::act(const std::string& verb, const std::string& argument) {
  struct Row {
    const char* verb;
    void (TvUi::*act)(const std::string& argument);
  };
  static constexpr Row kRows[] = {
      {"accept", &TvUi::accept}, {"decline", &TvUi::decline},     {"start", &TvUi::start},
      {"quit", &TvUi::quit},     {"policy", &TvUi::choosePolicy},
  };
  std::string verbs;
  for (const Row& row : kRows) {
    if (verb == row.verb) {
      return (this->*row.act)(argument);
    }
    verbs += (verbs.empty() ? "" : ", ") + std::string(row.verb);
  }
  throw StandInRefusal("the UI knows no \"" + verb + "\": there are " + verbs);
}

void TvUi::accept(const std::string& session) {
  const std::string accepted = takeRequest(session);
  set.note(kKind, "accept", {{"session", accepted}});
  Json::Value message = startMessage("AirPlayApp");
  message["sessionid"] = accepted;
  tellService(message);
}

void TvUi::decline(const std::string& session) {
  // A prompt that is declined is closed, and nobody hears of it.
  set.note(kKind, "decline", {{"session", takeRequest(session)}});
}

void TvUi::start(const std::string& where) {
  struct Row {
    const char* where;
    const char* from;
  };
  static constexpr Row kRows[] = {{"input", "TVInput"},
                                  {"switch-input", "SwitchInput"},
                                  {"setting", "Setting"},
                                  {"homekit", "HomeKitSetting"}};
  for (const Row& row : kRows) {
    if (where != row.where) {
      continue;
    }
    set.note(kKind, "start", {{"from", row.from}});
    set.callApp(kService, "onRunning", {kService, jsonText(startMessage(row.from))});
    return;
  }
  throw StandInRefusal("AirPlay is not started from \"" + where +
                       "\": there are input, switch-input, setting, homekit");
}

void TvUi::quit(const std::string& argument) {
  if (!argument.empty()) {
    throw StandInRefusal("quit takes no argument");
  }
  set.note(kKind, "quit", {});
  Json::Value message(Json::objectValue);
  message["type"] = kMessageType;
  message["cmd"] = "stop";
  tellService(message);
}

void TvUi::choosePolicy(const std::string& word) {
  for (const Policy each : {Policy::kAsk, Policy::kAccept, Policy::kDecline}) {
    if (word != policyWord(static_cast<int>(each))) {
      continue;
    }
    set.note(kKind, "policy", {{"policy", word}});
    policy = each;
    return;
  }
  throw StandInRefusal("no policy \"" + word + "\": there are ask, accept, decline");
}

void TvUi::onAppMessage(const std::string& source, const std::string& message) {
  if (message == "register_ok") {
    return;
  }
  Json::Value object;
  try {
    object = parseJson(message);
  } catch (const std::invalid_argument&) {
    // Shown below as what it is.
  }
  const bool isMessage = object.isObject() && textOf(object, "type") == kMessageType;
  const std::string cmd = isMessage ? textOf(object, "cmd") : "";
  if (cmd == "startAirPlay") {
    askForConsent(textOf(object, "sessionid"));
  } else if (cmd == "switchInput") {
    switchInput(textOf(object, "to"));
  } else if (cmd == "HomeKitPairing") {
    set.note(kKind, "pairing", {{"to", textOf(object, "to")}});
  } else if (cmd == "start" && textOf(object, "result") == "failed") {
    set.note(kKind, "start-failed", {});
  } else {
    set.note(kKind, "not-understood",
             {{"source", source}, {"message", message.substr(0, kLongestShown)}});
  }
}

void TvUi::askForConsent(const std::string& session) {
  set.note(kKind, "consent", {{"session", session}});
  requests.push_back(session);
  if (policy == Policy::kAccept) {
    accept(session);
  }
  if (policy == Policy::kDecline) {
    decline(session);
  }
}

void TvUi::switchInput(const std::string& target) {
  set.note(kKind, "switch-input", {{"to", target}});
  set.setSetting(kCurrentAppKey, target);
}

std::string TvUi::takeRequest(const std::string& session) {
  if (session.empty() && requests.empty()) {
    throw StandInRefusal("no phone waits for an answer: phone connect, then this");
  }
  if (session.empty()) {
    std::string oldest = requests.front();
    requests.pop_front();
    return oldest;
  }
  // An id that was answered before, or never asked about, is passed on: the service has to cope.
  requests.erase(std::remove(requests.begin(), requests.end(), session), requests.end());
  return session;
}

void TvUi::tellService(const Json::Value& message) {
  const int status = set.sendAppMessage(kSelf, kService, jsonText(message));
  if (status < 0) {
    throw StandInRefusal("the service did not get it (status " + std::to_string(status) +
                         "): it has not registered, or the application manager is missing");
  }
}

Json::Value TvUi::state() const {
  Json::Value all(Json::objectValue);
  all["policy"] = policyWord(static_cast<int>(policy));
  all["requests"] = Json::Value(Json::arrayValue);
  for (const std::string& request : requests) {
    all["requests"].append(request);
  }
  return all;
}

}  // namespace benchtv
