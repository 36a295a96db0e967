// Key codes: the names of the remote control's keys, which are those of the Linux input events.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace benchtv {

// |key| is a name such as "KEY_ENTER", "ENTER" or "enter", or a code such as "28". Nothing where
// there is no such name, or the number is no code.
std::optional<std::int32_t> keyCode(const std::string& key);

// What to tell somebody who gave |key|, which is none.
std::string noSuchKey(const std::string& key);

}  // namespace benchtv
