#pragma once

#include "exit_code.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace tvkstore {

// Why a run ends: a message in lower case without a full stop, what may help, and the exit code.
class Failure : public std::runtime_error {
public:
    Failure(ExitCode exitCode, std::string const& message, std::vector<std::string> hints = {});

    ExitCode exitCode() const { return exitCode_; }
    std::vector<std::string> const& hints() const { return hints_; }

private:
    ExitCode exitCode_;
    std::vector<std::string> hints_;
};

// The failure of a call of the operating system on `object`: refused where permissions are the cause.
Failure systemFailure(std::string const& object, int errorNumber);

// Writes a failure to standard error, control characters made visible.
void report(Failure const& failure);

// Likewise what the user should know although the run goes on.
void warn(std::string const& message);

} // namespace tvkstore
