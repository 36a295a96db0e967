// Texts on the private bus: bytes, because a D-Bus string must be valid UTF-8 and the set's need
// not.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace host_platform {

using Bytes = std::vector<std::uint8_t>;

inline Bytes toBytes(const std::string& text) { return {text.begin(), text.end()}; }

inline std::string toText(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

// Whether |text| may be a D-Bus string, as names and keys are: valid UTF-8 without NUL.
bool isBusText(const std::string& text);

}  // namespace host_platform
