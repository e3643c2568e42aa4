// Private keys at rest: AES-256-GCM, bound to where they belong.
#pragma once

#include "bytes.h"
#include "database.h"

#include <string>

namespace wincrypt {

struct SealedKey {
    Bytes sealedUnder; // which sealing key: the start of its SHA-256 value
    Bytes nonce;
    Bytes sealed; // ciphertext, then the 16 byte tag
};

// What a sealed key is bound to besides its bytes: elsewhere, it doesn't open.
Bytes sealingContext(std::string const& container, DWORD slot, DWORD flags);

// Seals under $CREDENTIALS_DIRECTORY/wincrypt-key where that exists, else under the key file beside the
// database. That is made for the first key; error NTE_KEYSET_ENTRY_BAD, logged, where it is missing and the
// database holds keys, which a new one would leave behind.
SealedKey sealKey(Database& database, ByteView context, ByteView clear);

// Whether the sealing key is at hand that the key was sealed under. Errors: those of a key file that is
// refused.
bool hasSealingKey(Database const& database, SealedKey const& key);

// Error: NTE_KEYSET_ENTRY_BAD when the key was altered or moved, or the sealing key isn't there; logged.
SecureBytes openKey(Database const& database, ByteView context, SealedKey const& key);

} // namespace wincrypt
