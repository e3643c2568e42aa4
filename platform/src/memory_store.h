#pragma once

#include "store_view.h"

#include <map>

namespace wincrypt {

// Certificates that live as long as the handle and its contexts. Guarded by ProcessLock::memoryStores.
class MemoryStoreView final : public StoreView {
public:
    MemoryStoreView() noexcept : StoreView(0) {}

    CertificateContext* next(HCERTSTORE store, CertificateContext const* previous,
                             Selection const& selection) override;
    CertificateContext* add(HCERTSTORE store, CertificateFields const& fields, PropertySet const& properties,
                            DWORD disposition) override;
    void remove(CertificateContext const& context) override;
    std::shared_ptr<PropertySet const> properties(CertificateContext& context) override;
    void setProperty(CertificateContext& context, DWORD property, std::optional<Bytes> stored) override;
    std::shared_ptr<KeyContextSlot> keyContextSlot(std::int64_t row, bool make) override;

private:
    using Row = std::pair<std::int64_t, std::shared_ptr<MemoryCertificate>>;
    std::optional<Row> rowAfter(std::int64_t after) const;

    std::map<std::int64_t, std::shared_ptr<MemoryCertificate>> rows_;
    std::int64_t next_ = 1;
};

} // namespace wincrypt
