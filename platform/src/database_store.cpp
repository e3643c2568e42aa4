#include "database_store.h"

#include "boundary.h"

#include <algorithm>

namespace wincrypt {
namespace {

// A certificate's row number is its store's number and its place there.
constexpr int placeBits = 40;

constexpr std::int64_t firstRow(std::int64_t store) { return store << placeBits; }
constexpr std::int64_t endRow(std::int64_t store) { return (store + 1) << placeBits; }

void bindOptional(Statement& statement, int index, std::optional<Bytes> const& value) {
    if (value)
        statement.bind(index, *value);
    else
        statement.bindNull(index);
}

Query queryFor(Selection::Kind kind) {
    switch (kind) {
    case Selection::Kind::any:
        return Query::nextCertificate;
    case Selection::Kind::withKeyInfo:
        return Query::nextCertificateWithKey;
    case Selection::Kind::withFriendlyName:
        return Query::nextCertificateWithName;
    case Selection::Kind::identity:
        return Query::nextCertificateByIdentity;
    }
    fail(ERROR_INTERNAL_ERROR);
}

// For a row that was found without the selection's own query.
bool isWanted(Selection const& selection, PropertySet const& properties) {
    switch (selection.kind) {
    case Selection::Kind::withKeyInfo:
        return properties.keyInfo.has_value();
    case Selection::Kind::withFriendlyName:
        return properties.friendlyName.has_value();
    case Selection::Kind::any:
    case Selection::Kind::identity: // which the certificate itself tells
        return true;
    }
    return false;
}

struct Former {
    std::int64_t row;
    PropertySet properties;
};

std::optional<Former> findEqual(Connection& connection, std::int64_t store, Selection const& selection,
                                ByteView encoding) {
    std::int64_t after = firstRow(store);
    for (;;) {
        Statement query = connection.prepare(Query::nextCertificateByIdentity);
        if (!query.bind(1, after).bind(2, endRow(store)).bind(3, 1).bind(4, selection.identity).step())
            return std::nullopt;
        after = query.integer(0);
        if (equal(query.bytes(3), encoding))
            return Former{after, {optionalBytes(query, 1), optionalBytes(query, 2)}};
    }
}

} // namespace

DatabaseStoreView::DatabaseStoreView(std::shared_ptr<Database> database, std::string name, bool writable,
                                     DWORD accessState)
    : StoreView(accessState), database_(std::move(database)), name_(std::move(name)), writable_(writable) {}

std::optional<std::int64_t> DatabaseStoreView::lookUp(Connection& connection) {
    Statement query = connection.prepare(Query::storeByName);
    if (!query.bindText(1, name_).step())
        return std::nullopt;
    return query.integer(0);
}

std::optional<DatabaseStoreView::Reading> DatabaseStoreView::read() {
    auto use = database_->reader();
    if (!use)
        return std::nullopt;
    if (id_.load() == 0) {
        auto const found = lookUp(*use->operator->());
        if (!found)
            return std::nullopt;
        id_.store(*found);
    }
    return Reading{std::move(*use), id_.load()};
}

bool DatabaseStoreView::exists() { return read().has_value(); }

// A database that can't be written is to the caller a store that can't.
template <class Body>
auto DatabaseStoreView::change(Body&& body) {
    if (!writable_)
        fail(E_ACCESSDENIED);
    try {
        return database_->change(std::forward<Body>(body));
    } catch (Failure const& failure) {
        if (failure.code() == ERROR_ACCESS_DENIED)
            fail(E_ACCESSDENIED);
        throw;
    }
}

// A walk reads some rows ahead. They count as long as nothing was committed since, which the database's stamp
// tells without a query.
std::shared_ptr<CertificateRows const> DatabaseStoreView::rowsBehind(std::optional<std::int64_t> position,
                                                                     Selection const& selection) {
    Stamp const stamp = database_->stamp();
    bool const isWalk = position && stamp.known && selection.kind == Selection::Kind::any;
    auto known = isWalk ? rowsAhead_.load() : nullptr;
    if (known && known->tell(*position, stamp))
        return known;
    auto reading = read();
    if (!reading)
        return nullptr;
    auto const& [use, id] = *reading;
    std::int64_t const after = position.value_or(firstRow(id));
    std::size_t const most = !isWalk ? 1 : known ? known->countToFollow(*position) : CertificateRows::fewest;
    Statement query = use->prepare(queryFor(selection.kind));
    query.bind(1, after).bind(2, endRow(id)).bind(3, static_cast<std::int64_t>(most));
    if (selection.kind == Selection::Kind::identity)
        query.bind(4, selection.identity);
    auto rows = std::make_shared<CertificateRows const>(after, query, most, stamp);
    if (isWalk)
        rowsAhead_.store(rows);
    return rows;
}

// A damaged page ends a query that comes to it. The index leads past it to the rows of the other pages.
std::shared_ptr<CertificateRows const> DatabaseStoreView::rowsPastDamage(std::optional<std::int64_t> position,
                                                                         Selection const& selection) {
    auto reading = read();
    if (!reading)
        return nullptr;
    Database::Use const& use = reading->use;
    std::int64_t const after = position.value_or(firstRow(reading->id));
    std::int64_t const end = endRow(reading->id);
    std::vector<std::int64_t> candidates;
    {
        Statement index = use->prepare(Query::certificateRowsByIndex);
        while (index.step())
            if (index.integer(0) > after && index.integer(0) < end)
                candidates.push_back(index.integer(0));
    }
    std::sort(candidates.begin(), candidates.end());
    std::size_t unreadable = 0;
    std::shared_ptr<CertificateRows const> rows;
    for (std::int64_t const row : candidates) {
        DWORD const error = outcome([&] {
            Statement query = use->prepare(Query::nextCertificate);
            query.bind(1, row - 1).bind(2, row + 1).bind(3, 1);
            rows = std::make_shared<CertificateRows const>(after, query, 1, Stamp());
        });
        if (error != ERROR_SUCCESS && error != ERROR_FILE_CORRUPT)
            fail(error);
        unreadable += error != ERROR_SUCCESS ? 1 : 0;
        CertificateRows::Row const* const read = error == ERROR_SUCCESS ? rows->behind(after) : nullptr;
        if (read == nullptr || !isWanted(selection, read->reading->properties))
            continue;
        if (unreadable != 0)
            logLine(database_->path(),
                    "store " + name_ +
                        ": certificates that can't be read are passed by: " + std::to_string(unreadable));
        return rows;
    }
    fail(ERROR_FILE_CORRUPT); // nothing whole stands behind the damage
}

CertificateContext* DatabaseStoreView::next(HCERTSTORE store, CertificateContext const* previous,
                                            Selection const& selection) {
    auto position = previous != nullptr ? std::optional(previous->row) : std::nullopt;
    for (;;) {
        std::shared_ptr<CertificateRows const> rows;
        DWORD const found = outcome([&] { rows = rowsBehind(position, selection); });
        if (found == ERROR_FILE_CORRUPT)
            rows = rowsPastDamage(position, selection);
        else if (found != ERROR_SUCCESS)
            fail(found);
        CertificateRows::Row const* const row = rows ? rows->behind(position.value_or(0)) : nullptr;
        if (row == nullptr)
            return nullptr;
        position = row->number;
        CertificateFields fields;
        bool const decoded = parseCertificate(row->encoding, fields);
        if (decoded && !selection.matches(fields))
            continue;
        ContextHolder context;
        DWORD const error = outcome([&] {
            if (!decoded)
                fail(CRYPT_E_ASN1_CORRUPT);
            context.reset(CertificateContext::create(
                fields, store, {shared_from_this(), row->number, nullptr, row->reading}));
        });
        if (error == ERROR_SUCCESS)
            return context.release();
        if (error != errorValue(CRYPT_E_ASN1_CORRUPT))
            fail(error);
        logLine(database_->path(),
                "store " + name_ + ": row " + std::to_string(row->number) + " is damaged and passed by");
    }
}

CertificateContext* DatabaseStoreView::add(HCERTSTORE store, CertificateFields const& fields,
                                           PropertySet const& properties, DWORD disposition) {
    Selection const selection =
        Selection::byIdentity(fields.issuer, Bytes(fields.serialNumber.begin(), fields.serialNumber.end()));
    auto reading = std::make_shared<PropertyReading>();
    std::int64_t id = 0;
    auto const contextOf = [&](std::int64_t row) {
        return ContextHolder(
            CertificateContext::create(fields, store, {shared_from_this(), row, nullptr, reading}));
    };
    // The context is made before the change counts: a call that fails has stored nothing.
    ContextHolder context = change([&](Connection& connection) {
        // The number that is known may be that of a store that was removed meanwhile.
        auto found = lookUp(connection);
        if (!found) {
            connection.prepare(Query::addStore).bindText(1, name_).run();
            found = lookUp(connection);
        }
        id = found.value();
        if (disposition != CERT_STORE_ADD_ALWAYS) {
            if (const auto former = findEqual(connection, id, selection, fields.encoding)) {
                if (disposition == CERT_STORE_ADD_NEW)
                    fail(CRYPT_E_EXISTS);
                reading->properties = mergedProperties(disposition, former->properties, properties);
                Statement update = connection.prepare(Query::replaceProperties);
                update.bind(1, former->row);
                bindOptional(update, 2, reading->properties.keyInfo);
                bindOptional(update, 3, reading->properties.friendlyName);
                update.run();
                return contextOf(former->row);
            }
        }
        Statement place = connection.prepare(Query::takePlace);
        if (!place.bind(1, id).step())
            fail(ERROR_FILE_CORRUPT);
        std::int64_t const newRow = firstRow(id) + place.integer(0);
        place.run();
        reading->properties = properties;
        Statement insert = connection.prepare(Query::addCertificate);
        insert.bind(1, newRow).bind(2, selection.identity);
        bindOptional(insert, 3, properties.keyInfo);
        bindOptional(insert, 4, properties.friendlyName);
        insert.bind(5, fields.encoding).run();
        return contextOf(newRow);
    });
    id_.store(id);
    if (disposition == CERT_STORE_ADD_REPLACE_EXISTING)
        if (auto const slot = keyContextSlot(context->row, false))
            slot->set(std::nullopt);
    return context.release();
}

void DatabaseStoreView::remove(CertificateContext const& context) {
    change([&](Connection& connection) {
        Statement query = connection.prepare(Query::deleteCertificate);
        if (!query.bind(1, context.row).step())
            fail(CRYPT_E_NOT_FOUND);
        query.run();
        return true;
    });
}

std::shared_ptr<PropertySet const> DatabaseStoreView::properties(CertificateContext& context) {
    auto const propertiesOf = [](std::shared_ptr<PropertyReading const> reading) {
        PropertySet const* const properties = &reading->properties;
        return std::shared_ptr<PropertySet const>(std::move(reading), properties);
    };
    std::shared_ptr<PropertyReading const> const known = context.reading.load();
    Stamp const stamp = database_->stamp();
    if (stamp.sameAs(known->stamp))
        return propertiesOf(known);
    auto use = database_->reader();
    if (!use)
        return propertiesOf(known);
    auto reading = std::make_shared<PropertyReading>();
    reading->stamp = stamp;
    Statement query = (*use)->prepare(Query::certificateProperties);
    // A certificate that was deleted meanwhile keeps what was read last.
    if (!query.bind(1, context.row).step())
        return propertiesOf(known);
    reading->properties = {optionalBytes(query, 0), optionalBytes(query, 1)};
    context.reading.store(reading);
    return propertiesOf(std::move(reading));
}

void DatabaseStoreView::setProperty(CertificateContext& context, DWORD property,
                                    std::optional<Bytes> stored) {
    Query const query = property == CERT_KEY_PROV_INFO_PROP_ID ? Query::setKeyInfo : Query::setFriendlyName;
    change([&](Connection& connection) {
        Statement update = connection.prepare(query);
        update.bind(1, context.row);
        bindOptional(update, 2, stored);
        if (!update.step())
            fail(CRYPT_E_NOT_FOUND);
        update.run();
        return true;
    });
}

std::shared_ptr<KeyContextSlot> DatabaseStoreView::keyContextSlot(std::int64_t row, bool make) {
    return slotOfRow(*database_, row, make);
}

} // namespace wincrypt
