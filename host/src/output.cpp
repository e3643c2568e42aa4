#include "output.h"

#include "descriptors.h"
#include "failure.h"

#include <cerrno>

namespace tvkstore {

namespace {

constexpr std::size_t kBufferSize = 65536;
constexpr char kName[] = "standard output";

} // namespace

ByteSink::~ByteSink() = default;

void Output::write(std::string_view bytes) {
    buffer_ += bytes;
    if (buffer_.size() >= kBufferSize) {
        flush();
    }
}

void Output::writeSecret(std::string_view bytes) {
    flush();
    writeAll(kStandardOutput, bytes, kName);
}

void Output::finish() {
    flush();
    if (!closeFile(kStandardOutput)) {
        throw systemFailure(kName, errno);
    }
}

bool Output::isTerminal() const { return tvkstore::isTerminal(kStandardOutput); }

void Output::flush() {
    writeAll(kStandardOutput, buffer_, kName);
    buffer_.clear();
}

} // namespace tvkstore
