// Journal lines: one JSON object each, and how it is put together and taken apart.
#pragma once

#include <json/value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace benchtv {

// The journal's file in a run folder.
inline constexpr char kJournalFile[] = "journal.jsonl";

// In the order in which they are to stand.
using JournalFields = std::vector<std::pair<std::string, Json::Value>>;

struct JournalEntry {
  std::uint64_t seq = 0;
  std::int64_t micros = 0;  // of the set's monotonic clock
  std::string kind;
  Json::Value object;  // the whole line
};

// With its line feed. "seq", "t" and "kind" come first, in that order and without blanks, so that
// the kind of a line can be told without parsing it.
std::string journalLine(std::uint64_t seq, std::int64_t micros, const std::string& kind,
                        const JournalFields& fields);

// Nothing where |line| is no line of a journal.
std::optional<JournalEntry> parseJournalLine(const std::string& line);

}  // namespace benchtv
