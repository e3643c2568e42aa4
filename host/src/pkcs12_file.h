#pragma once

#include "passphrase.h"
#include "private_key.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tvkstore {

struct Pkcs12Certificate {
    std::string encoding;     // DER
    std::string friendlyName; // may be empty
};

struct Pkcs12Content {
    std::vector<Pkcs12Certificate> certificates; // that of the key first
    std::optional<PrivateKey> key;
};

// What a PKCS#12 file (RFC 7292) holds. The passphrase is asked for when the empty one doesn't fit. Empty for
// bytes that are no such file; throws Failure, refused, for a passphrase that doesn't fit. `object` names the
// file in messages.
std::optional<Pkcs12Content> readPkcs12File(std::string_view bytes, std::string const& object,
                                            Passphrase& passphrase);

} // namespace tvkstore
