#include "certificate_details.h"

#include "libcrypto_objects.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/x509v3.h>

#include <array>
#include <new>

namespace tvkstore {

namespace {

std::string objectText(ASN1_OBJECT const* object) {
    std::array<char, 128> text{};
    // Long names of known objects and dotted identifiers of others are cut at the array's end, zero included.
    if (OBJ_obj2txt(text.data(), static_cast<int>(text.size()), object, 0) < 0) {
        ERR_clear_error();
    }
    return text.data();
}

std::string extensionText(X509_EXTENSION* extension) {
    CryptoObject<BIO> const out(BIO_new(BIO_s_mem()));
    if (out == nullptr) {
        throw std::bad_alloc();
    }
    if (X509V3_EXT_print(out.get(), extension, X509V3_EXT_DUMP_UNKNOWN, 0) != 1) {
        ERR_clear_error();
        return "can't be decoded";
    }
    char* bytes = nullptr;
    long const length = BIO_get_mem_data(out.get(), &bytes);
    std::string text(bytes, length > 0 ? static_cast<std::size_t>(length) : 0);
    while (text.ends_with('\n')) {
        text.pop_back();
    }
    return text;
}

} // namespace

std::optional<CertificateDetails> certificateDetails(std::string const& encoding) {
    CryptoObject<X509> const certificate = decodeCertificate(encoding);
    if (certificate == nullptr) {
        ERR_clear_error();
        return std::nullopt;
    }
    CertificateDetails details{};
    details.version = X509_get_version(certificate.get()) + 1;

    X509_ALGOR const* signature = nullptr;
    X509_get0_signature(nullptr, &signature, certificate.get());
    details.signatureAlgorithm = objectText(signature->algorithm);

    ASN1_OBJECT* keyAlgorithm = nullptr;
    X509_PUBKEY_get0_param(&keyAlgorithm, nullptr, nullptr, nullptr, X509_get_X509_PUBKEY(certificate.get()));
    details.publicKeyAlgorithm = objectText(keyAlgorithm);
    EVP_PKEY const* const key = X509_get0_pubkey(certificate.get());
    details.publicKeyBits = key != nullptr ? EVP_PKEY_get_bits(key) : 0;

    int const count = X509_get_ext_count(certificate.get());
    for (int i = 0; i < count; ++i) {
        X509_EXTENSION* const extension = X509_get_ext(certificate.get(), i);
        details.extensions.push_back({objectText(X509_EXTENSION_get_object(extension)),
                                      X509_EXTENSION_get_critical(extension) == 1, extensionText(extension)});
    }
    ERR_clear_error();
    return details;
}

} // namespace tvkstore
