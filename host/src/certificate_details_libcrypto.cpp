#include "certificate_details.h"

#include "libcrypto_objects.h"

#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/x509v3.h>

#include <array>
#include <bit>
#include <new>

namespace tvkstore {

namespace {

std::string objectText(ASN1_OBJECT const* object) {
    std::array<char, 128> text{};
    // Long names of known objects and dotted identifiers of others are cut at the array's end, zero included.
    if (OBJ_obj2txt(text.data(), static_cast<int>(text.size()), object, 0) < 0) {
        takeErrors();
    }
    return text.data();
}

std::string extensionText(X509_EXTENSION* extension) {
    CryptoObject<BIO> const out(BIO_new(BIO_s_mem()));
    if (out == nullptr) {
        throw std::bad_alloc();
    }
    if (X509V3_EXT_print(out.get(), extension, X509V3_EXT_DUMP_UNKNOWN, 0) != 1) {
        takeErrors();
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

// The bits of the first integer of an RSAPublicKey (RFC 8017, A.1.1).
int modulusBits(X509 const& certificate) {
    unsigned char const* bytes = nullptr;
    int length = 0;
    X509_PUBKEY_get0_param(nullptr, &bytes, &length, nullptr, X509_get_X509_PUBKEY(&certificate));
    CryptoObject<ASN1_SEQUENCE_ANY> const numbers(d2i_ASN1_SEQUENCE_ANY(nullptr, &bytes, length));
    ASN1_TYPE const* const modulus =
        sk_ASN1_TYPE_num(numbers.get()) > 0 ? sk_ASN1_TYPE_value(numbers.get(), 0) : nullptr;
    if (modulus == nullptr || modulus->type != V_ASN1_INTEGER) {
        return 0;
    }
    ASN1_STRING const* const octets = modulus->value.integer;
    int const count = ASN1_STRING_length(octets);
    return count == 0 ? 0 : (count - 1) * 8 + std::bit_width(unsigned{*ASN1_STRING_get0_data(octets)});
}

} // namespace

std::optional<CertificateDetails> certificateDetails(std::string const& encoding) {
    CryptoObject<X509> const certificate = decodeCertificate(encoding);
    if (certificate == nullptr) {
        takeErrors();
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
    // Libcrypto gives no key, or one without a size, also where it lacked memory, and doesn't tell.
    if (details.publicKeyBits <= 0 && OBJ_obj2nid(keyAlgorithm) == NID_rsaEncryption) {
        details.publicKeyBits = modulusBits(*certificate);
    }

    int const count = X509_get_ext_count(certificate.get());
    for (int i = 0; i < count; ++i) {
        X509_EXTENSION* const extension = X509_get_ext(certificate.get(), i);
        details.extensions.push_back({objectText(X509_EXTENSION_get_object(extension)),
                                      X509_EXTENSION_get_critical(extension) == 1, extensionText(extension)});
    }
    takeErrors();
    return details;
}

} // namespace tvkstore
