#include "set/app_clients.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "set/refusal.h"

namespace benchtv {
namespace {

constexpr char kEventMessage[] = "notifyAppEventMessage";
constexpr char kKeyEvent[] = "onKeyEvent";
constexpr std::size_t kKeyEventSize = 76;
constexpr std::size_t kKeyCodeAt = 24;

struct Operation {
  const char* name;
  std::vector<const char*> texts;  // what they are called in the journal
  bool hasReason = false;
};

const std::vector<Operation>& operations() {
  static const std::vector<Operation> rows = {
      {"onRunning", {"appUrl", "param"}},
      {"onDestroy", {"appUrl", "param"}},
      {"onSuspend", {"appUrl", "param"}},
      {"onSTRSuspending", {"appUrl"}, true},
      {"onSTRSuspend", {"appUrl"}, true},
      {"onSTRResume", {"appUrl"}, true},
      {"onSTRResuming", {"appUrl"}, true},
      {kEventMessage, {"src", "dst", "msg"}},
      {kKeyEvent, {"event"}},
      {"reserved1", {}},
      {"reserved2", {}},
      {"reserved3", {}},
      {"reserved4", {}},
      {"reserved5", {}},
      {"reserved6", {}},
      {"reserved7", {}},
      {"reserved8", {}},
      {"reservedText", {}},
      {"reserved9", {}},
      {"reserved10", {}},
      {"reserved11", {}},
  };
  return rows;
}

const Operation& operationOf(const std::string& name) {
  std::string names;
  for (const Operation& row : operations()) {
    if (name == row.name) {
      return row;
    }
    names += (names.empty() ? "" : ", ") + std::string(row.name);
  }
  throw Refusal("no operation \"" + name + "\": there are " + names);
}

int keyCodeOf(const std::string& event) {
  std::int32_t code = 0;
  std::memcpy(&code, event.data() + kKeyCodeAt, sizeof code);
  return code;
}

void checkTexts(const Operation& operation, const Texts& texts) {
  if (texts.size() != operation.texts.size()) {
    throw Refusal(std::string(operation.name) + " takes " + std::to_string(operation.texts.size()) +
                  " texts, not " + std::to_string(texts.size()));
  }
  if (operation.name == std::string(kKeyEvent)) {
    if (texts[0].size() != kKeyEventSize) {
      throw Refusal("a key event has 76 bytes, not " + std::to_string(texts[0].size()));
    }
    return;
  }
  for (const std::string& text : texts) {
    if (text.find('\0') != std::string::npos) {
      throw Refusal("a text holds no NUL character");
    }
  }
}

}  // namespace

std::string keyEvent(std::int32_t code) {
  std::string event(kKeyEventSize, '\0');
  std::memcpy(event.data() + kKeyCodeAt, &code, sizeof code);
  return event;
}

AppClients::AppClients(const Faults& setFaults, Journal& setJournal, IOutlet& setOutlet)
    : faults(setFaults), journal(setJournal), outlet(setOutlet) {}

bool AppClients::attach(const std::string& client) {
  if (std::find(attached.begin(), attached.end(), client) == attached.end()) {
    attached.push_back(client);
  }
  return isAvailable();
}

int AppClients::registerApp(const std::string& app, const std::string& client) {
  const int status = isAvailable() ? 0 : -ENODEV;
  journal.write(kind::kApm, {{"op", "registerApp"}, {"app", app}, {"result", status}});
  if (status != 0) {
    return status;
  }
  registered[app] = {client};
  callBack(app, kEventMessage, {"am", app, "register_ok"}, 0);
  return 0;
}

int AppClients::unregisterApp(const std::string& app) {
  int status = isAvailable() ? 0 : -ENODEV;
  if (status == 0 && registered.erase(app) == 0) {
    status = -ENOENT;
  }
  journal.write(kind::kApm, {{"op", "unregisterApp"}, {"app", app}, {"result", status}});
  return status;
}

int AppClients::setAppStatus(const std::string& app, int appStatus) {
  int status = isAvailable() ? 0 : -ENODEV;
  const auto found = registered.find(app);
  if (status == 0 && found == registered.end()) {
    status = -ENOENT;
  }
  if (status == 0) {
    found->second.status = appStatus;
  }
  journal.write(kind::kApm,
                {{"op", "setAppStatus"}, {"app", app}, {"status", appStatus}, {"result", status}});
  return status;
}

int AppClients::sendMessage(const std::string& source, const std::string& target,
                            const std::string& message) {
  int status = isAvailable() ? 0 : -ENODEV;
  if (status == 0 && registered.count(target) == 0) {
    status = -ENOENT;
  }
  journal.write(kind::kApm, {{"op", "sendMessage"},
                             {"source", source},
                             {"target", target},
                             {"message", message},
                             {"result", status}});
  if (status == 0) {
    callBack(target, kEventMessage, {source, target, message}, 0);
  }
  return status;
}

void AppClients::answer(std::uint64_t id, int result) {
  const auto found = awaited.find(id);
  if (found == awaited.end()) {
    throw Refusal("no callback with the id " + std::to_string(id) + " awaits an answer");
  }
  journal.write(kind::kApm, {{"op", "answer"},
                             {"app", found->second.app},
                             {"id", static_cast<Json::UInt64>(id)},
                             {"result", result}});
  awaited.erase(found);
}

std::uint64_t AppClients::call(const std::string& app, const std::string& operation,
                               const Texts& texts, int reason) {
  checkTexts(operationOf(operation), texts);
  if (!isAvailable()) {
    throw Refusal("the application manager is missing: clear apm-missing first");
  }
  if (registered.count(app) == 0) {
    throw Refusal("no application \"" + app + "\" has registered");
  }
  return callBack(app, operation, texts, reason);
}

void AppClients::clientGone(const std::string& client) {
  attached.erase(std::remove(attached.begin(), attached.end(), client), attached.end());
  for (auto at = awaited.begin(); at != awaited.end();) {
    at = at->second.client == client ? awaited.erase(at) : std::next(at);
  }
  for (auto at = registered.begin(); at != registered.end();) {
    at = at->second.client == client ? registered.erase(at) : std::next(at);
  }
}

void AppClients::tellAvailable() {
  if (isAvailable() == toldAvailable) {
    return;
  }
  toldAvailable = isAvailable();
  for (const std::string& client : attached) {
    outlet.availableChanged(client, toldAvailable);
  }
}

std::map<std::string, int> AppClients::apps() const {
  std::map<std::string, int> all;
  for (const auto& [name, app] : registered) {
    all[name] = app.status;
  }
  return all;
}

std::uint64_t AppClients::callBack(const std::string& app, const std::string& operation,
                                   const Texts& texts, int reason) {
  const Operation& row = operationOf(operation);
  const std::string& client = registered.at(app).client;
  const std::uint64_t id = ++lastId;
  awaited[id] = {app, client};

  JournalFields fields = {{"op", operation}, {"app", app}, {"id", static_cast<Json::UInt64>(id)}};
  if (operation == kKeyEvent) {
    fields.emplace_back("code", keyCodeOf(texts[0]));
  } else {
    for (std::size_t i = 0; i < texts.size(); ++i) {
      fields.emplace_back(row.texts[i], texts[i]);
    }
  }
  if (row.hasReason) {
    fields.emplace_back("reason", reason);
  }
  journal.write(kind::kApm, fields);

  outlet.callback(client, id, app, operation, texts, reason);
  return id;
}

}  // namespace benchtv
