// PrivateKeyInfo (RFC 5208; RFC 5958, which it became) that holds an RSA key.
#pragma once

#include "bytes.h"

namespace wincrypt {

// The RSAPrivateKey in it. Errors: NTE_BAD_DATA, NTE_BAD_ALGID for another kind of key.
ByteView readPrivateKeyInfo(ByteView encoding);

SecureBytes writePrivateKeyInfo(ByteView rsaPrivateKey);

} // namespace wincrypt
