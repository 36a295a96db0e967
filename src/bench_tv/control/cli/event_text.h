// An event of the journal as a line for people.
#pragma once

#include <json/value.h>

#include <string>

namespace benchtv {

// Number, time, kind and what happened, without a line feed. |colour|: with terminal colours.
std::string eventText(const Json::Value& event, bool colour);

// |value| on one line, without a line feed.
std::string compactJson(const Json::Value& value);

}  // namespace benchtv
