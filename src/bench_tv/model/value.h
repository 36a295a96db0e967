// Value: what a setting holds, and how it is written as JSON.
#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace benchtv {

using Texts = std::vector<std::string>;

// A text holds any bytes but NUL.
using Value = std::variant<std::int32_t, std::string, Texts>;

// In the order of Value's alternatives.
enum class Kind { kInteger, kText, kTexts };

Kind kindOf(const Value& value);

// "i32", "str" or "vstr", as the third word of a key says.
const char* kindWord(Kind kind);

// 0, "" or an empty list.
Value emptyValue(Kind kind);

Json::Value toJson(const Value& value);

// Reads JSON as a value of |kind|. Throws std::invalid_argument that says what is allowed.
Value parseValue(Kind kind, const std::string& json);

// Reads one JSON value of any kind, strictly: nothing after it, no comments, no key twice. Throws
// std::invalid_argument.
Json::Value parseJson(const std::string& json);

// One line without a line feed. Bytes that are no UTF-8 come out as U+FFFD.
std::string jsonText(const Json::Value& json);

}  // namespace benchtv
