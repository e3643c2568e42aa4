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
    for (const char byte : text)
        line += static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F ? '?' : byte;
}

} // namespace

void logLine(std::string_view object, std::string_view cause) noexcept {
    const char* target = ::secure_getenv("WINCRYPT_LOG");
    if (target == nullptr || *target == '\0')
        return;
    const int savedErrno = errno;
    try {
        std::string line = "wincrypt: ";
        appendPrintable(line, object);
        line += ": ";
        appendPrintable(line, cause);
        line += '\n';
        const bool toStderr = std::strcmp(target, "stderr") == 0;
        const int file =
            toStderr ? STDERR_FILENO : ::open(target, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
        if (file >= 0) {
            // One write per line, so that lines of several threads and processes don't mix.
            [[maybe_unused]] const ssize_t written = ::write(file, line.data(), line.size());
            if (!toStderr)
                ::close(file);
        }
    } catch (const std::exception&) {
        // A log line is not worth failing for.
    }
    errno = savedErrno;
}

} // namespace wincrypt
