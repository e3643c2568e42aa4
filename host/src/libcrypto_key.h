#pragma once

#include "private_key.h"

#include <openssl/evp.h>

#include <string>

namespace tvkstore {

// The SubjectPublicKeyInfo in DER; empty when there is no key or libcrypto can't write it.
std::string publicKeyOf(EVP_PKEY const* key);

// Throws Failure for another kind than RSA; `object` names the key in messages.
PrivateKey privateKeyOf(EVP_PKEY const& key, std::string const& object);

} // namespace tvkstore
