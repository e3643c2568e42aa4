#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace test_support {

using Bytes = std::vector<std::uint8_t>;

// Bytes from pairs of hexadecimal digits; spaces don't count.
inline Bytes fromHex(std::string digits) {
    std::erase(digits, ' ');
    Bytes bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    return bytes;
}

inline std::string toHex(unsigned char const* bytes, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += "0123456789abcdef"[bytes[i] >> 4];
        text += "0123456789abcdef"[bytes[i] & 0x0F];
    }
    return text;
}

inline std::string toHex(Bytes const& bytes) { return toHex(bytes.data(), bytes.size()); }

} // namespace test_support
