#include "memory_store.h"

#include "process_locks.h"

#include <algorithm>

namespace wincrypt {

std::optional<MemoryStoreView::Row> MemoryStoreView::rowAfter(std::int64_t after) const {
    const std::lock_guard lock(processLock(ProcessLock::memoryStores));
    const auto found = rows_.upper_bound(after);
    return found != rows_.end() ? std::optional<Row>(*found) : std::nullopt;
}

CertificateContext* MemoryStoreView::next(HCERTSTORE store, const CertificateContext* previous,
                                          const Selection& selection) {
    for (auto row = rowAfter(previous != nullptr ? previous->row : 0); row; row = rowAfter(row->first)) {
        const auto properties = row->second->properties.load();
        if ((selection.kind == Selection::Kind::withKeyInfo && !properties->keyInfo) ||
            (selection.kind == Selection::Kind::withFriendlyName && !properties->friendlyName))
            continue;
        CertificateFields fields;
        if (parseCertificate(row->second->encoding, fields) && selection.matches(fields))
            return CertificateContext::create(fields, store,
                                              {shared_from_this(), row->first, row->second, nullptr});
    }
    return nullptr;
}

CertificateContext* MemoryStoreView::add(HCERTSTORE store, const CertificateFields& fields,
                                         const PropertySet& properties, DWORD disposition) {
    auto made = std::make_shared<MemoryCertificate>();
    made->encoding.assign(fields.encoding.begin(), fields.encoding.end());
    made->properties.store(std::make_shared<const PropertySet>(properties));
    std::unique_lock lock(processLock(ProcessLock::memoryStores));
    auto existing = rows_.end();
    if (disposition != CERT_STORE_ADD_ALWAYS)
        existing = std::find_if(rows_.begin(), rows_.end(), [&](const auto& row) {
            return equal(row.second->encoding, fields.encoding);
        });
    if (existing == rows_.end()) {
        ContextHolder context(
            CertificateContext::create(fields, store, {shared_from_this(), next_, made, nullptr}));
        rows_.emplace(next_++, std::move(made));
        return context.release();
    }
    if (disposition == CERT_STORE_ADD_NEW)
        fail(CRYPT_E_EXISTS);
    const auto [row, certificate] = *existing;
    ContextHolder context(
        CertificateContext::create(fields, store, {shared_from_this(), row, certificate, nullptr}));
    certificate->properties.store(std::make_shared<const PropertySet>(
        mergedProperties(disposition, *certificate->properties.load(), properties)));
    lock.unlock();
    if (disposition == CERT_STORE_ADD_REPLACE_EXISTING)
        certificate->keyContext.set(std::nullopt);
    return context.release();
}

void MemoryStoreView::remove(const CertificateContext& context) {
    const std::lock_guard lock(processLock(ProcessLock::memoryStores));
    if (rows_.erase(context.row) == 0)
        fail(CRYPT_E_NOT_FOUND);
}

// Contexts of a memory store carry the certificate itself, with its properties.
PropertySet MemoryStoreView::properties(CertificateContext& context) {
    return *context.memory->properties.load();
}

void MemoryStoreView::setProperty(CertificateContext& context, DWORD property, std::optional<Bytes> stored) {
    setMemoryProperty(*context.memory, property, std::move(stored));
}

std::shared_ptr<KeyContextSlot> MemoryStoreView::keyContextSlot(std::int64_t row, bool) {
    const std::lock_guard lock(processLock(ProcessLock::memoryStores));
    const auto found = rows_.find(row);
    return found != rows_.end() ? std::shared_ptr<KeyContextSlot>(found->second, &found->second->keyContext)
                                : nullptr;
}

} // namespace wincrypt
