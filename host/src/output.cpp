#include "output.h"

#include "failure.h"

#include <cerrno>
#include <unistd.h>

namespace tvkstore {

namespace {

constexpr std::size_t kBufferSize = 65536;
constexpr char kStandardOutput[] = "standard output";

} // namespace

ByteSink::~ByteSink() = default;

void writeAll(int descriptor, std::string_view bytes, std::string const& object) {
    while (!bytes.empty()) {
        ssize_t const count = ::write(descriptor, bytes.data(), bytes.size());
        if (count >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            throw systemFailure(object, errno);
        }
    }
}

void Output::write(std::string_view bytes) {
    buffer_ += bytes;
    if (buffer_.size() >= kBufferSize) {
        flush();
    }
}

void Output::writeSecret(std::string_view bytes) {
    flush();
    writeAll(STDOUT_FILENO, bytes, kStandardOutput);
}

void Output::finish() {
    flush();
    if (::close(STDOUT_FILENO) != 0) {
        throw systemFailure(kStandardOutput, errno);
    }
}

bool Output::isTerminal() const { return ::isatty(STDOUT_FILENO) == 1; }

void Output::flush() {
    writeAll(STDOUT_FILENO, buffer_, kStandardOutput);
    buffer_.clear();
}

} // namespace tvkstore
