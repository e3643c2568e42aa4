// Key containers in the database.
#pragma once

#include "database.h"
#include "key_sealing.h"

#include <wincrypt.h>

#include <optional>
#include <string>

namespace wincrypt {

struct StoredKey {
    DWORD slot = 0;
    DWORD flags = 0; // CRYPT_EXPORTABLE or 0
    SealedKey sealed;
};

struct StoredContainer {
    std::int64_t id = 0;
    std::optional<StoredKey> keys[2]; // by slot, the exchange key first

    static std::size_t placeOf(DWORD slot) noexcept { return slot == AT_KEYEXCHANGE ? 0 : 1; }
};

// One query. Nothing when there is no such container.
std::optional<StoredContainer> loadContainer(Database& database, std::string const& name);

std::optional<std::string> storedContainerAfter(Database& database, std::string const& name);
std::size_t longestStoredName(Database& database); // octets; 0 when there is no container

// Durable with its first key at the latest: a loss of power may take an empty one. Error: NTE_EXISTS.
void storeContainer(Database& database, std::string const& name);

bool removeContainer(Database& database, std::string const& name); // false when there is none

// Puts the key in its slot, in place of another and without that one's certificate; the container of the
// default name is made by this when `makeContainer` says so. Error: NTE_BAD_KEYSET when the container is
// gone.
void storeKey(Database& database, std::string const& name, StoredKey const& key, bool makeContainer);

std::optional<Bytes> storedCertificate(Database& database, std::string const& name, DWORD slot);
bool storeCertificate(Database& database, std::string const& name, DWORD slot, ByteView certificate);

} // namespace wincrypt
