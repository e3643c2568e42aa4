#include "schema.h"

#include "boundary.h"

#include <array>

namespace wincrypt {
namespace {

constexpr std::int64_t applicationId = 0x57435054; // "WCPT"

// Step i leads from version i to version i + 1. Steps are only ever added.
constexpr std::array migrations = {
    R"sql(
CREATE TABLE store(
    id INTEGER PRIMARY KEY,
    name TEXT NOT NULL UNIQUE COLLATE NOCASE,
    next INTEGER NOT NULL);
CREATE TABLE certificate(
    id INTEGER PRIMARY KEY,
    identity INTEGER NOT NULL,
    key_info BLOB,
    friendly_name BLOB,
    encoding BLOB NOT NULL);
CREATE INDEX certificate_identity ON certificate(identity);
CREATE INDEX certificate_key ON certificate(id) WHERE key_info IS NOT NULL;
CREATE TABLE container(
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    name TEXT NOT NULL UNIQUE);
CREATE TABLE key(
    container INTEGER NOT NULL REFERENCES container(id),
    slot INTEGER NOT NULL,
    flags INTEGER NOT NULL,
    sealed_under BLOB NOT NULL,
    nonce BLOB NOT NULL,
    sealed BLOB NOT NULL,
    certificate BLOB,
    PRIMARY KEY(container, slot));
)sql",
};

constexpr auto currentVersion = static_cast<std::int64_t>(migrations.size());

} // namespace

namespace {

// What is read here has to stand in one transaction.
Format formatOf(Connection& connection) {
    std::int64_t const application = connection.number("PRAGMA application_id");
    std::int64_t const version = connection.number("PRAGMA user_version");
    if (application == 0 && version == 0 && connection.number("SELECT count(*) FROM sqlite_schema") == 0)
        return Format::empty;
    if (application != applicationId || version < 1) {
        logLine(connection.path(), "refused: a database of another program");
        fail(ERROR_FILE_CORRUPT);
    }
    if (version > currentVersion) {
        logLine(connection.path(), "refused: format version " + std::to_string(version) + " is newer than " +
                                       std::to_string(currentVersion));
        fail(ERROR_REVISION_MISMATCH);
    }
    return version == currentVersion ? Format::current : Format::older;
}

} // namespace

Format examineFormat(Connection& connection) {
    connection.execute("BEGIN");
    Format const format = formatOf(connection); // a failure ends the connection, and its transaction with it
    connection.execute("COMMIT");
    return format;
}

void migrate(Connection& connection) {
    connection.execute("BEGIN IMMEDIATE");
    try {
        // Another process may have done it meanwhile, so the version counts that stands under the lock.
        if (formatOf(connection) != Format::current) {
            for (std::int64_t version = connection.number("PRAGMA user_version"); version < currentVersion;
                 ++version)
                connection.execute(migrations[static_cast<std::size_t>(version)]);
            connection.execute(("PRAGMA application_id = " + std::to_string(applicationId)).c_str());
            connection.execute(("PRAGMA user_version = " + std::to_string(currentVersion)).c_str());
        }
        connection.execute("COMMIT");
    } catch (...) {
        if (DWORD const error = outcome([&] { connection.execute("ROLLBACK"); }); error != ERROR_SUCCESS)
            logLine(connection.path(), "an unfinished migration is undone at the next opening");
        throw;
    }
}

} // namespace wincrypt
