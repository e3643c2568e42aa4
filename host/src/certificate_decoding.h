#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tvkstore {

// Whether the bytes are one certificate and nothing else.
bool isCertificateEncoding(std::string_view encoding);

// Whether the bytes are one SubjectPublicKeyInfo in DER and nothing else.
bool isPublicKeyEncoding(std::string_view encoding);

struct CertificateSummary {
    std::string subject; // the name by which people know it; in plain letters when none can be told otherwise
    std::string publicKey; // as that of PrivateKey is written, where its kind is known
};

// Empty for bytes that aren't one certificate and nothing else.
std::optional<CertificateSummary> summariseCertificate(std::string_view encoding);

} // namespace tvkstore
