#include "support/test_certificates.h"

#include "support/libcrypto.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include <map>
#include <mutex>
#include <utility>

namespace test_support {

namespace {

// One call for the length, one for the bytes, as the i2d functions have it.
template <class Object, class Encode>
Bytes encoded(Object* object, Encode encode, char const* what) {
    int const length = encode(object, nullptr);
    requireCrypto(length > 0, what);
    Bytes bytes(static_cast<std::size_t>(length));
    unsigned char* end = bytes.data();
    requireCrypto(encode(object, &end) == length, what);
    return bytes;
}

Owned<X509_NAME> toX509Name(Name const& attributes) {
    Owned<X509_NAME> name(X509_NAME_new());
    requireCrypto(name != nullptr, "X509_NAME_new");
    for (NameAttribute const& attribute : attributes) {
        // Index -1 appends; set -1 joins the last set, 0 starts one.
        int const added = X509_NAME_add_entry_by_txt(
            name.get(), attribute.type.c_str(), static_cast<int>(attribute.text),
            reinterpret_cast<unsigned char const*>(attribute.value.data()),
            static_cast<int>(attribute.value.size()), -1, attribute.inSetOfPrevious ? -1 : 0);
        requireCrypto(added == 1, attribute.type);
    }
    return name;
}

void addExtensions(X509* certificate, std::vector<CertificateExtension> const& extensions) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
    X509V3_set_ctx_nodb(&context);
    for (CertificateExtension const& wanted : extensions) {
        Owned<X509_EXTENSION> const extension(
            X509V3_EXT_nconf(nullptr, &context, wanted.type.c_str(), wanted.value.c_str()));
        requireCrypto(extension != nullptr, wanted.type + " = " + wanted.value);
        requireCrypto(X509_add_ext(certificate, extension.get(), -1) == 1, wanted.type);
    }
}

// A key of the largest size takes a minute to make: that one lies in a file.
EVP_PKEY* newKey(unsigned bits) {
    if (bits != 8192)
        return EVP_RSA_gen(bits);
    Owned<BIO> const file(BIO_new_file(TEST_DATA "/rsa-8192.pem", "r"));
    requireCrypto(file != nullptr, "BIO_new_file");
    return PEM_read_bio_PrivateKey(file.get(), nullptr, nullptr, nullptr);
}

} // namespace

TestKey::TestKey(unsigned bits) : key_(newKey(bits), EVP_PKEY_free) {
    requireCrypto(key_ != nullptr, "an RSA key");
}

TestKey const& TestKey::shared(unsigned bits) {
    static std::mutex mutex;
    static std::map<unsigned, TestKey> keys;
    std::lock_guard const lock(mutex);
    return keys.try_emplace(bits, bits).first->second;
}

Bytes TestKey::privateKeyInfo() const {
    Owned<PKCS8_PRIV_KEY_INFO> const info(EVP_PKEY2PKCS8(get()));
    requireCrypto(info != nullptr, "EVP_PKEY2PKCS8");
    return encoded(info.get(), i2d_PKCS8_PRIV_KEY_INFO, "i2d_PKCS8_PRIV_KEY_INFO");
}

Bytes TestKey::publicKeyInfo() const { return encoded(get(), i2d_PUBKEY, "i2d_PUBKEY"); }

Name commonName(std::string value) { return {{.type = "CN", .value = std::move(value)}}; }

Bytes makeCertificate(CertificateFields const& fields, TestKey const& key) {
    Owned<X509> const certificate(X509_new());
    requireCrypto(certificate != nullptr, "X509_new");
    X509* const raw = certificate.get();
    auto const timeOf = [](auto const& time) { return std::chrono::system_clock::to_time_t(time); };
    Bytes const& serial = fields.serial;
    requireCrypto(
        X509_set_version(raw, X509_VERSION_3) == 1 &&
            ASN1_STRING_set(X509_get_serialNumber(raw), serial.data(), static_cast<int>(serial.size())) ==
                1 &&
            X509_set_subject_name(raw, toX509Name(fields.subject).get()) == 1 &&
            X509_set_issuer_name(raw, toX509Name(fields.issuer.value_or(fields.subject)).get()) == 1 &&
            ASN1_TIME_set(X509_getm_notBefore(raw), timeOf(fields.notBefore)) != nullptr &&
            ASN1_TIME_set(X509_getm_notAfter(raw), timeOf(fields.notAfter)) != nullptr &&
            X509_set_pubkey(raw, key.get()) == 1,
        "a certificate's fields");
    addExtensions(raw, fields.extensions);

    requireCrypto(X509_sign(raw, key.get(), EVP_sha256()) > 0, "X509_sign");
    return encoded(raw, i2d_X509, "i2d_X509");
}

std::vector<Bytes> readTrustBundle(std::filesystem::path const& file) {
    Owned<BIO> const input(BIO_new_file(file.c_str(), "r"));
    requireCrypto(input != nullptr, file.string());
    std::vector<Bytes> certificates;
    unsigned char* data = nullptr;
    long length = 0;
    while (PEM_bytes_read_bio(&data, &length, nullptr, PEM_STRING_X509, input.get(), nullptr, nullptr) == 1) {
        certificates.emplace_back(data, data + length);
        OPENSSL_free(data);
    }
    requireCrypto(ERR_GET_REASON(ERR_peek_last_error()) == PEM_R_NO_START_LINE, file.string());
    ERR_clear_error();
    requireCrypto(!certificates.empty(), "search for a certificate in " + file.string());
    return certificates;
}

} // namespace test_support
