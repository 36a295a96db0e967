// Parts of a history, put together and taken apart.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "history.h"

using Entries = History::Entries;

inline Entries operator+(Entries one, const Entries& other) {
  one.insert(one.end(), other.begin(), other.end());
  return one;
}

// |round|, |times| times over.
inline Entries repeated(int times, const Entries& round) {
  Entries all;
  for (int i = 0; i < times; ++i) {
    all = all + round;
  }
  return all;
}

// What stands in |entries| from the first |from| on and before the first |to| after it.
inline Entries between(const Entries& entries, std::string_view from, std::string_view to) {
  const auto first = std::find(entries.begin(), entries.end(), from);
  return {first, std::find(first, entries.end(), to)};
}

// All but the first |count|.
inline Entries without(std::size_t count, const Entries& entries) {
  return {entries.begin() + static_cast<std::ptrdiff_t>(std::min(count, entries.size())),
          entries.end()};
}

inline std::string firstOf(const Entries& entries) {
  return entries.empty() ? "nothing" : entries.front();
}

inline std::string lastOf(const Entries& entries) {
  return entries.empty() ? "nothing" : entries.back();
}
