// The settings keys of the set: every key there is, its kind, and what a product file calls it.
#pragma once

#include <string>
#include <vector>

#include "model/value.h"

namespace benchtv {

// How the values of a list of texts stand in a product file.
enum class Shape {
  kPlain,
  kRecordsOfFour,  // a list of lists of four texts, which the key holds end to end
};

struct SettingKey {
  const char* key;
  const char* field;  // its name in a product file
  Kind kind;
  Value fallback;  // what a product has that does not say
  Shape shape = Shape::kPlain;
};

// All keys but the action, in alphabetical order.
const std::vector<SettingKey>& settingKeys();

// Null where there is no such key, or no such field of a product file.
const SettingKey* findSettingKey(const std::string& key);
const SettingKey* findSettingField(const std::string& field);

// Keys that the set itself works with.
inline constexpr char kAppStatusKey[] = "torvo.sl2.str.source.app.status";
inline constexpr char kCurrentAppKey[] = "torvo.sl2.str.source.app.current";
inline constexpr char kPowerUseCaseKey[] = "torvo.sl2.i32.system.enum.pwr.use.case";
inline constexpr char kScreenStateKey[] = "torvo.sl2.i32.system.enum.screen.state";
inline constexpr char kMuteKey[] = "torvo.sl2.i32.sound.main.mute";
inline constexpr char kBrandKey[] = "torvo.sl2.str.norfactory.fullbrand";
inline constexpr char kModelKey[] = "torvo.sl2.str.norfactory.production.type";
inline constexpr char kSerialKey[] = "torvo.sl2.str.norfactory.materiel.serial";

// The only action: presses a key, whose name is its one text.
inline constexpr char kSendKeyAction[] = "torvo.sl2.system.action.send.key";

}  // namespace benchtv
