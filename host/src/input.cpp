#include "input.h"

#include "argument_checks.h"
#include "descriptors.h"
#include "failure.h"

namespace tvkstore {

namespace {

std::string sizeText(std::size_t bytes) {
    constexpr std::size_t mebibyte = std::size_t{1} << 20;
    return bytes % mebibyte == 0 ? std::to_string(bytes / mebibyte) + " MiB"
                                 : std::to_string(bytes) + " bytes";
}

} // namespace

Input::Input(std::string const& path)
    : name_(path.empty() ? "standard input" : path),
      file_(path.empty() ? openStandardInput() : openForReading(path)), owned_(!path.empty()) {}

Input::~Input() {
    if (owned_) {
        closeFile(file_);
    }
    // It may have been a key.
    tvk_secure_wipe(part_.data(), part_.size());
}

std::string_view Input::read() { return {part_.data(), readPart(file_, part_.data(), part_.size(), name_)}; }

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

bool Input::isFile(int descriptor) const { return isSameFile(file_, descriptor); }

bool Input::isFile(std::string const& path) const { return isSameFile(file_, path); }

void InputOption::define(CLI::App& command) {
    command.add_option("--in", path_, "read a file instead of standard input")
        ->type_name("FILE")
        ->check(checkNotEmpty);
}

} // namespace tvkstore
