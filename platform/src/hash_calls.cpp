// The calls on hashes, and the signatures over them.
#include "boundary.h"
#include "provider_objects.h"

#include <algorithm>

using namespace wincrypt;

namespace {

// CRYPT_NOHASHOID asks for the bare value; the other published flag, another padding, isn't offered.
bool wantsBareValue(LPCSTR description, DWORD flags) {
    if ((flags & ~DWORD{CRYPT_NOHASHOID}) != 0)
        fail(NTE_BAD_FLAGS);
    if (description != nullptr && *description != '\0')
        fail(ERROR_INVALID_PARAMETER); // it would become part of what is signed
    return (flags & CRYPT_NOHASHOID) != 0;
}

} // namespace

BOOL WINAPI CryptCreateHash(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTKEY hKey, DWORD dwFlags,
                            HCRYPTHASH* phHash) {
    return boundary([&] {
        const auto context = objectOf<ProviderContext>(hProv);
        if (phHash == nullptr)
            fail(ERROR_INVALID_PARAMETER);
        if (dwFlags != 0)
            fail(NTE_BAD_FLAGS);
        if (hKey != 0)
            fail(NTE_BAD_KEY); // only keyed hashes take one
        DigestAlgorithm const* algorithm = findDigest(Algid);
        if (algorithm == nullptr)
            fail(NTE_BAD_ALGID);
        *phHash = context->adopt(std::make_shared<HashObject>(context, *algorithm));
    });
}

BOOL WINAPI CryptHashData(HCRYPTHASH hHash, BYTE const* pbData, DWORD dwDataLen, DWORD dwFlags) {
    return boundary([&] {
        const auto hash = objectOf<HashObject>(hHash);
        if (dwFlags != 0)
            fail(NTE_BAD_FLAGS);
        hash->add(viewOf(pbData, dwDataLen));
    });
}

BOOL WINAPI CryptSetHashParam(HCRYPTHASH hHash, DWORD dwParam, BYTE const* pbData, DWORD dwFlags) {
    return boundary([&] {
        const auto hash = objectOf<HashObject>(hHash);
        if (dwParam != HP_HASHVAL)
            fail(NTE_BAD_TYPE);
        if (dwFlags != 0)
            fail(NTE_BAD_FLAGS);
        hash->setValue(viewOf(pbData, static_cast<DWORD>(hash->algorithm().size)));
    });
}

BOOL WINAPI CryptDestroyHash(HCRYPTHASH hHash) {
    return boundary([&] {
        const auto hash = takeObject<HashObject>(hHash);
        if (const auto context = hash->context.lock())
            context->forget(hHash);
    });
}

BOOL WINAPI CryptSignHashA(HCRYPTHASH hHash, DWORD dwKeySpec, LPCSTR szDescription, DWORD dwFlags,
                           BYTE* pbSignature, DWORD* pdwSigLen) {
    return boundary([&]() -> DWORD {
        const auto hash = objectOf<HashObject>(hHash);
        const auto context = hash->context.lock();
        if (!context)
            return ERROR_INVALID_HANDLE;
        if (pdwSigLen == nullptr)
            return ERROR_INVALID_PARAMETER;
        bool const bare = wantsBareValue(szDescription, dwFlags);
        const auto key = context->requireKey(dwKeySpec);
        DWORD const size = lengthOf(key->publicKey().blockSize());
        DWORD const room = *pdwSigLen;
        if (pbSignature == nullptr || room < size) {
            *pdwSigLen = size;
            return pbSignature == nullptr ? ERROR_SUCCESS : ERROR_MORE_DATA;
        }
        Bytes const signature = key->sign(hash->signedValue(bare));
        std::reverse_copy(signature.begin(), signature.end(), pbSignature);
        *pdwSigLen = size;
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI CryptVerifySignatureA(HCRYPTHASH hHash, BYTE const* pbSignature, DWORD dwSigLen,
                                  HCRYPTKEY hPubKey, LPCSTR szDescription, DWORD dwFlags) {
    return boundary([&]() -> DWORD {
        const auto hash = objectOf<HashObject>(hHash);
        const auto key = objectOf<KeyObject>(hPubKey);
        bool const bare = wantsBareValue(szDescription, dwFlags);
        ByteView const given = viewOf(pbSignature, dwSigLen);
        Bytes const signature(given.rbegin(), given.rend());
        return key->key->publicKey().verifies(hash->signedValue(bare), signature)
                   ? ERROR_SUCCESS
                   : errorValue(NTE_BAD_SIGNATURE);
    });
}
