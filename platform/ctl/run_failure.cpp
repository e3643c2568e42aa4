#include "run_failure.h"

#include "terminal_text.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <system_error>

namespace wincryptctl {
namespace {

struct KnownError {
    DWORD value;
    ExitCode exitCode;
    char const* text;
};

constexpr std::array knownErrors{
    KnownError{ERROR_PATH_NOT_FOUND, ExitCode::failed, "no such directory"},
    KnownError{ERROR_ACCESS_DENIED, ExitCode::refused, "access denied"},
    KnownError{ERROR_NOT_ENOUGH_MEMORY, ExitCode::failed, "out of memory"},
    KnownError{ERROR_DISK_FULL, ExitCode::failed, "disk full"},
    KnownError{ERROR_BUSY, ExitCode::failed, "in use by another process"},
    KnownError{ERROR_IO_DEVICE, ExitCode::failed, "the disk reports an error"},
    KnownError{ERROR_CANCELLED, ExitCode::refused, "cancelled"},
    KnownError{ERROR_REVISION_MISMATCH, ExitCode::failed, "the database was made by a newer release"},
    KnownError{ERROR_FILE_CORRUPT, ExitCode::damaged, "the database is damaged, or another program's"},
};

} // namespace

RunFailure::RunFailure(ExitCode exitCode, std::string const& message, std::vector<std::string> hints)
    : std::runtime_error(message), exitCode_(exitCode), hints_(std::move(hints)) {}

RunFailure layerFailure(std::string const& what, DWORD error) {
    for (KnownError const& known : knownErrors)
        if (known.value == error)
            return RunFailure(known.exitCode, what + ": " + known.text);
    char text[24];
    std::snprintf(text, sizeof text, "error 0x%lx", static_cast<unsigned long>(error));
    return RunFailure(ExitCode::failed, what + ": " + text);
}

RunFailure systemFailure(std::string const& object, int errorNumber) {
    bool const refused = errorNumber == EACCES || errorNumber == EPERM || errorNumber == EROFS;
    return RunFailure(refused ? ExitCode::refused : ExitCode::failed,
                      object + ": " + std::generic_category().message(errorNumber));
}

void report(RunFailure const& failure) {
    std::string text = "wincryptctl: error: " + printable(failure.what()) + '\n';
    for (std::string const& hint : failure.hints())
        text += "hint: " + printable(hint) + '\n';
    std::cerr << text << std::flush;
}

} // namespace wincryptctl
