#pragma once

#include <openssl/bio.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

namespace tvkstore {

struct FreeCryptoObject {
    void operator()(BIO* object) const noexcept { BIO_free(object); }
    void operator()(X509* object) const noexcept { X509_free(object); }
    void operator()(X509_NAME* object) const noexcept { X509_NAME_free(object); }
    void operator()(ASN1_OBJECT* object) const noexcept { ASN1_OBJECT_free(object); }
    void operator()(ASN1_TYPE* object) const noexcept { ASN1_TYPE_free(object); }
    void operator()(ASN1_INTEGER* object) const noexcept { ASN1_INTEGER_free(object); }
    void operator()(BIGNUM* object) const noexcept { BN_free(object); }
    void operator()(EVP_PKEY* object) const noexcept { EVP_PKEY_free(object); }
};

template <typename T>
using CryptoObject = std::unique_ptr<T, FreeCryptoObject>;

// The decoded certificate, or null when the bytes aren't one and nothing else.
inline CryptoObject<X509> decodeCertificate(std::string const& encoding) {
    auto const* const begin = reinterpret_cast<unsigned char const*>(encoding.data());
    auto const* end = begin;
    CryptoObject<X509> certificate(d2i_X509(nullptr, &end, static_cast<long>(encoding.size())));
    if (certificate != nullptr && end != begin + encoding.size()) {
        certificate.reset();
    }
    return certificate;
}

} // namespace tvkstore
