#pragma once

#include "secret_bytes.h"

#include <optional>
#include <string_view>
#include <vector>

namespace tvkstore {

// One block of a PEM file (RFC 7468): what stands in its first line, and its text from there up to the next
// block, so that a damaged one hides no other. Both lie in the text that was taken apart.
struct PemBlock {
    std::string_view name;
    std::string_view text;
};

std::vector<PemBlock> splitPem(std::string_view content);

// What a block holds; nothing when its text is damaged. Encryption by the block's own header isn't undone.
std::optional<SecretBytes> decodePem(PemBlock const& block);

constexpr std::string_view kPemCertificate = "CERTIFICATE";
constexpr std::string_view kPemPublicKey = "PUBLIC KEY";
constexpr std::string_view kPemPrivateKey = "PRIVATE KEY"; // PKCS#8, in clear

bool isCertificate(std::string_view pemName);
bool isPublicKey(std::string_view pemName);
bool isPrivateKey(std::string_view pemName);

// The text of one block.
SecretBytes encodePem(std::string_view name, std::string_view bytes);

// The base64 digits of one line's bytes.
SecretBytes encodePemLine(std::string_view bytes);

} // namespace tvkstore
