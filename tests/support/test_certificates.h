#pragma once

#include "support/bytes.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>

struct evp_pkey_st;

namespace test_support {

// An RSA key pair. Copies share it.
class TestKey {
public:
    explicit TestKey(unsigned bits = 2048);
    explicit TestKey(std::shared_ptr<evp_pkey_st> key) : key_(std::move(key)) {}

    // The same key for all who ask for the size, made once a process: generation is slow.
    static TestKey const& shared(unsigned bits = 2048);

    evp_pkey_st* get() const { return key_.get(); }
    Bytes privateKeyInfo() const; // PKCS#8, DER, not encrypted
    Bytes publicKeyInfo() const;  // SubjectPublicKeyInfo, DER

private:
    std::shared_ptr<evp_pkey_st> key_;
};

// The string types, by their tags.
enum class NameText { Utf8 = 12, Printable = 19, Teletex = 20, Ia5 = 22, Bmp = 30 };

struct NameAttribute {
    std::string type;  // libcrypto's short name or a dotted object identifier
    std::string value; // the content octets of the string type: for Bmp two octets a character
    NameText text = NameText::Utf8;
    bool inSetOfPrevious = false; // joins the set of the attribute before, instead of starting its own
};

using Name = std::vector<NameAttribute>;

Name commonName(std::string value);

struct CertificateExtension {
    std::string type;  // short name or dotted object identifier
    std::string value; // as in libcrypto's configuration files: "critical,CA:TRUE", "DER:0500"
};

struct CertificateFields {
    Name subject = commonName("Test");
    std::optional<Name> issuer{}; // absent: the subject
    Bytes serial = {1};           // magnitude, most significant byte first
    std::chrono::system_clock::time_point notBefore =
        std::chrono::system_clock::now() - std::chrono::hours(1);
    std::chrono::system_clock::time_point notAfter =
        std::chrono::system_clock::now() + std::chrono::hours(24 * 365);
    std::vector<CertificateExtension> extensions{};
};

// The certificate of the key's public half, version 3, DER, signed by the key itself with SHA-256. Throws
// std::runtime_error with libcrypto's reasons for fields that libcrypto refuses.
Bytes makeCertificate(CertificateFields const& fields, TestKey const& key);

inline constexpr char const* systemTrustBundle = "/etc/ssl/certs/ca-certificates.crt";

// The certificates of a PEM file in its order, each as the bytes that stand there. Throws std::runtime_error
// when the file can't be read to its end or holds no certificate: a test over none would prove nothing.
std::vector<Bytes> readTrustBundle(std::filesystem::path const& file = systemTrustBundle);

} // namespace test_support
