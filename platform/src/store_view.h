// One kind of store as it is seen through one handle, with that handle's rights.
#pragma once

#include "certificate_context.h"

#include <atomic>
#include <memory>
#include <optional>

namespace wincrypt {

// What a step of a walk stops at. Positions are row numbers, 0 stands before the first.
struct Selection {
    enum class Kind { any, withKeyInfo, withFriendlyName, identity };
    Kind kind = Kind::any;
    ByteView issuer;    // identity: whole Name
    Bytes serialNumber; // identity: content octets
    std::int64_t identity = 0;

    static Selection byIdentity(ByteView issuer, Bytes serialNumber);
    // Whether a certificate whose identity number matches is really the one.
    bool matches(CertificateFields const& fields) const noexcept;
};

// A number by which certificates of an issuer and serial number are found; unequal ones may share it.
std::int64_t identityOf(ByteView issuer, ByteView serialNumber);

class StoreView : public std::enable_shared_from_this<StoreView> {
public:
    explicit StoreView(DWORD accessState) noexcept : accessState_(accessState) {}
    virtual ~StoreView() = default;
    StoreView(StoreView const&) = delete;
    StoreView& operator=(StoreView const&) = delete;

    // The first certificate behind one of this view (null: the first of all) that the selection wants; null
    // at the end. One that can't be decoded is logged and passed by.
    virtual CertificateContext* next(HCERTSTORE store, CertificateContext const* previous,
                                     Selection const& selection) = 0;

    // Errors: CRYPT_E_EXISTS, E_ACCESSDENIED.
    virtual CertificateContext* add(HCERTSTORE store, CertificateFields const& fields,
                                    PropertySet const& properties, DWORD disposition) = 0;
    virtual void remove(CertificateContext const& context) = 0; // CRYPT_E_NOT_FOUND, E_ACCESSDENIED
    virtual std::shared_ptr<PropertySet const> properties(CertificateContext& context) = 0;
    virtual void setProperty(CertificateContext& context, DWORD property, std::optional<Bytes> stored) = 0;
    virtual std::shared_ptr<KeyContextSlot> keyContextSlot(std::int64_t row, bool make) = 0;

    DWORD accessState() const noexcept { return accessState_; }

    std::atomic<int> contexts{0}; // living contexts that came through this view

private:
    DWORD const accessState_;
};

// Properties of a certificate that is added over an equal one.
PropertySet mergedProperties(DWORD disposition, PropertySet const& former, PropertySet const& given);

} // namespace wincrypt
