// What a PCCERT_CONTEXT of the layer points to: the published structure first, then where the certificate
// comes from, and behind it in the same block the encoding and what the structure points to.
#pragma once

#include "certificate_fields.h"
#include "database.h"
#include "key_context.h"
#include "properties.h"

#include <atomic>
#include <memory>

namespace wincrypt {

class StoreView;

// A certificate that lies in memory: in a memory store, or outside any store.
struct MemoryCertificate {
    Bytes encoding;
    std::atomic<std::shared_ptr<PropertySet const>> properties{std::make_shared<PropertySet const>()};
    KeyContextSlot keyContext;
};

// Properties as last read from a database, and when.
struct PropertyReading {
    PropertySet properties;
    Stamp stamp;
};

struct CertificateOrigin {
    std::shared_ptr<StoreView> view; // null outside a store
    std::int64_t row = 0;            // position in the view
    std::shared_ptr<MemoryCertificate> memory = {};
    std::shared_ptr<PropertyReading const> reading = {};
    std::shared_ptr<void const> walked =
        {}; // what the position counts in, for a view that may be replaced as a whole
};

class CertificateContext : public CERT_CONTEXT {
public:
    // Error: CRYPT_E_ASN1_CORRUPT for an object identifier that is none.
    static CertificateContext* create(CertificateFields const& fields, HCERTSTORE store,
                                      CertificateOrigin origin);
    static void destroy(CertificateContext* context) noexcept;

    // Error: ERROR_INVALID_PARAMETER for null.
    static CertificateContext& of(PCCERT_CONTEXT context);

    ByteView encoding() const noexcept { return {pbCertEncoded, cbCertEncoded}; }
    CertificateFields fields() const;

    std::shared_ptr<PropertySet const> properties();
    // Removes where the value is empty. Errors: E_ACCESSDENIED, CRYPT_E_NOT_FOUND.
    void setProperty(DWORD property, std::optional<Bytes> stored);

    std::shared_ptr<KeyContextSlot> keyContext(bool make); // null when there is none

    std::shared_ptr<StoreView> const view;
    std::int64_t const row;
    std::shared_ptr<void const> const walked;
    std::shared_ptr<MemoryCertificate> const memory;
    std::atomic<std::shared_ptr<PropertyReading const>> reading;

private:
    explicit CertificateContext(CertificateOrigin origin);
    ~CertificateContext();

    CERT_INFO info_;
    std::atomic<std::shared_ptr<KeyContextSlot>> keyContext_;
};

// A context on its way: freed unless it is passed on.
struct ContextRelease {
    void operator()(CertificateContext* context) const noexcept { CertificateContext::destroy(context); }
};
using ContextHolder = std::unique_ptr<CertificateContext, ContextRelease>;

// Changes a kept property of a certificate in memory.
void setMemoryProperty(MemoryCertificate& certificate, DWORD property, std::optional<Bytes> stored);

} // namespace wincrypt
