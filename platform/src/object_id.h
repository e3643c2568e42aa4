// Object identifiers between their DER content octets (X.690, 8.19) and dotted decimal.
#pragma once

#include "bytes.h"

#include <optional>
#include <string>
#include <string_view>

namespace wincrypt {

// Whether these are content octets of an object identifier, of at most 128 octets.
bool isObjectId(ByteView content) noexcept;

// The dotted form takes at most so many characters, an end among them.
constexpr std::size_t dottedRoom(ByteView content) { return content.size() * 4 + 4; }

// Writes the dotted form and gives its end, where no zero stands yet; null for content octets that are no
// object identifier. Arcs of any size are taken.
char* writeObjectId(char* to, ByteView content);

// Content octets of a dotted form; nothing when it is none. Arcs up to 64 bits.
std::optional<Bytes> objectIdContent(std::string_view dotted);

namespace oid {
inline constexpr std::uint8_t rsaEncryption[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x01};
inline constexpr std::uint8_t ecPublicKey[] = {0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x02, 0x01};
inline constexpr std::uint8_t commonName[] = {0x55, 0x04, 0x03};
inline constexpr std::uint8_t organization[] = {0x55, 0x04, 0x0A};
inline constexpr std::uint8_t organizationalUnit[] = {0x55, 0x04, 0x0B};
inline constexpr std::uint8_t emailAddress[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x09, 0x01};
inline constexpr std::uint8_t subjectKeyIdentifier[] = {0x55, 0x1D, 0x0E};
} // namespace oid

} // namespace wincrypt
