#include "store_view.h"

#include "digest.h"

namespace wincrypt {

std::int64_t identityOf(ByteView issuer, ByteView serialNumber) {
    Bytes const value = digest(CALG_SHA_256, {issuer, serialNumber});
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < sizeof number; ++i)
        number = number << 8 | value[i];
    return static_cast<std::int64_t>(number);
}

Selection Selection::byIdentity(ByteView issuer, Bytes serialNumber) {
    Selection selection;
    selection.kind = Kind::identity;
    selection.issuer = issuer;
    selection.serialNumber = std::move(serialNumber);
    selection.identity = identityOf(issuer, selection.serialNumber);
    return selection;
}

bool Selection::matches(CertificateFields const& fields) const noexcept {
    return kind != Kind::identity ||
           (equal(fields.issuer, issuer) && equal(fields.serialNumber, serialNumber));
}

PropertySet mergedProperties(DWORD disposition, PropertySet const& former, PropertySet const& given) {
    PropertySet result = given;
    if (disposition == CERT_STORE_ADD_USE_EXISTING) {
        // Those that stand there win.
        result.keyInfo = former.keyInfo ? former.keyInfo : given.keyInfo;
        result.friendlyName = former.friendlyName ? former.friendlyName : given.friendlyName;
    } else if (disposition == CERT_STORE_ADD_REPLACE_EXISTING_INHERIT_PROPERTIES) {
        result.keyInfo = given.keyInfo ? given.keyInfo : former.keyInfo;
        result.friendlyName = given.friendlyName ? given.friendlyName : former.friendlyName;
    }
    return result;
}

} // namespace wincrypt
