#include "log.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace wincrypt {
namespace {

// A path may hold any byte; one line stays one line.
void appendPrintable(std::string& line, std::string_view text) {
    for (char const byte : text)
        line += static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F ? '?' : byte;
}

} // namespace

void logLine(std::string_view object, std::string_view cause) noexcept {
    char const* target = ::secure_getenv("WINCRYPT_LOG");
    if (target == nullptr || *target == '\0')
        return;
    int const savedErrno = errno;
    try {
        std::string line = "wincrypt: ";
        appendPrintable(line, object);
        line += ": ";
        appendPrintable(line, cause);
        line += '\n';
        bool const toStderr = std::strcmp(target, "stderr") == 0;
        int const file =
            toStderr ? STDERR_FILENO : ::open(target, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
        if (file >= 0) {
            // One write per line, so that lines of several threads and processes don't mix.
            [[maybe_unused]] ssize_t const written = ::write(file, line.data(), line.size());
            if (!toStderr)
                ::close(file);
        }
    } catch (std::exception const&) {
        // A log line is not worth failing for.
    }
    errno = savedErrno;
}

} // namespace wincrypt
