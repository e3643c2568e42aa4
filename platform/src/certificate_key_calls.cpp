// From a certificate to its private key.
#include "boundary.h"
#include "certificate_context.h"
#include "certificate_key.h"

namespace wincrypt {

std::shared_ptr<ProviderContext> openReferenced(KeyReference const& reference, DWORD flags) {
    // The reference's flags tell more than how to open: whether the property is to be cached, for one.
    return openContext(reference.provider.c_str(), reference.type, reference.container,
                       (reference.flags & (CRYPT_MACHINE_KEYSET | CRYPT_SILENT)) | flags);
}

} // namespace wincrypt

using namespace wincrypt;

BOOL WINAPI CryptAcquireCertificatePrivateKey(PCCERT_CONTEXT pCert, DWORD dwFlags, void* pvParameters,
                                              HCRYPTPROV_OR_NCRYPT_KEY_HANDLE* phCryptProvOrNCryptKey,
                                              DWORD* pdwKeySpec, BOOL* pfCallerFreeProvOrNCryptKey) {
    return boundary([&] {
        CertificateContext& context = CertificateContext::of(pCert);
        if (phCryptProvOrNCryptKey == nullptr || pvParameters != nullptr)
            fail(ERROR_INVALID_PARAMETER);
        if ((dwFlags & ~DWORD{CRYPT_ACQUIRE_COMPARE_KEY_FLAG | CRYPT_ACQUIRE_SILENT_FLAG}) != 0)
            fail(NTE_BAD_FLAGS);
        auto const properties = context.properties();
        if (!properties->keyInfo)
            fail(CRYPT_E_NO_KEY_PROPERTY);
        KeyReference const reference = readKeyReference(*properties->keyInfo);
        static_assert(CRYPT_ACQUIRE_SILENT_FLAG == CRYPT_SILENT);
        auto opened = openReferenced(reference, dwFlags & CRYPT_SILENT);
        if ((dwFlags & CRYPT_ACQUIRE_COMPARE_KEY_FLAG) != 0 &&
            !equal(opened->requireKey(reference.keySpec)->publicKey().encoding(),
                   context.fields().publicKey.key.bits))
            fail(NTE_BAD_PUBLIC_KEY);
        *phCryptProvOrNCryptKey = makeHandle(std::move(opened));
        if (pdwKeySpec != nullptr)
            *pdwKeySpec = reference.keySpec;
        if (pfCallerFreeProvOrNCryptKey != nullptr)
            *pfCallerFreeProvOrNCryptKey = TRUE;
    });
}
