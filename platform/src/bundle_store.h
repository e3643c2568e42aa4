#pragma once

#include "store_view.h"

#include <string>
#include <vector>

namespace wincrypt {

// The trust bundle of the distribution, or whatever SSL_CERT_FILE names: a file of PEM certificates, never
// written.
std::string bundlePath();

class BundleStoreView final : public StoreView {
public:
    explicit BundleStoreView(DWORD accessState) noexcept : StoreView(accessState) {}

    CertificateContext* next(HCERTSTORE store, const CertificateContext* previous,
                             const Selection& selection) override;
    CertificateContext* add(HCERTSTORE, const CertificateFields&, const PropertySet&, DWORD) override;
    void remove(const CertificateContext&) override;
    PropertySet properties(CertificateContext&) override;
    void setProperty(CertificateContext&, DWORD, std::optional<Bytes>) override;
    std::shared_ptr<KeyContextSlot> keyContextSlot(std::int64_t row, bool make) override;
};

} // namespace wincrypt
