#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tvkstore {

struct CertificateExtensionText {
    std::string name;
    bool critical;
    std::string text; // lines
};

// What "show" tells beyond "list".
struct CertificateDetails {
    long version; // as people count, from 1
    std::string signatureAlgorithm;
    std::string publicKeyAlgorithm;
    int publicKeyBits; // 0 where the kind of key isn't known
    std::vector<CertificateExtensionText> extensions;
};

// Empty for an encoding that can't be decoded.
std::optional<CertificateDetails> certificateDetails(std::string const& encoding);

} // namespace tvkstore
