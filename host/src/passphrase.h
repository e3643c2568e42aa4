#pragma once

#include "secret_bytes.h"

#include <CLI/App.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace tvkstore {

// How a source's text begins.
constexpr std::string_view kPassphraseFile = "file:";
constexpr std::string_view kPassphraseVariable = "env:";

// Where the passphrase of encrypted input comes from: the option's file or environment variable, else the
// terminal.
class Passphrase {
public:
    void define(CLI::App& command);

    // The one for `object`, a file's name. From the option it is the same for all and read once. Throws
    // Failure.
    SecretBytes const& get(std::string const& object);

private:
    std::string source_;
    std::string askedFor_;
    std::optional<SecretBytes> known_;
};

} // namespace tvkstore
