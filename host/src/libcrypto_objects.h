#pragma once

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pkcs12.h>
#include <openssl/provider.h>
#include <openssl/x509.h>

#include <memory>
#include <new>
#include <string_view>

namespace tvkstore {

struct FreeCryptoObject {
    void operator()(BIO* object) const noexcept { BIO_free(object); }
    void operator()(X509* object) const noexcept { X509_free(object); }
    void operator()(X509_NAME* object) const noexcept { X509_NAME_free(object); }
    void operator()(ASN1_OBJECT* object) const noexcept { ASN1_OBJECT_free(object); }
    void operator()(ASN1_TYPE* object) const noexcept { ASN1_TYPE_free(object); }
    void operator()(EVP_PKEY* object) const noexcept { EVP_PKEY_free(object); }
    void operator()(PKCS8_PRIV_KEY_INFO* object) const noexcept { PKCS8_PRIV_KEY_INFO_free(object); }
    void operator()(PBEPARAM* object) const noexcept { PBEPARAM_free(object); }
    void operator()(PBE2PARAM* object) const noexcept { PBE2PARAM_free(object); }
    void operator()(PBKDF2PARAM* object) const noexcept { PBKDF2PARAM_free(object); }
    void operator()(SCRYPT_PARAMS* object) const noexcept { SCRYPT_PARAMS_free(object); }
    void operator()(X509_SIG* object) const noexcept { X509_SIG_free(object); }
    void operator()(PKCS12* object) const noexcept { PKCS12_free(object); }
    void operator()(OSSL_LIB_CTX* object) const noexcept { OSSL_LIB_CTX_free(object); }
    void operator()(OSSL_PROVIDER* object) const noexcept { OSSL_PROVIDER_unload(object); }
    void operator()(ASN1_SEQUENCE_ANY* object) const noexcept {
        sk_ASN1_TYPE_pop_free(object, ASN1_TYPE_free);
    }
    void operator()(STACK_OF(X509) * object) const noexcept { sk_X509_pop_free(object, X509_free); }
    void operator()(STACK_OF(PKCS7) * object) const noexcept { sk_PKCS7_pop_free(object, PKCS7_free); }
    void operator()(STACK_OF(PKCS12_SAFEBAG) * object) const noexcept {
        sk_PKCS12_SAFEBAG_pop_free(object, PKCS12_SAFEBAG_free);
    }
};

template <typename T>
using CryptoObject = std::unique_ptr<T, FreeCryptoObject>;

// Takes libcrypto's errors from the thread. Of what it couldn't do the caller knows what that says of the
// input; of a lack of memory, which throws std::bad_alloc, it says nothing.
inline void takeErrors() {
    bool lackedMemory = false;
    while (unsigned long const error = ERR_get_error()) {
        lackedMemory = lackedMemory || ERR_GET_REASON(error) == ERR_R_MALLOC_FAILURE;
    }
    if (lackedMemory) {
        throw std::bad_alloc();
    }
}

// The decoded certificate, or null when the bytes aren't one and nothing else.
inline CryptoObject<X509> decodeCertificate(std::string_view encoding) {
    auto const* const begin = reinterpret_cast<unsigned char const*>(encoding.data());
    auto const* end = begin;
    CryptoObject<X509> certificate(d2i_X509(nullptr, &end, static_cast<long>(encoding.size())));
    if (certificate != nullptr && end != begin + encoding.size()) {
        certificate.reset();
    }
    return certificate;
}

} // namespace tvkstore
