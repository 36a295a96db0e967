// JSON texts that come from outside and go there.
#pragma once

#include <json/value.h>

#include <string>

namespace norvale::json {

// Parses |text| into |root|; false when it is no JSON, or nested too deep to be read.
bool parse(const std::string& text, Json::Value& root);

// The member |name| of |root|, or |absent| as a string when there is none, as in a root that is no
// object at all.
Json::Value member(const Json::Value& root, const char* name, const char* absent);

// |root| on one line, which ends in a line feed. Members come in alphabetical order, and everything
// but ASCII is escaped.
std::string write(const Json::Value& root);

}  // namespace norvale::json
