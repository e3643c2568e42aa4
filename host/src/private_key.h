#pragma once

#include "libcrypto_objects.h"
#include "passphrase.h"

#include <tvkcore/kry/tvkkrykey.h>

#include <string>
#include <string_view>

namespace tvkstore {

// The one private key in a file: PKCS#8 or the older RSA form, PEM or DER, encrypted or not. Throws Failure.
CryptoObject<EVP_PKEY> readPrivateKeyFile(std::string const& path, Passphrase& passphrase);

// That of one PEM block; `object` names it in messages.
CryptoObject<EVP_PKEY> decodePrivateKey(std::string_view pem, std::string const& object,
                                        Passphrase& passphrase);

// The SubjectPublicKeyInfo in DER; empty when there is no key or libcrypto can't write it.
std::string publicKeyOf(EVP_PKEY const* key);

// The key as the key store takes it in. Throws Failure for another kind than RSA; `object` names it.
TVKKRYKey keyInClear(EVP_PKEY const& key, std::string const& object);

} // namespace tvkstore
