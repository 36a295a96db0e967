// Record: what travels on the command bus.
#pragma once

#include <optional>
#include <string>

namespace benchtv {

// A null string, which is not the empty one, is no value.
using Field = std::optional<std::string>;

struct Record {
  Field src;
  Field ack;
  Field dest;
  Field cmd;
  Field para;
};

}  // namespace benchtv
