#include "descriptors.h"

#include "failure.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tvkstore {

namespace {

bool isSameFile(int file, struct stat const& other) {
    struct stat status {};
    return ::fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_dev == other.st_dev &&
           status.st_ino == other.st_ino;
}

} // namespace

int openForReading(std::string const& path) {
    int const file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        throw systemFailure(path, errno);
    }
    return file;
}

int openStandardInput() { return STDIN_FILENO; }

bool closeFile(int file) noexcept { return ::close(file) == 0; }

std::size_t readPart(int file, char* bytes, std::size_t size, std::string const& object) {
    for (;;) {
        ssize_t const count = ::read(file, bytes, size);
        if (count >= 0) {
            return static_cast<std::size_t>(count);
        }
        if (errno != EINTR) {
            throw systemFailure(object, errno);
        }
    }
}

void writeAll(int file, std::string_view bytes, std::string const& object) {
    while (!bytes.empty()) {
        ssize_t const count = ::write(file, bytes.data(), bytes.size());
        if (count >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            throw systemFailure(object, errno);
        }
    }
}

bool isTerminal(int file) { return ::isatty(file) == 1; }

bool canRewriteLine(int file) { return isTerminal(file); }

bool isSameFile(int file, int other) {
    struct stat status {};
    return ::fstat(other, &status) == 0 && isSameFile(file, status);
}

bool isSameFile(int file, std::string const& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && isSameFile(file, status);
}

} // namespace tvkstore
