#include "model/journal_line.h"

#include <cmath>
#include <cstdio>
#include <stdexcept>

#include "model/value.h"

namespace benchtv {
namespace {

constexpr std::int64_t kMicros = 1'000'000;

std::string secondsText(std::int64_t micros) {
  char text[32];
  std::snprintf(text, sizeof text, "%lld.%06lld", static_cast<long long>(micros / kMicros),
                static_cast<long long>(micros % kMicros));
  return text;
}

}  // namespace

std::string journalLine(std::uint64_t seq, std::int64_t micros, const std::string& kind,
                        const JournalFields& fields) {
  std::string line = "{\"seq\":" + std::to_string(seq) + ",\"t\":" + secondsText(micros) +
                     ",\"kind\":" + jsonText(kind);
  for (const auto& [name, value] : fields) {
    line += "," + jsonText(name) + ":" + jsonText(value);
  }
  return line += "}\n";
}

std::optional<JournalEntry> parseJournalLine(const std::string& line) {
  try {
    JournalEntry entry;
    entry.object = parseJson(line);
    if (!entry.object.isObject()) {
      return std::nullopt;
    }
    const Json::Value& seq = entry.object["seq"];
    const Json::Value& t = entry.object["t"];
    const Json::Value& kind = entry.object["kind"];
    if (!seq.isUInt64() || !t.isNumeric() || !kind.isString()) {
      return std::nullopt;
    }
    entry.seq = seq.asUInt64();
    entry.micros = std::llround(t.asDouble() * static_cast<double>(kMicros));
    entry.kind = kind.asString();
    return entry;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

}  // namespace benchtv
