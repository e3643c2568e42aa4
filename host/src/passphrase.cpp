#include "passphrase.h"

#include <string_view>

namespace tvkstore {

namespace {

std::string checkSource(std::string const& source) {
    for (std::string_view const kind : {kPassphraseFile, kPassphraseVariable}) {
        if (source.starts_with(kind) && source.size() > kind.size()) {
            return "";
        }
    }
    return '"' + source + "\" is neither file:PATH nor env:NAME";
}

} // namespace

void Passphrase::define(CLI::App& command) {
    command
        .add_option("--passphrase-source", source_,
                    "where the passphrase of encrypted files is: file:PATH or env:NAME")
        ->type_name("SOURCE")
        ->check(checkSource);
}

} // namespace tvkstore
