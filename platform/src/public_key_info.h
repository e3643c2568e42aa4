// SubjectPublicKeyInfo (RFC 5280, 4.1.2.7) as bytes and as the published structure.
#pragma once

#include "bytes.h"

#include <wincrypt.h>

namespace wincrypt {

Bytes rsaPublicKeyInfo(ByteView rsaPublicKey); // from an RSAPublicKey

// AlgorithmIdentifier. Error: ERROR_INVALID_PARAMETER for text that is no object identifier.
Bytes encodeAlgorithm(char const* objectId, ByteView parameters);

Bytes encodePublicKeyInfo(CERT_PUBLIC_KEY_INFO const& info);

} // namespace wincrypt
