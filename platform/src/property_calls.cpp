// The calls on properties of certificate contexts.
#include "boundary.h"
#include "certificate_context.h"
#include "der_cursor.h"
#include "digest.h"
#include "object_id.h"
#include "provider_objects.h"
#include "store_view.h"

using namespace wincrypt;

namespace {

// RFC 5280, 4.2.1.2: the extension's value, else the SHA-1 value of the public key's bits.
Bytes keyIdentifier(CertificateFields const& fields) {
    DerCursor extension(extensionValue(fields, oid::subjectKeyIdentifier));
    if (auto const identifier = extension.next(tag::octetString))
        return {identifier->content.begin(), identifier->content.end()};
    return digest(CALG_SHA1, {fields.publicKey.key.bits});
}

std::optional<KeyContext> keyContextOf(CertificateContext& context) {
    auto const slot = context.keyContext(false);
    return slot ? slot->get() : std::nullopt;
}

DWORD getAccessState(CertificateContext const& context, void* data, DWORD* length) {
    if (!context.view)
        return errorValue(CRYPT_E_NOT_FOUND);
    // Walks read it into one word again and again: a failure leaves that word's length alone.
    if (data != nullptr && *length < sizeof(DWORD))
        return ERROR_MORE_DATA;
    return deliver(context.view->accessState(), data, length);
}

DWORD getProperty(CertificateContext& context, DWORD property, void* data, DWORD* length) {
    switch (property) {
    case CERT_KEY_PROV_INFO_PROP_ID: {
        auto const properties = context.properties();
        return properties->keyInfo ? deliverKeyInfo(*properties->keyInfo, data, length)
                                   : errorValue(CRYPT_E_NOT_FOUND);
    }
    case CERT_FRIENDLY_NAME_PROP_ID: {
        auto const properties = context.properties();
        return properties->friendlyName ? deliver(givenFriendlyName(*properties->friendlyName), data, length)
                                        : errorValue(CRYPT_E_NOT_FOUND);
    }
    case CERT_ACCESS_STATE_PROP_ID:
        return getAccessState(context, data, length);
    case CERT_KEY_CONTEXT_PROP_ID: {
        auto const known = keyContextOf(context);
        if (!known)
            return errorValue(CRYPT_E_NOT_FOUND);
        CERT_KEY_CONTEXT result{};
        result.cbSize = sizeof result;
        result.hCryptProv = known->provider;
        result.dwKeySpec = known->keySpec;
        return deliver({reinterpret_cast<std::uint8_t const*>(&result), sizeof result}, data, length);
    }
    case CERT_KEY_PROV_HANDLE_PROP_ID: {
        auto const known = keyContextOf(context);
        if (!known)
            return errorValue(CRYPT_E_NOT_FOUND);
        return deliver({reinterpret_cast<std::uint8_t const*>(&known->provider), sizeof known->provider},
                       data, length);
    }
    case CERT_KEY_SPEC_PROP_ID: {
        if (auto const known = keyContextOf(context))
            return deliver(known->keySpec, data, length);
        auto const properties = context.properties();
        return properties->keyInfo ? deliver(readKeyReference(*properties->keyInfo).keySpec, data, length)
                                   : errorValue(CRYPT_E_NOT_FOUND);
    }
    case CERT_SHA1_HASH_PROP_ID:
        return deliver(digest(CALG_SHA1, {context.encoding()}), data, length);
    case CERT_MD5_HASH_PROP_ID:
        return deliver(digest(CALG_MD5, {context.encoding()}), data, length);
    case CERT_KEY_IDENTIFIER_PROP_ID:
        return deliver(keyIdentifier(context.fields()), data, length);
    default:
        return errorValue(CRYPT_E_NOT_FOUND);
    }
}

void setKeyContext(CertificateContext& context, DWORD flags, void const* data) {
    if ((flags & ~DWORD{CERT_STORE_NO_CRYPT_RELEASE_FLAG}) != 0)
        fail(E_INVALIDARG);
    if (data == nullptr) {
        if (auto const slot = context.keyContext(false))
            slot->set(std::nullopt);
        return;
    }
    auto const& given = *static_cast<CERT_KEY_CONTEXT const*>(data);
    if (given.cbSize != sizeof given)
        fail(E_INVALIDARG);
    objectOf<ProviderContext>(given.hCryptProv);
    context.keyContext(true)->set(
        KeyContext{given.hCryptProv, given.dwKeySpec, (flags & CERT_STORE_NO_CRYPT_RELEASE_FLAG) == 0});
}

} // namespace

BOOL WINAPI CertGetCertificateContextProperty(PCCERT_CONTEXT pCertContext, DWORD dwPropId, void* pvData,
                                              DWORD* pcbData) {
    return boundary([&]() -> DWORD {
        CertificateContext& context = CertificateContext::of(pCertContext);
        if (pcbData == nullptr)
            return ERROR_INVALID_PARAMETER;
        return getProperty(context, dwPropId, pvData, pcbData);
    });
}

BOOL WINAPI CertSetCertificateContextProperty(PCCERT_CONTEXT pCertContext, DWORD dwPropId, DWORD dwFlags,
                                              void const* pvData) {
    return boundary([&] {
        CertificateContext& context = CertificateContext::of(pCertContext);
        if (dwPropId == CERT_KEY_CONTEXT_PROP_ID)
            return setKeyContext(context, dwFlags, pvData);
        if (dwFlags != 0)
            fail(E_INVALIDARG);
        std::optional<Bytes> stored;
        if (dwPropId == CERT_KEY_PROV_INFO_PROP_ID) {
            if (pvData != nullptr)
                stored = storeKeyInfo(*static_cast<CRYPT_KEY_PROV_INFO const*>(pvData));
        } else if (dwPropId == CERT_FRIENDLY_NAME_PROP_ID) {
            if (auto const* blob = static_cast<CRYPT_DATA_BLOB const*>(pvData); blob != nullptr)
                stored = storeFriendlyName(viewOf(blob->pbData, blob->cbData));
        } else {
            fail(E_INVALIDARG); // computed, or unknown
        }
        context.setProperty(dwPropId, std::move(stored));
    });
}
