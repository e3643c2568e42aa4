// Private keys given to the layer: what it takes is a whole RSA key to libcrypto too.
#include "fuzz.h"
#include "support/libcrypto.h"
#include "support/scratch_profile.h"

#include <openssl/err.h>

#include <wincrypt.h>

using fuzz::Bytes;

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Bytes input(data, data + size);
    Bytes taken;
    CRYPT_PKCS8_IMPORT_PARAMS parameters{};
    parameters.PrivateKey = {static_cast<DWORD>(size), input.data()};
    // The host refuses, so that nothing is stored; by then the key was found good.
    parameters.pResolvehCryptProvFunc = [](CRYPT_PRIVATE_KEY_INFO* info, HCRYPTPROV*, LPVOID kept) {
        CRYPT_DER_BLOB const& key = info->PrivateKey;
        static_cast<Bytes*>(kept)->assign(key.pbData, key.pbData + key.cbData);
        return BOOL{FALSE};
    };
    parameters.pVoidResolveFunc = &taken;
    SetLastError(ERROR_SUCCESS);
    bool const done = CryptImportPKCS8(parameters, CRYPT_EXPORTABLE, nullptr, nullptr) != FALSE;
    fuzz::require(!done && GetLastError() != ERROR_INTERNAL_ERROR, "an error that the header names");
    unsigned char const* end = taken.data();
    test_support::Owned<EVP_PKEY> const key(
        d2i_PrivateKey(EVP_PKEY_RSA, nullptr, &end, static_cast<long>(taken.size())));
    fuzz::require(taken.empty() || (key != nullptr && end == taken.data() + taken.size()), "whole key");
    ERR_clear_error();
    return 0;
}
