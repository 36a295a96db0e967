// The commands of benchtv.
#pragma once

#include <CLI/App.hpp>
#include <stdexcept>
#include <string>

namespace benchtv {

// The command line makes no sense, in a way that only the command can tell.
class UsageError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Adds every command to |app|; they run while it parses, and throw what went wrong. |name| is the
// bench TV to work on, and must outlive |app|.
void addCommands(CLI::App& app, const std::string& name);

}  // namespace benchtv
