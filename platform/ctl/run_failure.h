#pragma once

#include "exit_code.h"

#include <windows.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace wincryptctl {

// Why a run ends: a message in lower case without a full stop, what may help, and the exit code.
class RunFailure : public std::runtime_error {
public:
    RunFailure(ExitCode exitCode, std::string const& message, std::vector<std::string> hints = {});

    ExitCode exitCode() const { return exitCode_; }
    std::vector<std::string> const& hints() const { return hints_; }

private:
    ExitCode exitCode_;
    std::vector<std::string> hints_;
};

// Of a published error value, whose path and cause stand in the layer's log.
RunFailure layerFailure(std::string const& what, DWORD error);

// Of a call of the operating system, with the number that it left in errno.
RunFailure systemFailure(std::string const& object, int errorNumber);

// Writes a failure to standard error, control characters made visible.
void report(RunFailure const& failure);

} // namespace wincryptctl
