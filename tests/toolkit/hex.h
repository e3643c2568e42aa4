#pragma once

#include "support/bytes.h"

#include <tvkcore/base/tvkbuffer.h>

#include <string>
#include <string_view>

// Bytes from hexadecimal digits; everything else is passed over.
inline test_support::Bytes fromHex(std::string_view digits) {
    test_support::Bytes bytes;
    int high = -1;
    for (char const c : digits) {
        int const digit = c >= '0' && c <= '9'   ? c - '0'
                          : c >= 'a' && c <= 'f' ? c - 'a' + 10
                          : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                 : -1;
        if (digit < 0) {
            continue;
        }
        if (high < 0) {
            high = digit;
        } else {
            bytes.push_back(static_cast<std::uint8_t>(high * 16 + digit));
            high = -1;
        }
    }
    return bytes;
}

inline std::string toHex(unsigned char const* bytes, unsigned long count) {
    std::string text;
    for (unsigned long i = 0; i < count; ++i) {
        text += "0123456789abcdef"[bytes[i] >> 4];
        text += "0123456789abcdef"[bytes[i] & 0x0F];
    }
    return text;
}

inline std::string toHex(TVKASNCBuffer const& view) { return toHex(view.data, view.length); }

inline std::string toHex(TVKBuffer const& buffer) { return toHex(buffer.get()); }

inline std::string toHex(test_support::Bytes const& bytes) { return toHex(bytes.data(), bytes.size()); }

inline TVKASNCBuffer viewOf(test_support::Bytes const& bytes) {
    return {bytes.data(), static_cast<unsigned long>(bytes.size())};
}
