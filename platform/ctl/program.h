#pragma once

#include "exit_code.h"

namespace wincryptctl {

// Reads the command line and runs its command. Whatever fails is reported on standard error.
ExitCode runProgram(int argc, char const* const* argv);

} // namespace wincryptctl
