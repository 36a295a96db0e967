// Refusal: what a person asked for makes no sense; the text says what to do.
#pragma once

#include <stdexcept>

namespace benchtv {

struct Refusal : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace benchtv
