#include "certificate_decoding.h"

#include "libcrypto_key.h"
#include "libcrypto_objects.h"
#include "text.h"

#include <new>

namespace tvkstore {

namespace {

// Null when the bytes aren't a certificate and nothing else.
CryptoObject<X509> decode(std::string_view encoding) {
    CryptoObject<X509> certificate = decodeCertificate(encoding);
    if (certificate == nullptr) {
        takeErrors();
    }
    return certificate;
}

std::string attributeText(X509_NAME const* name, int type) {
    int place = -1;
    // The last one is the most particular.
    for (int next = X509_NAME_get_index_by_NID(name, type, -1); next >= 0;
         next = X509_NAME_get_index_by_NID(name, type, next)) {
        place = next;
    }
    unsigned char* bytes = nullptr;
    int const length =
        place < 0 ? -1
                  : ASN1_STRING_to_UTF8(&bytes, X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, place)));
    if (length < 0) {
        takeErrors();
        return {};
    }
    std::string text(reinterpret_cast<char const*>(bytes), static_cast<std::size_t>(length));
    OPENSSL_free(bytes);
    return isLabel(text) ? text : "";
}

std::string subjectText(X509 const& certificate) {
    X509_NAME const* const name = X509_get_subject_name(&certificate);
    for (int const type : {NID_commonName, NID_organizationalUnitName, NID_organizationName}) {
        if (std::string text = attributeText(name, type); !text.empty()) {
            return text;
        }
    }
    CryptoObject<BIO> const out(BIO_new(BIO_s_mem()));
    if (out == nullptr) {
        throw std::bad_alloc();
    }
    if (X509_NAME_print_ex(out.get(), name, 0, XN_FLAG_RFC2253) < 0) {
        takeErrors();
    }
    char* bytes = nullptr;
    long const length = BIO_get_mem_data(out.get(), &bytes);
    return {bytes, static_cast<std::size_t>(length)};
}

// As it stands in the certificate, where libcrypto has no key of it: it lacked memory, or doesn't know its
// kind.
std::string encodedPublicKey(X509 const& certificate) {
    unsigned char* bytes = nullptr;
    int const length = i2d_X509_PUBKEY(X509_get_X509_PUBKEY(&certificate), &bytes);
    if (length < 0) {
        throw std::bad_alloc();
    }
    std::string encoding(reinterpret_cast<char const*>(bytes), static_cast<std::size_t>(length));
    OPENSSL_free(bytes);
    return encoding;
}

} // namespace

bool isCertificateEncoding(std::string_view encoding) { return decode(encoding) != nullptr; }

bool isPublicKeyEncoding(std::string_view encoding) {
    auto const* const begin = reinterpret_cast<unsigned char const*>(encoding.data());
    auto const* end = begin;
    CryptoObject<EVP_PKEY> const key(d2i_PUBKEY(nullptr, &end, static_cast<long>(encoding.size())));
    takeErrors();
    return key != nullptr && end == begin + encoding.size();
}

std::optional<CertificateSummary> summariseCertificate(std::string_view encoding) {
    CryptoObject<X509> const certificate = decode(encoding);
    if (certificate == nullptr) {
        return std::nullopt;
    }
    std::string publicKey = publicKeyOf(X509_get0_pubkey(certificate.get()));
    return CertificateSummary{subjectText(*certificate),
                              publicKey.empty() ? encodedPublicKey(*certificate) : std::move(publicKey)};
}

} // namespace tvkstore
