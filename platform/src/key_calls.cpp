// The calls on keys: getting, making, parameters.
#include "boundary.h"
#include "certificate_fields.h"
#include "der_cursor.h"
#include "provider_objects.h"

using namespace wincrypt;

namespace {

HCRYPTKEY adoptKey(std::shared_ptr<ProviderContext> const& context, std::shared_ptr<Key> key, DWORD slot) {
    return context->adopt(
        std::shared_ptr<KeyObject>(new KeyObject{context, context->container, std::move(key), slot}));
}

// The encoding whose length only its header tells: identifier and length octets first, then the whole.
ByteView encodingAt(BYTE const* data) {
    if (data == nullptr)
        fail(ERROR_INVALID_PARAMETER);
    std::size_t header = 2;
    std::size_t length = 0;
    if (data[0] == tag::sequence && data[1] < 0x80) {
        length = data[1];
    } else if (data[0] == tag::sequence && data[1] > 0x80 && data[1] <= 0x84) {
        std::size_t const octets = data[1] & 0x7F;
        for (std::size_t i = 0; i < octets; ++i)
            length = length << 8 | data[2 + i];
        header += octets;
    } else {
        fail(NTE_BAD_DATA);
    }
    constexpr std::size_t largest = 1u << 24; // beyond any certificate: a length word that isn't one
    if (length > largest)
        fail(NTE_BAD_DATA);
    return {data, header + length};
}

} // namespace

BOOL WINAPI CryptGetUserKey(HCRYPTPROV hProv, DWORD dwKeySpec, HCRYPTKEY* phUserKey) {
    return boundary([&] {
        const auto context = objectOf<ProviderContext>(hProv);
        if (phUserKey == nullptr)
            fail(ERROR_INVALID_PARAMETER);
        *phUserKey = adoptKey(context, context->requireKey(dwKeySpec), dwKeySpec);
    });
}

BOOL WINAPI CryptGenKey(HCRYPTPROV hProv, ALG_ID Algid, DWORD dwFlags, HCRYPTKEY* phKey) {
    return boundary([&] {
        const auto context = objectOf<ProviderContext>(hProv);
        if (phKey == nullptr)
            fail(ERROR_INVALID_PARAMETER);
        DWORD const slot = Algid == CALG_RSA_KEYX   ? AT_KEYEXCHANGE
                           : Algid == CALG_RSA_SIGN ? AT_SIGNATURE
                                                    : Algid;
        if (!isSlot(slot))
            fail(NTE_BAD_ALGID);
        constexpr unsigned defaultBits = 2048;
        unsigned const bits = dwFlags >> 16 != 0 ? dwFlags >> 16 : defaultBits;
        if ((dwFlags & 0xFFFF & ~DWORD{CRYPT_EXPORTABLE}) != 0 || bits < minimumKeyBits ||
            bits > maximumKeyBits || bits % 8 != 0)
            fail(NTE_BAD_FLAGS);
        *phKey = adoptKey(context,
                          context->container->generate(slot, bits, (dwFlags & CRYPT_EXPORTABLE) != 0), slot);
    });
}

BOOL WINAPI CryptDestroyKey(HCRYPTKEY hKey) {
    return boundary([&] {
        const auto key = takeObject<KeyObject>(hKey);
        if (const auto context = key->context.lock())
            context->forget(hKey);
    });
}

BOOL WINAPI CryptGetKeyParam(HCRYPTKEY hKey, DWORD dwParam, BYTE* pbData, DWORD* pdwDataLen, DWORD dwFlags) {
    return boundary([&]() -> DWORD {
        const auto key = objectOf<KeyObject>(hKey);
        if (pdwDataLen == nullptr)
            return ERROR_INVALID_PARAMETER;
        if (dwFlags != 0)
            return errorValue(NTE_BAD_FLAGS);
        switch (dwParam) {
        case KP_CERTIFICATE: {
            const auto certificate = key->container->certificate(key->slot);
            return certificate ? deliver(*certificate, pbData, pdwDataLen) : errorValue(NTE_NOT_FOUND);
        }
        case KP_ALGID:
            return deliver(key->slot == AT_KEYEXCHANGE ? DWORD{CALG_RSA_KEYX} : DWORD{CALG_RSA_SIGN}, pbData,
                           pdwDataLen);
        case KP_KEYLEN:
            return deliver(key->key->publicKey().bits(), pbData, pdwDataLen);
        case KP_BLOCKLEN:
            return deliver(static_cast<DWORD>(key->key->publicKey().blockSize() * 8), pbData, pdwDataLen);
        case KP_PERMISSIONS:
            return deliver(DWORD{CRYPT_ENCRYPT | CRYPT_DECRYPT | CRYPT_READ | CRYPT_WRITE} |
                               (key->key->isExportable() ? DWORD{CRYPT_EXPORT} : 0),
                           pbData, pdwDataLen);
        default:
            return errorValue(NTE_BAD_TYPE);
        }
    });
}

BOOL WINAPI CryptSetKeyParam(HCRYPTKEY hKey, DWORD dwParam, BYTE const* pbData, DWORD dwFlags) {
    return boundary([&] {
        const auto key = objectOf<KeyObject>(hKey);
        if (dwParam != KP_CERTIFICATE)
            fail(NTE_BAD_TYPE);
        if (dwFlags != 0)
            fail(NTE_BAD_FLAGS);
        ByteView const encoding = encodingAt(pbData);
        CertificateFields fields;
        if (!parseCertificate(encoding, fields))
            fail(NTE_BAD_DATA);
        key->container->setCertificate(key->slot, encoding);
    });
}
