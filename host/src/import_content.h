#pragma once

#include "passphrase.h"

#include <tvkcore/kry/tvkkrykey.h>

#include <optional>
#include <string>
#include <vector>

namespace tvkstore {

// A certificate that is to go into a store.
struct ImportedCertificate {
    std::string place;                 // for messages: "ca.pem: certificate 3"
    std::string label;                 // its friendly name in the file, else its common name
    std::string encoding;              // DER
    std::optional<TVKKRYKey> key = {}; // in clear
};

struct ImportContent {
    std::vector<ImportedCertificate> certificates;
    std::size_t damaged = 0; // parts of the files that hold certificates but can't be read
};

// All certificates of the files (PEM, DER, PKCS#12), each private key with the one that it belongs to: those
// in the files and that of the key file, which may be empty. A damaged part of a file is reported on standard
// error and passed over. Throws Failure: for a file that holds no certificate, for a key that can't be read
// or is no RSA key, and, usage, for one that doesn't belong to exactly one of the certificates.
ImportContent readImport(std::vector<std::string> const& files, std::string const& keyFile,
                         Passphrase& passphrase);

} // namespace tvkstore
