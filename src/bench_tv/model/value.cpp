#include "model/value.h"

#include <json/reader.h>
#include <json/writer.h>

#include <memory>
#include <stdexcept>

namespace benchtv {
namespace {

std::string textOf(const Json::Value& json) {
  std::string text = json.asString();
  if (text.find('\0') != std::string::npos) {
    throw std::invalid_argument("a text holds no NUL character");
  }
  return text;
}

}  // namespace

Kind kindOf(const Value& value) { return static_cast<Kind>(value.index()); }

const char* kindWord(Kind kind) {
  switch (kind) {
    case Kind::kInteger:
      return "i32";
    case Kind::kText:
      return "str";
    case Kind::kTexts:
      return "vstr";
  }
  return "";
}

Value emptyValue(Kind kind) {
  switch (kind) {
    case Kind::kInteger:
      return 0;
    case Kind::kText:
      return std::string();
    case Kind::kTexts:
      return Texts();
  }
  return 0;
}

Json::Value toJson(const Value& value) {
  if (const auto* number = std::get_if<std::int32_t>(&value)) {
    return *number;
  }
  if (const auto* text = std::get_if<std::string>(&value)) {
    return *text;
  }
  Json::Value list(Json::arrayValue);
  for (const std::string& text : std::get<Texts>(value)) {
    list.append(text);
  }
  return list;
}

Value parseValue(Kind kind, const std::string& json) {
  const Json::Value parsed = parseJson(json);
  switch (kind) {
    case Kind::kInteger:
      // A real number such as 2.0 also counts as "an int" to the library.
      if ((parsed.type() != Json::intValue && parsed.type() != Json::uintValue) ||
          !parsed.isInt()) {
        throw std::invalid_argument("the value must be an integer of 32 bits, such as 3");
      }
      return parsed.asInt();
    case Kind::kText:
      if (!parsed.isString()) {
        throw std::invalid_argument("the value must be a text in double quotes, such as \"TV\"");
      }
      return textOf(parsed);
    case Kind::kTexts: {
      if (!parsed.isArray()) {
        throw std::invalid_argument(
            R"(the value must be a list of texts, such as ["started", ""])");
      }
      Texts texts;
      for (const Json::Value& element : parsed) {
        if (!element.isString()) {
          throw std::invalid_argument("every element of the list must be a text in double quotes");
        }
        texts.push_back(textOf(element));
      }
      return texts;
    }
  }
  throw std::invalid_argument("no such kind of value");
}

Json::Value parseJson(const std::string& json) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["strictRoot"] = false;
  builder["stackLimit"] = 100;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value parsed;
  std::string errors;
  bool ok = false;
  try {
    ok = reader->parse(json.data(), json.data() + json.size(), &parsed, &errors);
  } catch (const std::exception& tooDeep) {
    errors = tooDeep.what();
  }
  if (!ok) {
    throw std::invalid_argument("not JSON: " + errors);
  }
  return parsed;
}

std::string jsonText(const Json::Value& json) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["precision"] = 15;
  return Json::writeString(builder, json);
}

}  // namespace benchtv
