#pragma once

#include "secret_bytes.h"

#include <CLI/App.hpp>

#include <optional>
#include <string>

namespace tvkstore {

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
