#include "passphrase.h"

#include "bytes.h"
#include "failure.h"
#include "terminal.h"

#include <cstdlib>
#include <string_view>

namespace tvkstore {

namespace {

constexpr std::string_view kFile = "file:";
constexpr std::string_view kEnvironment = "env:";

std::string checkSource(std::string const& source) {
    for (std::string_view const kind : {kFile, kEnvironment}) {
        if (source.starts_with(kind) && source.size() > kind.size()) {
            return "";
        }
    }
    return '"' + source + "\" is neither file:PATH nor env:NAME";
}

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

void Passphrase::define(CLI::App& command) {
    command
        .add_option("--passphrase-source", source_,
                    "where the passphrase of encrypted files is: file:PATH or env:NAME")
        ->type_name("SOURCE")
        ->check(checkSource);
}

SecretBytes const& Passphrase::get(std::string const& object) {
    if (source_.empty()) {
        if (!known_ || askedFor_ != object) {
            known_ = askPassphrase(object);
            askedFor_ = object;
        }
    } else if (!known_) {
        known_ = source_.starts_with(kFile) ? fromFile(source_.substr(kFile.size()))
                                            : fromEnvironment(source_.substr(kEnvironment.size()));
    }
    return *known_;
}

} // namespace tvkstore
