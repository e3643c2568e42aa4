// Decoded keys, kept by the process: decoding a key and its first use cost as much as several signatures.
// They go with the last provider handle of the process.
#pragma once

#include "key_sealing.h"
#include "rsa_key.h"

#include <memory>

namespace wincrypt {

// The key that this sealed form opens to. The cache knows a key only by everything that the sealing covers,
// so a row that was edited or moved misses it and fails like any other. Error: NTE_KEYSET_ENTRY_BAD.
std::shared_ptr<RsaPrivateKey const> openCached(Database const& database, ByteView context,
                                                SealedKey const& sealed);

// Makes a key that was just sealed known, so that its first use needn't open it.
void keepOpened(ByteView context, SealedKey const& sealed, std::shared_ptr<RsaPrivateKey const> key);

// Lets go of all of them. Those in use stay with their users.
void forgetOpened() noexcept;

} // namespace wincrypt
