#include "memory_store.h"

#include "process_locks.h"

#include <algorithm>

namespace wincrypt {

std::optional<MemoryStoreView::Row> MemoryStoreView::rowAfter(std::int64_t after) const {
    std::lock_guard const lock(processLock(ProcessLock::memoryStores));
    auto const found = rows_.upper_bound(after);
    return found != rows_.end() ? std::optional<Row>(*found) : std::nullopt;
}

CertificateContext* MemoryStoreView::next(HCERTSTORE store, CertificateContext const* previous,
                                          Selection const& selection) {
    for (auto row = rowAfter(previous != nullptr ? previous->row : 0); row; row = rowAfter(row->first)) {
        auto const properties = row->second->properties.load();
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

CertificateContext* MemoryStoreView::add(HCERTSTORE store, CertificateFields const& fields,
                                         PropertySet const& properties, DWORD disposition) {
    auto made = std::make_shared<MemoryCertificate>();
    made->encoding.assign(fields.encoding.begin(), fields.encoding.end());
    made->properties.store(std::make_shared<PropertySet const>(properties));
    std::unique_lock lock(processLock(ProcessLock::memoryStores));
    auto existing = rows_.end();
    if (disposition != CERT_STORE_ADD_ALWAYS)
        existing = std::find_if(rows_.begin(), rows_.end(), [&](auto const& row) {
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
    auto const [row, certificate] = *existing;
    ContextHolder context(
        CertificateContext::create(fields, store, {shared_from_this(), row, certificate, nullptr}));
    certificate->properties.store(std::make_shared<PropertySet const>(
        mergedProperties(disposition, *certificate->properties.load(), properties)));
    lock.unlock();
    if (disposition == CERT_STORE_ADD_REPLACE_EXISTING)
        certificate->keyContext.set(std::nullopt);
    return context.release();
}

void MemoryStoreView::remove(CertificateContext const& context) {
    std::lock_guard const lock(processLock(ProcessLock::memoryStores));
    if (rows_.erase(context.row) == 0)
        fail(CRYPT_E_NOT_FOUND);
}

// Contexts of a memory store carry the certificate itself, with its properties.
std::shared_ptr<PropertySet const> MemoryStoreView::properties(CertificateContext& context) {
    return context.memory->properties.load();
}

void MemoryStoreView::setProperty(CertificateContext& context, DWORD property, std::optional<Bytes> stored) {
    setMemoryProperty(*context.memory, property, std::move(stored));
}

std::shared_ptr<KeyContextSlot> MemoryStoreView::keyContextSlot(std::int64_t row, bool) {
    std::lock_guard const lock(processLock(ProcessLock::memoryStores));
    auto const found = rows_.find(row);
    return found != rows_.end() ? std::shared_ptr<KeyContextSlot>(found->second, &found->second->keyContext)
                                : nullptr;
}

} // namespace wincrypt
