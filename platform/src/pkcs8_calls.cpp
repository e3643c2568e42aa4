// Private keys in and out.
#include "boundary.h"
#include "pkcs8.h"
#include "provider_objects.h"

using namespace wincrypt;

BOOL WINAPI CryptExportPKCS8(HCRYPTPROV hCryptProv, DWORD dwKeySpec, LPSTR pszPrivateKeyObjId, DWORD dwFlags,
                             void* pvAuxInfo, BYTE* pbPrivateKeyBlob, DWORD* pcbPrivateKeyBlob) {
    return boundary([&]() -> DWORD {
        const auto context = objectOf<ProviderContext>(hCryptProv);
        if (pszPrivateKeyObjId == nullptr || pvAuxInfo != nullptr || pcbPrivateKeyBlob == nullptr)
            return ERROR_INVALID_PARAMETER;
        if (dwFlags != 0)
            return errorValue(NTE_BAD_FLAGS);
        if (std::strcmp(pszPrivateKeyObjId, szOID_RSA_RSA) != 0)
            return errorValue(NTE_BAD_ALGID);
        SecureBytes const encoding = writePrivateKeyInfo(context->requireKey(dwKeySpec)->exportEncoding());
        return deliver(encoding, pbPrivateKeyBlob, pcbPrivateKeyBlob);
    });
}

namespace {

// Runs the host's callback, outside every guard: its exception is for the caller of the import.
DWORD resolveProvider(CRYPT_PKCS8_IMPORT_PARAMS const& params, ByteView rsaPrivateKey, HCRYPTPROV& provider) {
    char objectId[] = szOID_RSA_RSA;
    BYTE noParameters[] = {0x05, 0x00};
    CRYPT_PRIVATE_KEY_INFO info{};
    info.Algorithm.pszObjId = objectId;
    info.Algorithm.Parameters = {sizeof noParameters, noParameters};
    info.PrivateKey = {static_cast<DWORD>(rsaPrivateKey.size()), const_cast<BYTE*>(rsaPrivateKey.data())};
    if (params.pResolvehCryptProvFunc(&info, &provider, params.pVoidResolveFunc) != FALSE)
        return ERROR_SUCCESS;
    DWORD const error = GetLastError();
    return error != ERROR_SUCCESS ? error : errorValue(NTE_FAIL);
}

} // namespace

BOOL WINAPI CryptImportPKCS8(CRYPT_PKCS8_IMPORT_PARAMS sImportParams, DWORD dwFlags, HCRYPTPROV* phCryptProv,
                             void* pvAuxInfo) {
    SecureBytes encoding; // the caller's bytes may change while the callback runs
    if (boundary([&] {
            if (sImportParams.pResolvehCryptProvFunc == nullptr ||
                sImportParams.pDecryptPrivateKeyFunc != nullptr || pvAuxInfo != nullptr)
                fail(ERROR_INVALID_PARAMETER);
            if ((dwFlags & ~DWORD{CRYPT_EXPORTABLE}) != 0)
                fail(NTE_BAD_FLAGS);
            ByteView const key =
                readPrivateKeyInfo(viewOf(sImportParams.PrivateKey.pbData, sImportParams.PrivateKey.cbData));
            RsaPrivateKey::fromEncoding(key);
            encoding.assign(key.begin(), key.end());
        }) == FALSE)
        return FALSE;

    HCRYPTPROV provider = 0;
    DWORD error = resolveProvider(sImportParams, encoding, provider);
    if (error == ERROR_SUCCESS) {
        error = outcome([&] {
            objectOf<ProviderContext>(provider)->container->import(AT_KEYEXCHANGE, encoding,
                                                                   (dwFlags & CRYPT_EXPORTABLE) != 0);
        });
        // Whoever gets no handle back can't release it.
        if (error != ERROR_SUCCESS || phCryptProv == nullptr) {
            DWORD const released = outcome([&] { releaseContext(provider); });
            if (error == ERROR_SUCCESS)
                error = released;
        }
    }
    if (error != ERROR_SUCCESS) {
        SetLastError(error);
        return FALSE;
    }
    if (phCryptProv != nullptr)
        *phCryptProv = provider;
    return TRUE;
}
