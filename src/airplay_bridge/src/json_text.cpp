#include "json_text.h"

#include <json/reader.h>
#include <json/writer.h>

namespace norvale::json {

// The classic reader and writer are deprecated in favour of slower ones that differ in what they
// accept and write.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

bool parse(const std::string& text, Json::Value& root) {
  try {
    return Json::Reader().parse(text, root, true);
  } catch (const Json::Exception&) {
    return false;
  }
}

std::string write(const Json::Value& root) { return Json::FastWriter().write(root); }

#pragma GCC diagnostic pop

Json::Value member(const Json::Value& root, const char* name, const char* absent) {
  // jsoncpp throws when a root of another kind is asked for a member.
  return root.isObject() ? root.get(name, absent) : Json::Value(absent);
}

}  // namespace norvale::json
