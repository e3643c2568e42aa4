#include "input.h"

#include "argument_checks.h"
#include "failure.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tvkstore {

namespace {

bool isSameFile(int descriptor, struct stat const& other) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_dev == other.st_dev &&
           status.st_ino == other.st_ino;
}

std::string sizeText(std::size_t bytes) {
    constexpr std::size_t mebibyte = std::size_t{1} << 20;
    return bytes % mebibyte == 0 ? std::to_string(bytes / mebibyte) + " MiB"
                                 : std::to_string(bytes) + " bytes";
}

} // namespace

Input::Input(std::string const& path)
    : name_(path.empty() ? "standard input" : path),
      file_(path.empty() ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC)), owned_(!path.empty()) {
    if (file_ < 0) {
        throw systemFailure(name_, errno);
    }
}

Input::~Input() {
    if (owned_) {
        ::close(file_);
    }
    // It may have been a key.
    tvk_secure_wipe(part_.data(), part_.size());
}

std::string_view Input::read() {
    for (;;) {
        ssize_t const count = ::read(file_, part_.data(), part_.size());
        if (count >= 0) {
            return {part_.data(), static_cast<std::size_t>(count)};
        }
        if (errno != EINTR) {
            throw systemFailure(name_, errno);
        }
    }
}

template <typename Content, typename Append>
Content Input::readAllInto(std::size_t limit, Append const& append) {
    Content content;
    for (;;) {
        std::string_view const part = read();
        if (part.empty()) {
            return content;
        }
        append(content, part);
        if (content.size() > limit) {
            throw Failure(ExitCode::failed, name_ + ": larger than " + sizeText(limit));
        }
    }
}

std::string Input::readAll(std::size_t limit) {
    return readAllInto<std::string>(limit,
                                    [](std::string& content, std::string_view part) { content += part; });
}

SecretBytes Input::readAllSecret(std::size_t limit) {
    return readAllInto<SecretBytes>(
        limit, [](SecretBytes& content, std::string_view part) { append(content, part); });
}

bool Input::isFile(int descriptor) const {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && isSameFile(file_, status);
}

bool Input::isFile(std::string const& path) const {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && isSameFile(file_, status);
}

void InputOption::define(CLI::App& command) {
    command.add_option("--in", path_, "read a file instead of standard input")
        ->type_name("FILE")
        ->check(checkNotEmpty);
}

} // namespace tvkstore
