// Told: the journal as lines of text, for comparing whole accounts of what happened.
#pragma once

#include <string>
#include <vector>

#include "desk_tv.h"

namespace desk {

using Lines = std::vector<std::string>;

// What the service, and the set at its request, did and said, a line each: letter of the level and
// text of a log line, or what was called. Numbers that differ from run to run are words: PID,
// SECONDS, LINE.
Lines told(const Events& events);

// The lines that contain none of |texts|, or any of them.
Lines without(const Lines& lines, const std::vector<std::string>& texts);
Lines only(const Lines& lines, const std::vector<std::string>& texts);

// The lines to the first that is |last|, with it.
Lines upTo(const Lines& lines, const std::string& last);

}  // namespace desk
