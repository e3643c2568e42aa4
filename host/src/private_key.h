#pragma once

#include "failure.h"
#include "passphrase.h"
#include "pem.h"

#include <tvkcore/kry/tvkkrykey.h>

#include <string>
#include <string_view>

namespace tvkstore {

// An RSA key as the key store takes it in.
struct PrivateKey {
    TVKKRYKey key;         // in clear
    std::string publicKey; // SubjectPublicKeyInfo, DER: equal keys have equal bytes
};

// The one private key in a file: PKCS#8 or the older RSA form, PEM or DER, encrypted or not. Throws Failure,
// also for another kind of key than RSA.
PrivateKey readPrivateKeyFile(std::string const& path, Passphrase& passphrase);

// That of one PEM block; `object` names it in messages.
PrivateKey decodePrivateKey(PemBlock const& block, std::string const& object, Passphrase& passphrase);

// That of a file in DER.
PrivateKey decodeDerPrivateKey(std::string_view der, std::string const& object, Passphrase& passphrase);

// What decoding throws for bytes that are none.
Failure noPrivateKey(std::string const& object);

} // namespace tvkstore
