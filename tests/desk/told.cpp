#include "told.h"

#include <algorithm>
#include <cctype>
#include <regex>

#include "model/value.h"

namespace desk {

namespace {

std::string textOf(const Json::Value& value) {
  return value.isString() ? value.asString() : benchtv::jsonText(value);
}

// The field's text after a bar.
std::string barred(const Event& event, const char* field) { return "|" + textOf(event[field]); }

std::string result(const Json::Value& status) { return " -> " + textOf(status); }

std::string log(const Event& event) {
  static const std::regex kPid("PID of (mdnsd|airplaydemo): [1-9][0-9]*, time used: [0-9.]+$");
  static const std::regex kLine("([a-z_]+\\.cpp):[0-9]+:");
  std::string text = textOf(event["text"]);
  text = std::regex_replace(text, kPid, "PID of $1: PID, time used: SECONDS");
  text = std::regex_replace(text, kLine, "$1:LINE:");
  if (!event.isMember("level")) return text;
  const char letter = textOf(event["level"]).front();
  return std::string(1, static_cast<char>(std::toupper(letter))) + " " + text;
}

std::string bus(const Event& event) {
  const std::string op = textOf(event["op"]);
  if (op != "send") return "bus " + op + " " + textOf(event["src"]) + result(event["status"]);
  return "bus " + textOf(event["src"]) + barred(event, "ack") + barred(event, "dest") +
         barred(event, "cmd") + barred(event, "para") + result(event["status"]);
}

std::string setting(const Event& event) {
  return "setting " + textOf(event["key"]) + " = " + textOf(event["value"]) + " by " +
         textOf(event["by"]) + result(event["status"]);
}

std::string apm(const Event& event) {
  const std::string op = textOf(event["op"]);
  std::string line = "apm " + op + " " + textOf(event["app"]);
  if (op == "notifyAppEventMessage")
    return line + barred(event, "src") + barred(event, "dst") + barred(event, "msg");
  return line + result(event["result"]);
}

bool containsAny(const std::string& line, const std::vector<std::string>& texts) {
  return std::any_of(texts.begin(), texts.end(),
                     [&](const std::string& text) { return line.find(text) != std::string::npos; });
}

bool isOfService(const Event& event) {
  static const Expression kOthers[] = {
      "kind=process name!=mdnsd name!=airplaydemo",
      "kind=log source!=service",
      "kind=bus src!=AirPlayBridge",
      "kind=apm app!=AirPlayBridge",
      "kind=setting by=bench",
      "kind=setting by=set key!=torvo.sl2.str.source.app.status",
  };
  return std::none_of(std::begin(kOthers), std::end(kOthers),
                      [&](const Expression& other) { return other.matches(event); });
}

}  // namespace

Lines told(const Events& events) {
  Lines lines;
  for (const Event& event : events) {
    const std::string kind = textOf(event["kind"]);
    if (!isOfService(event)) continue;
    if (kind == "log") lines.push_back(log(event));
    if (kind == "bus") lines.push_back(bus(event));
    if (kind == "setting") lines.push_back(setting(event));
    if (kind == "apm") lines.push_back(apm(event));
    if (kind == "process")
      lines.push_back("process " + textOf(event["op"]) + " " + textOf(event["name"]));
  }
  return lines;
}

Lines without(const Lines& lines, const std::vector<std::string>& texts) {
  Lines rest;
  std::copy_if(lines.begin(), lines.end(), std::back_inserter(rest),
               [&](const std::string& line) { return !containsAny(line, texts); });
  return rest;
}

Lines only(const Lines& lines, const std::vector<std::string>& texts) {
  Lines rest;
  std::copy_if(lines.begin(), lines.end(), std::back_inserter(rest),
               [&](const std::string& line) { return containsAny(line, texts); });
  return rest;
}

Lines upTo(const Lines& lines, const std::string& last) {
  const auto found = std::find(lines.begin(), lines.end(), last);
  return Lines(lines.begin(), found == lines.end() ? found : found + 1);
}

}  // namespace desk
