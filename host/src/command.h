#pragma once

#include "exit_code.h"
#include "session.h"

#include <CLI/App.hpp>

#include <functional>
#include <span>

namespace tvkstore {

// A command's work. It checks all arguments before it asks the session for anything of the module.
using Work = std::function<ExitCode(Session&)>;

struct Command {
    char const* name;
    char const* summary;

    // Adds the command's own options, and gives the work that reads them.
    Work (*define)(CLI::App& command);
};

// All commands, in the order of the help text.
std::span<Command const> commands();

} // namespace tvkstore
