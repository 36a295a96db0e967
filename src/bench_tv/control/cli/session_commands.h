// The commands of benchtv that play a session: phone, ui, power, key, app.
#pragma once

#include <CLI/App.hpp>
#include <string>

namespace benchtv {

// As addCommands().
void addSessionCommands(CLI::App& app, const std::string& name);

}  // namespace benchtv
