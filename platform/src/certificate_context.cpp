#include "certificate_context.h"

#include "live_objects.h"
#include "process_locks.h"
#include "store_view.h"

#include <new>

namespace wincrypt {

CertificateContext::CertificateContext(CertificateOrigin origin)
    : CERT_CONTEXT{}, view(std::move(origin.view)), row(origin.row), walked(std::move(origin.walked)),
      memory(std::move(origin.memory)), reading(std::move(origin.reading)), info_{} {
    if (view)
        view->contexts.fetch_add(1);
    addLiveObject();
}

CertificateContext::~CertificateContext() {
    if (view)
        view->contexts.fetch_sub(1);
    removeLiveObject();
}

CertificateContext* CertificateContext::create(CertificateFields const& fields, HCERTSTORE store,
                                               CertificateOrigin origin) {
    std::size_t const room = certificateInfoRoom(fields);
    auto* const block =
        static_cast<std::byte*>(::operator new(sizeof(CertificateContext) + room + fields.encoding.size()));
    ContextHolder context;
    try {
        context.reset(new (block) CertificateContext(std::move(origin)));
    } catch (...) {
        ::operator delete(block);
        throw;
    }
    std::byte* const behind = block + sizeof(CertificateContext);
    auto* const encoding = reinterpret_cast<std::uint8_t*>(behind + room);
    std::memcpy(encoding, fields.encoding.data(), fields.encoding.size());
    if (!fillCertificateInfo(fields, encoding, behind, context->info_))
        fail(CRYPT_E_ASN1_CORRUPT);
    context->dwCertEncodingType = X509_ASN_ENCODING;
    context->pbCertEncoded = encoding;
    context->cbCertEncoded = static_cast<DWORD>(fields.encoding.size());
    context->pCertInfo = &context->info_;
    context->hCertStore = store;
    return context.release();
}

void CertificateContext::destroy(CertificateContext* context) noexcept {
    if (context == nullptr)
        return;
    context->~CertificateContext();
    ::operator delete(static_cast<void*>(context));
}

CertificateContext& CertificateContext::of(PCCERT_CONTEXT context) {
    if (context == nullptr)
        fail(ERROR_INVALID_PARAMETER);
    return *static_cast<CertificateContext*>(const_cast<CERT_CONTEXT*>(context));
}

CertificateFields CertificateContext::fields() const {
    CertificateFields fields;
    if (!parseCertificate(encoding(), fields))
        fail(CRYPT_E_ASN1_CORRUPT);
    return fields;
}

std::shared_ptr<PropertySet const> CertificateContext::properties() {
    if (memory)
        return memory->properties.load();
    return view->properties(*this);
}

void CertificateContext::setProperty(DWORD property, std::optional<Bytes> stored) {
    if (view)
        view->setProperty(*this, property, std::move(stored));
    else
        setMemoryProperty(*memory, property, std::move(stored));
}

std::shared_ptr<KeyContextSlot> CertificateContext::keyContext(bool make) {
    if (memory)
        return {memory, &memory->keyContext};
    // What the certificate's other contexts share now counts, not what this one saw before.
    if (auto shared = view->keyContextSlot(row, make && !keyContext_.load())) {
        keyContext_.store(shared);
        return shared;
    }
    return keyContext_.load();
}

void setMemoryProperty(MemoryCertificate& certificate, DWORD property, std::optional<Bytes> stored) {
    std::lock_guard const lock(processLock(ProcessLock::memoryStores));
    auto changed = std::make_shared<PropertySet>(*certificate.properties.load());
    (property == CERT_KEY_PROV_INFO_PROP_ID ? changed->keyInfo : changed->friendlyName) = std::move(stored);
    certificate.properties.store(std::move(changed));
}

} // namespace wincrypt
