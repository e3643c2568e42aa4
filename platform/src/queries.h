// Every statement that is kept prepared, with its text. docs/database.md tells the tables.
#pragma once

#include <cstddef>

namespace wincrypt {

enum class Query : std::size_t {
    begin,
    commit,
    rollback,
    storeByName,
    addStore,
    takePlace,
    nextCertificate,
    nextCertificateWithKey,
    nextCertificateWithName,
    nextCertificateByIdentity,
    certificateProperties,
    addCertificate,
    replaceProperties,
    setKeyInfo,
    setFriendlyName,
    deleteCertificate,
    containerByName,
    containerNameAfter,
    longestContainerName,
    addContainer,
    deleteContainer,
    deleteKeys,
    deleteKey,
    addKey,
    keyCertificate,
    setKeyCertificate,
    count
};

inline constexpr std::size_t queryCount = static_cast<std::size_t>(Query::count);

inline constexpr char const* queryText[queryCount] = {
    "BEGIN IMMEDIATE",
    "COMMIT",
    "ROLLBACK",
    "SELECT id FROM store WHERE name = ?1",
    "INSERT INTO store(name, next) VALUES(?1, 1)",
    "UPDATE store SET next = next + 1 WHERE id = ?1 RETURNING next - 1",
    "SELECT id, key_info, friendly_name, encoding FROM certificate WHERE id > ?1 AND id < ?2 ORDER BY id "
    "LIMIT 1",
    "SELECT id, key_info, friendly_name, encoding FROM certificate INDEXED BY certificate_key"
    " WHERE id > ?1 AND id < ?2 AND key_info IS NOT NULL ORDER BY id LIMIT 1",
    "SELECT id, key_info, friendly_name, encoding FROM certificate"
    " WHERE id > ?1 AND id < ?2 AND friendly_name IS NOT NULL ORDER BY id LIMIT 1",
    "SELECT id, key_info, friendly_name, encoding FROM certificate INDEXED BY certificate_identity"
    " WHERE identity = ?3 AND id > ?1 AND id < ?2 ORDER BY id LIMIT 1",
    "SELECT key_info, friendly_name FROM certificate WHERE id = ?1",
    "INSERT INTO certificate(id, identity, key_info, friendly_name, encoding) VALUES(?1, ?2, ?3, ?4, ?5)",
    "UPDATE certificate SET key_info = ?2, friendly_name = ?3 WHERE id = ?1 RETURNING id",
    "UPDATE certificate SET key_info = ?2 WHERE id = ?1 RETURNING id",
    "UPDATE certificate SET friendly_name = ?2 WHERE id = ?1 RETURNING id",
    "DELETE FROM certificate WHERE id = ?1 RETURNING id",
    "SELECT c.id, k.slot, k.flags, k.sealed_under, k.nonce, k.sealed FROM container c"
    " LEFT JOIN key k ON k.container = c.id WHERE c.name = ?1 ORDER BY k.slot",
    "SELECT name FROM container WHERE name > ?1 AND typeof(name) = 'text' ORDER BY name LIMIT 1",
    "SELECT max(length(CAST(name AS BLOB))) FROM container WHERE typeof(name) = 'text'",
    "INSERT INTO container(name) VALUES(?1) RETURNING id",
    "DELETE FROM container WHERE id = ?1",
    "DELETE FROM key WHERE container = ?1",
    "DELETE FROM key WHERE container = ?1 AND slot = ?2",
    "INSERT INTO key(container, slot, flags, sealed_under, nonce, sealed) VALUES(?1, ?2, ?3, ?4, ?5, ?6)",
    "SELECT certificate FROM key WHERE container = ?1 AND slot = ?2",
    "UPDATE key SET certificate = ?3 WHERE container = ?1 AND slot = ?2 RETURNING slot",
};

} // namespace wincrypt
