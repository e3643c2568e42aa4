#include "key_containers.h"

#include "log.h"

namespace wincrypt {
namespace {

Bytes copy(ByteView view) { return {view.begin(), view.end()}; }

std::optional<std::int64_t> containerId(Connection& connection, std::string const& name) {
    Statement query = connection.prepare(Query::containerByName);
    return query.bindText(1, name).step() ? std::optional(query.integer(0)) : std::nullopt;
}

// False where there is one already.
bool insertContainer(Connection& connection, std::string const& name) {
    connection.prepare(Query::addContainer).bindText(1, name).run();
    return connection.rowsChanged() != 0;
}

// In place of the slot's former key and its certificate. False where there is no such container.
bool insertKey(Connection& connection, std::string const& name, StoredKey const& key) {
    connection.prepare(Query::addKey)
        .bindText(1, name)
        .bind(2, key.slot)
        .bind(3, key.flags)
        .bind(4, key.sealed.sealedUnder)
        .bind(5, key.sealed.nonce)
        .bind(6, key.sealed.sealed)
        .run();
    return connection.rowsChanged() != 0;
}

} // namespace

std::optional<StoredContainer> loadContainer(Database& database, std::string const& name) {
    auto use = database.reader();
    if (!use)
        return std::nullopt;
    Statement query = (*use)->prepare(Query::containerByName);
    query.bindText(1, name);
    std::optional<StoredContainer> container;
    while (query.step()) {
        if (!container)
            container.emplace().id = query.integer(0);
        if (query.isNull(1))
            continue;
        std::int64_t const slot = query.integer(1);
        if (slot != AT_KEYEXCHANGE && slot != AT_SIGNATURE) {
            logLine(database.path(),
                    "container " + name + ": slot " + std::to_string(slot) + " is passed by");
            continue;
        }
        container->keys[StoredContainer::placeOf(static_cast<DWORD>(slot))] =
            StoredKey{static_cast<DWORD>(slot), static_cast<DWORD>(query.integer(2)),
                      SealedKey{copy(query.bytes(3)), copy(query.bytes(4)), copy(query.bytes(5))}};
    }
    return container;
}

std::optional<std::string> storedContainerAfter(Database& database, std::string const& name) {
    auto use = database.reader();
    if (!use)
        return std::nullopt;
    Statement query = (*use)->prepare(Query::containerNameAfter);
    if (!query.bindText(1, name).step())
        return std::nullopt;
    ByteView const found = query.bytes(0);
    return std::string(found.begin(), found.end());
}

std::size_t longestStoredName(Database& database) {
    auto use = database.reader();
    if (!use)
        return 0;
    Statement query = (*use)->prepare(Query::longestContainerName);
    return query.step() ? static_cast<std::size_t>(query.integer(0)) : 0;
}

void storeContainer(Database& database, std::string const& name) {
    database.change(
        [&](Connection& connection) {
            if (!insertContainer(connection, name))
                fail(NTE_EXISTS);
            return true;
        },
        Durability::withNext);
}

bool removeContainer(Database& database, std::string const& name) {
    // Looked at before anything is changed, so that a database that doesn't exist isn't made by a deletion.
    if (!loadContainer(database, name))
        return false;
    return database.change([&](Connection& connection) {
        const auto id = containerId(connection, name);
        if (!id)
            return false;
        connection.prepare(Query::deleteKeys).bind(1, *id).run();
        connection.prepare(Query::deleteContainer).bind(1, *id).run();
        return true;
    });
}

void storeKey(Database& database, std::string const& name, StoredKey const& key, bool makeContainer) {
    database.change([&](Connection& connection) {
        bool const stored =
            insertKey(connection, name, key) ||
            (makeContainer && insertContainer(connection, name) && insertKey(connection, name, key));
        if (!stored)
            fail(NTE_BAD_KEYSET);
        return stored;
    });
}

std::optional<Bytes> storedCertificate(Database& database, std::string const& name, DWORD slot) {
    auto const container = loadContainer(database, name);
    if (!container)
        return std::nullopt;
    auto use = database.reader();
    if (!use)
        return std::nullopt;
    Statement query = (*use)->prepare(Query::keyCertificate);
    if (!query.bind(1, container->id).bind(2, slot).step() || query.isNull(0))
        return std::nullopt;
    return copy(query.bytes(0));
}

bool storeCertificate(Database& database, std::string const& name, DWORD slot, ByteView certificate) {
    return database.change([&](Connection& connection) {
        const auto id = containerId(connection, name);
        if (!id)
            return false;
        Statement update = connection.prepare(Query::setKeyCertificate);
        bool const found = update.bind(1, *id).bind(2, slot).bind(3, certificate).step();
        update.run();
        return found;
    });
}

} // namespace wincrypt
