#pragma once

#include "database.h"
#include "output.h"

#include "exit_code.h"

#include <CLI/App.hpp>

#include <functional>

namespace wincryptctl {

// The options that go with every command, and where its result goes.
struct Run {
    wincrypt::Scope scope = wincrypt::Scope::user;
    bool json = false;
    Output output{};
};

// A command's work. It checks all arguments before it touches anything.
using Work = std::function<ExitCode(Run&)>;

// Each adds the command's own options, and gives the work that reads them.
Work defineContainers(CLI::App& command);
Work defineOrphans(CLI::App& command);
Work defineCheck(CLI::App& command);
Work defineBackup(CLI::App& command);

} // namespace wincryptctl
