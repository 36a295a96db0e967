#include "bus_bytes.h"

namespace host_platform {

namespace {

// What a first byte says of its character: how many bytes follow, and the smallest code point that
// needs so many.
struct Lead {
  unsigned mask;
  unsigned pattern;
  std::size_t following;
  unsigned smallest;
};

constexpr Lead kLeads[] = {
    {0x80, 0x00, 0, 0x1},  // NUL is none
    {0xE0, 0xC0, 1, 0x80},
    {0xF0, 0xE0, 2, 0x800},
    {0xF8, 0xF0, 3, 0x10000},
};

constexpr bool isSurrogate(unsigned point) { return point >= 0xD800 && point <= 0xDFFF; }

// The length of the character at |at|, 0 when there is none.
std::size_t characterLength(const std::string& text, std::size_t at) {
  const unsigned first = static_cast<unsigned char>(text[at]);
  for (const Lead& lead : kLeads) {
    if ((first & lead.mask) != lead.pattern) {
      continue;
    }
    unsigned point = first & ~lead.mask;
    for (std::size_t i = 1; i <= lead.following; ++i) {
      const unsigned next = at + i < text.size() ? static_cast<unsigned char>(text[at + i]) : 0;
      if ((next & 0xC0) != 0x80) {
        return 0;
      }
      point = point << 6 | (next & 0x3F);
    }
    return point < lead.smallest || point > 0x10FFFF || isSurrogate(point) ? 0 : 1 + lead.following;
  }
  return 0;
}

}  // namespace

bool isBusText(const std::string& text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = characterLength(text, at);
    if (length == 0) {
      return false;
    }
    at += length;
  }
  return true;
}

}  // namespace host_platform
