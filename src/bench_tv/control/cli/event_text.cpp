#include "control/cli/event_text.h"

#include <json/writer.h>

#include <cstdio>
#include <initializer_list>

namespace benchtv {

namespace {

constexpr char kRed[] = "\x1b[31m";
constexpr char kDim[] = "\x1b[2m";
constexpr char kPlain[] = "\x1b[0m";

std::string plain(const Json::Value& value) {
  return value.isString() ? value.asString() : compactJson(value);
}

// Text from the set may hold anything; a terminal must not be told what to do by it.
std::string printable(const std::string& text) {
  std::string shown;
  for (const char c : text) {
    if (static_cast<unsigned char>(c) >= 0x20 && c != 0x7f) {
      shown += c;
    } else {
      char escaped[8];
      (void)std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(c));
      shown += escaped;
    }
  }
  return shown;
}

std::string fields(const Json::Value& event, std::initializer_list<const char*> left = {}) {
  std::string text;
  for (const std::string& name : event.getMemberNames()) {
    bool shown = name != "seq" && name != "t" && name != "kind" && name != "op";
    for (const char* other : left) {
      shown = shown && name != other;
    }
    if (shown) {
      text += " " + name + "=" + compactJson(event[name]);
    }
  }
  return text;
}

std::string logText(const Json::Value& event) {
  if (!event.isMember("function")) {
    return plain(event["text"]);
  }
  return plain(event["file"]) + ":" + plain(event["line"]) + ":" + plain(event["function"]) +
         "(): " + plain(event["text"]);
}

std::string busText(const Json::Value& event) {
  if (plain(event["op"]) != "send") {
    return plain(event["op"]) + fields(event);
  }
  return plain(event["src"]) + " -> " + plain(event["to"]) + "  " + plain(event["cmd"]) + " " +
         compactJson(event["para"]) + fields(event, {"src", "ack", "dest", "cmd", "para", "to"});
}

std::string whatHappened(const Json::Value& event) {
  const std::string kind = event["kind"].asString();
  if (kind == "log") {
    return logText(event);
  }
  if (kind == "bus") {
    return busText(event);
  }
  if (kind == "setting") {
    return plain(event["key"]) + " = " + compactJson(event["value"]) +
           fields(event, {"key", "value"});
  }
  if (kind == "process") {
    return plain(event["op"]) + " " + plain(event["name"]) + fields(event, {"name"});
  }
  return (event.isMember("op") ? plain(event["op"]) : std::string()) + fields(event);
}

}  // namespace

std::string compactJson(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  return Json::writeString(builder, value);
}

std::string eventText(const Json::Value& event, bool colour) {
  char head[64];
  (void)std::snprintf(head, sizeof head, "%6llu %10.3f  ",
                      static_cast<unsigned long long>(event["seq"].asUInt64()),
                      event["t"].asDouble());
  const std::string kind = event["kind"].asString();
  std::string text = printable(whatHappened(event));
  const bool bad = kind == "error" || event["level"] == "error";
  if (colour && bad) {
    text = kRed + text + kPlain;
  }
  std::string shownKind = kind;
  shownKind.resize(std::max<std::size_t>(kind.size(), 8), ' ');
  return (colour ? kDim + std::string(head) + kPlain : std::string(head)) + shownKind + " " + text;
}

}  // namespace benchtv
