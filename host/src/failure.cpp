#include "failure.h"

#include "text.h"

#include <cerrno>
#include <iostream>
#include <system_error>

namespace tvkstore {

Failure::Failure(ExitCode exitCode, std::string const& message, std::vector<std::string> hints)
    : std::runtime_error(message), exitCode_(exitCode), hints_(std::move(hints)) {}

Failure systemFailure(std::string const& object, int errorNumber) {
    bool const refused = errorNumber == EACCES || errorNumber == EPERM || errorNumber == EROFS;
    return Failure(refused ? ExitCode::refused : ExitCode::failed,
                   object + ": " + std::generic_category().message(errorNumber));
}

void report(Failure const& failure) {
    std::string text = "tvkstore: error: " + printable(failure.what()) + '\n';
    for (std::string const& hint : failure.hints()) {
        text += "hint: " + printable(hint) + '\n';
    }
    std::cerr << text << std::flush;
}

void warn(std::string const& message) {
    std::cerr << "tvkstore: warning: " + printable(message) + '\n' << std::flush;
}

} // namespace tvkstore
