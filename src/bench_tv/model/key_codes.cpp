#include "model/key_codes.h"

#include <linux/input-event-codes.h>

#include <algorithm>
#include <cctype>
#include <charconv>

namespace benchtv {
namespace {

constexpr char kPrefix[] = "KEY_";

struct Row {
  const char* name;
  std::int32_t code;
};

constexpr Row kRows[] = {
#include "bench_tv/key_names.inc"
};

std::optional<std::int32_t> numberOf(const std::string& text) {
  std::int32_t number = -1;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  if (result.ec != std::errc() || result.ptr != end || number < 0) {
    return std::nullopt;
  }
  return number;
}

}  // namespace

std::optional<std::int32_t> keyCode(const std::string& key) {
  std::string name = key;
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  // A lone digit is a code: the digit keys want their whole name.
  if (const auto code = numberOf(key))
    return *code <= KEY_MAX ? code : std::optional<std::int32_t>();
  if (name.rfind(kPrefix, 0) != 0) {
    name = kPrefix + name;
  }
  for (const Row& row : kRows) {
    if (name == row.name) {
      return row.code;
    }
  }
  return std::nullopt;
}

std::string noSuchKey(const std::string& key) {
  return "no key \"" + key +
         "\": a key is a name of the Linux input event codes, such as KEY_ENTER or VOLUMEUP, or a "
         "number from 0 to " +
         std::to_string(KEY_MAX);
}

}  // namespace benchtv
