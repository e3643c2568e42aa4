#include "passphrase.h"

#include "bytes.h"
#include "failure.h"
#include "passphrase_prompt.h"

#include <cstdlib>

namespace tvkstore {

namespace {

// The first line.
SecretBytes fromFile(std::string const& path) {
    SecretBytes content = readSecretFile(path);
    std::size_t const end = bytesOf(content).find_first_of("\r\n");
    if (end != std::string_view::npos) {
        content.resize(end);
    }
    return content;
}

SecretBytes fromEnvironment(std::string const& name) {
    char const* const value = std::getenv(name.c_str());
    if (value == nullptr) {
        throw Failure(ExitCode::usage, "--passphrase-source: no variable " + name + " in the environment");
    }
    SecretBytes passphrase;
    append(passphrase, value);
    return passphrase;
}

} // namespace

SecretBytes const& Passphrase::get(std::string const& object) {
    if (source_.empty()) {
        if (!known_ || askedFor_ != object) {
            known_ = askPassphrase(object);
            askedFor_ = object;
        }
    } else if (!known_) {
        known_ = source_.starts_with(kPassphraseFile)
                     ? fromFile(source_.substr(kPassphraseFile.size()))
                     : fromEnvironment(source_.substr(kPassphraseVariable.size()));
    }
    return *known_;
}

} // namespace tvkstore
