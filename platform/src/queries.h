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
    addKey,
    anyKey,
    keyCertificate,
    setKeyCertificate,
    everyStore,
    certificateRows,
    certificateRowsByIndex,
    certificateAt,
    everyKeyInfo,
    containerRows,
    containerRowsByIndex,
    containerAt,
    keyRows,
    keyRowsByIndex,
    keyAt,
    integrityCheck,
    foreignKeyCheck,
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
    "LIMIT ?3",
    "SELECT id, key_info, friendly_name, encoding FROM certificate INDEXED BY certificate_key"
    " WHERE id > ?1 AND id < ?2 AND key_info IS NOT NULL ORDER BY id LIMIT ?3",
    "SELECT id, key_info, friendly_name, encoding FROM certificate"
    " WHERE id > ?1 AND id < ?2 AND friendly_name IS NOT NULL ORDER BY id LIMIT ?3",
    "SELECT id, key_info, friendly_name, encoding FROM certificate INDEXED BY certificate_identity"
    " WHERE identity = ?4 AND id > ?1 AND id < ?2 ORDER BY id LIMIT ?3",
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
    "INSERT OR IGNORE INTO container(name) VALUES(?1)",
    "DELETE FROM container WHERE id = ?1",
    "DELETE FROM key WHERE container = ?1",
    "INSERT OR REPLACE INTO key(container, slot, flags, sealed_under, nonce, sealed)"
    " SELECT id, ?2, ?3, ?4, ?5, ?6 FROM container WHERE name = ?1",
    "SELECT 1 FROM key LIMIT 1",
    "SELECT certificate FROM key WHERE container = ?1 AND slot = ?2",
    "UPDATE key SET certificate = ?3 WHERE container = ?1 AND slot = ?2 RETURNING slot",
    "SELECT id, name FROM store ORDER BY id",
    // The rows of each table by two roads, so that where one is damaged the other still leads to them.
    "SELECT id FROM certificate NOT INDEXED ORDER BY id",
    "SELECT id FROM certificate INDEXED BY certificate_identity ORDER BY identity",
    "SELECT identity, key_info, friendly_name, encoding FROM certificate WHERE id = ?1",
    "SELECT key_info FROM certificate NOT INDEXED WHERE key_info IS NOT NULL",
    "SELECT id FROM container NOT INDEXED ORDER BY id",
    "SELECT id FROM container INDEXED BY sqlite_autoindex_container_1 ORDER BY name",
    "SELECT CASE typeof(name) WHEN 'text' THEN name END FROM container WHERE id = ?1",
    "SELECT rowid FROM key NOT INDEXED ORDER BY rowid",
    "SELECT rowid FROM key INDEXED BY sqlite_autoindex_key_1 ORDER BY container, slot",
    "SELECT container, slot, flags, sealed_under, nonce, sealed FROM key WHERE rowid = ?1",
    "PRAGMA integrity_check(20)",
    "PRAGMA foreign_key_check",
};

} // namespace wincrypt
