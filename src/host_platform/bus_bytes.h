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

}  // namespace host_platform
