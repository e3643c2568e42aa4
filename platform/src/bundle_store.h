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

    CertificateContext* next(HCERTSTORE store, CertificateContext const* previous,
                             Selection const& selection) override;
    CertificateContext* add(HCERTSTORE, CertificateFields const&, PropertySet const&, DWORD) override;
    void remove(CertificateContext const&) override;
    std::shared_ptr<PropertySet const> properties(CertificateContext&) override;
    void setProperty(CertificateContext&, DWORD, std::optional<Bytes>) override;
    std::shared_ptr<KeyContextSlot> keyContextSlot(std::int64_t row, bool make) override;
};

} // namespace wincrypt
