// The hash algorithms of the layer.
#pragma once

#include "bytes.h"
#include "libcrypto.h"

#include <wincrypt.h>

namespace wincrypt {

struct DigestAlgorithm {
    ALG_ID id;
    char const* name;
    std::size_t size;
    ByteView
        prefix; // of a DigestInfo (RFC 8017, 9.2, note 1), before the value; empty: the bare value is signed
};

DigestAlgorithm const* findDigest(ALG_ID id) noexcept; // null when it is unknown

// libcrypto's implementation, looked up once a process. Error: NTE_FAIL when it has none.
EVP_MD const* implementationOf(DigestAlgorithm const& algorithm);

Bytes digest(ALG_ID id, std::initializer_list<ByteView> parts);

} // namespace wincrypt
