#pragma once

#include "certificate_rows.h"
#include "store_view.h"

#include <string>

namespace wincrypt {

// Certificates of one named store in a database. The database is the only state.
class DatabaseStoreView final : public StoreView {
public:
    DatabaseStoreView(std::shared_ptr<Database> database, std::string name, bool writable, DWORD accessState);

    CertificateContext* next(HCERTSTORE store, CertificateContext const* previous,
                             Selection const& selection) override;
    CertificateContext* add(HCERTSTORE store, CertificateFields const& fields, PropertySet const& properties,
                            DWORD disposition) override;
    void remove(CertificateContext const& context) override;
    std::shared_ptr<PropertySet const> properties(CertificateContext& context) override;
    void setProperty(CertificateContext& context, DWORD property, std::optional<Bytes> stored) override;
    std::shared_ptr<KeyContextSlot> keyContextSlot(std::int64_t row, bool make) override;

    // Whether the store was ever written to.
    bool exists();

private:
    std::shared_ptr<CertificateRows const> rowsBehind(std::optional<std::int64_t> position,
                                                      Selection const& selection);
    std::shared_ptr<CertificateRows const> rowsPastDamage(std::optional<std::int64_t> position,
                                                          Selection const& selection);
    struct Reading {
        Database::Use use;
        std::int64_t id; // the store's
    };
    std::optional<Reading> read(); // nothing where the store isn't there yet
    std::optional<std::int64_t> lookUp(Connection& connection);
    template <class Body>
    auto change(Body&& body);

    std::shared_ptr<Database> const database_;
    std::string const name_;
    bool const writable_;
    std::atomic<std::int64_t> id_{0}; // of the store, once it is known: it never changes
    std::atomic<std::shared_ptr<CertificateRows const>> rowsAhead_;
};

} // namespace wincrypt
