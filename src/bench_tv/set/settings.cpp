#include "set/settings.h"

#include <algorithm>
#include <cerrno>

#include "model/setting_keys.h"

namespace benchtv {
namespace {

const char* writerWord(Writer writer) {
  switch (writer) {
    case Writer::kService:
      return "service";
    case Writer::kSet:
      return "set";
    case Writer::kBench:
      return "bench";
  }
  return "";
}

}  // namespace

Settings::Settings(const Product& product, SettingsStore& settingsStore, const Faults& setFaults,
                   Journal& setJournal, IOutlet& setOutlet)
    : values(product.values),
      store(settingsStore),
      faults(setFaults),
      journal(setJournal),
      outlet(setOutlet) {
  for (const auto& [key, value] : store.load()) {
    const auto found = values.find(key);
    if (found != values.end() && kindOf(found->second) == kindOf(value)) {
      found->second = value;
    }
  }
}

int Settings::read(const std::string& key, Value& value) const {
  if (const int status = faults.value(fault::kSettingRead, key)) {
    return status;
  }
  const Value* held = find(key);
  if (!held) {
    return -ENOENT;
  }
  value = *held;
  return 0;
}

int Settings::write(const std::string& key, const Value& value, Writer writer) {
  const auto found = values.find(key);
  int status = 0;
  if (found == values.end()) {
    status = -ENOENT;
  } else if (kindOf(found->second) != kindOf(value)) {
    status = -EINVAL;
  }
  if (const int asked = faults.value(fault::kSettingWrite, key);
      asked && writer == Writer::kService) {
    status = asked;
  }
  if (status == 0) {
    store.write(key, value);
    found->second = value;
  }
  journal.write(kind::kSetting, {{"op", "write"},
                                 {"key", key},
                                 {"value", toJson(value)},
                                 {"status", status},
                                 {"by", writerWord(writer)}});
  if (status == 0) {
    for (const std::string& client : observers[key]) {
      outlet.changed(client, key, value);
    }
  }
  return status;
}

int Settings::observe(const std::string& key, const std::string& client) {
  if (const int status = faults.value(fault::kSettingConnect, key)) {
    return status;
  }
  if (!find(key)) {
    return -ENOENT;
  }
  auto& clients = observers[key];
  if (std::find(clients.begin(), clients.end(), client) == clients.end()) {
    clients.push_back(client);
  }
  observed(key);
  return 0;
}

int Settings::invoke(const std::string& key, const std::string& client, const Texts& texts) {
  int status = key == kSendKeyAction ? 0 : -ENOENT;
  if (const int asked = faults.value(fault::kSettingWrite, key)) {
    status = asked;
  }
  Json::Value list = toJson(texts);
  journal.write(kind::kAction, {{"key", key}, {"texts", list}, {"status", status}});
  if (status == 0) {
    outlet.actionDone(client, key, carryOut(texts));
  }
  return status;
}

// Of the keys, only the mute key changes a setting, as on a set.
int Settings::carryOut(const Texts& texts) {
  if (texts.size() != 1 || texts[0].rfind("KEY_", 0) != 0) {
    return -EINVAL;
  }
  if (texts[0] != "KEY_MUTE") {
    return 0;
  }
  const Value* mute = find(kMuteKey);
  if (mute && std::get<std::int32_t>(*mute) > 0) {
    return write(kMuteKey, 0, Writer::kSet);
  }
  return mute ? write(kMuteKey, 1, Writer::kSet) : 0;
}

const Value* Settings::find(const std::string& key) const {
  const auto found = values.find(key);
  return found == values.end() ? nullptr : &found->second;
}

void Settings::clientGone(const std::string& client) {
  for (auto& [key, clients] : observers) {
    clients.erase(std::remove(clients.begin(), clients.end(), client), clients.end());
  }
}

}  // namespace benchtv
