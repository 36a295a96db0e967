#include "model/setting_keys.h"

namespace benchtv {

const std::vector<SettingKey>& settingKeys() {
  const Kind i32 = Kind::kInteger;
  const Kind str = Kind::kText;
  const Kind vstr = Kind::kTexts;
  const Value noTexts = Texts();
  const Shape four = Shape::kRecordsOfFour;
  const Value inputs = Texts{
      "TV",     "1", "tuner", "Antenna",  //
      "HDMI 1", "2", "hdmi",  "HDMI 1",   //
      "HDMI 2", "3", "hdmi",  "HDMI 2",   //
      "AV",     "4", "av",    "AV",
  };
  const Value brand = std::string("Norvale");
  const Value model = std::string("NV55-Q1");
  const Value serial = std::string("NV-2026-000001");
  const Value version = std::string("1.0.0");
  const Value launcher = std::string("launcher");
  const Value noText = std::string();

  // clang-format off
  static const std::vector<SettingKey> keys = {
      {"torvo.sl2.i32.any.hotel.option.changed",         "hotel_option_changed", i32,  0},
      {"torvo.sl2.i32.app.setting.airplay.enable",       "enable_state",         i32,  0},
      {"torvo.sl2.i32.app.setting.airplay.user.enabled", "user_enabled",         i32,  1},
      {"torvo.sl2.i32.basic.settings.eula.dpp.eula",     "eula_dpp",             i32,  1},
      {"torvo.sl2.i32.basic.settings.eula.dpp.general",  "eula_general",         i32,  1},
      {"torvo.sl2.i32.channel.search.tuner.support",     "tuner",                i32,  1},
      {"torvo.sl2.i32.local.network.available",          "network",              i32,  1},
      {"torvo.sl2.i32.norfactory.logo",                  "brand_id",             i32,  1},
      {"torvo.sl2.i32.norfactory.region",                "region",               i32,  0},
      {"torvo.sl2.i32.norfactory.state.open",            "factory_state",        i32,  0},
      {kMuteKey,                                         "mute",                 i32,  0},
      {"torvo.sl2.i32.system.airplay.support",           "capability",           i32,  1},
      {"torvo.sl2.i32.system.audio.only",                "audio_only",           i32,  0},
      {kPowerUseCaseKey,                                 "power_use_case",       i32,  2},
      {kScreenStateKey,                                  "screen_state",         i32,  1},
      {"torvo.sl2.i32.system.lasertv.enable",            "laser_tv",             i32,  0},
      {"torvo.sl2.i32.system.open.from.standby",         "open_from_standby",    i32,  0},
      {kBrandKey,                                        "brand",                str,  brand},
      {kSerialKey,                                       "serial",               str,  serial},
      {kModelKey,                                        "model",                str,  model},
      {"torvo.sl2.str.norfactory.software.version",      "software_version",     str,  version},
      {kCurrentAppKey,                                   "current_app",          str,  launcher},
      {kAppStatusKey,                                    "app_status",           str,  noText},
      {"torvo.sl2.vstr.app.setting.airplay.status",      "life_cycle",           vstr, noTexts},
      {"torvo.sl2.vstr.source.input.name",               "inputs",               vstr, inputs, four}
  };
  // clang-format on
  return keys;
}

const SettingKey* findSettingKey(const std::string& key) {
  for (const SettingKey& row : settingKeys()) {
    if (key == row.key) {
      return &row;
    }
  }
  return nullptr;
}

const SettingKey* findSettingField(const std::string& field) {
  for (const SettingKey& row : settingKeys()) {
    if (field == row.field) {
      return &row;
    }
  }
  return nullptr;
}

}  // namespace benchtv
