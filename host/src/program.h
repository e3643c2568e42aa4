#pragma once

#include "exit_code.h"

namespace tvkstore {

// Reads the command line and runs its command. Whatever fails is reported on standard error.
ExitCode runProgram(int argc, char const* const* argv);

} // namespace tvkstore
