#include "text.h"

namespace wincrypt {
namespace {

constexpr char32_t replacement = 0xFFFD;

bool isScalar(char32_t value) noexcept { return value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF); }

void encode(std::string& text, char32_t value) {
    auto const put = [&](char32_t byte) { text += static_cast<char>(static_cast<unsigned char>(byte)); };
    if (value < 0x80) {
        put(value);
        return;
    }
    if (value < 0x800) {
        put(0xC0 | value >> 6);
    } else if (value < 0x10000) {
        put(0xE0 | value >> 12);
        put(0x80 | (value >> 6 & 0x3F));
    } else {
        put(0xF0 | value >> 18);
        put(0x80 | (value >> 12 & 0x3F));
        put(0x80 | (value >> 6 & 0x3F));
    }
    put(0x80 | (value & 0x3F));
}

// Decodes the character at `place` and moves on; nothing where the bytes are not well formed.
std::optional<char32_t> decode(std::string_view text, std::size_t& place) {
    auto const byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    unsigned char const first = byte(place++);
    if (first < 0x80)
        return first;
    int const following = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
    if (first < 0xC2 || first > 0xF4)
        return std::nullopt;
    char32_t value = first & (0x3F >> following);
    for (int i = 0; i < following; ++i) {
        if (place >= text.size() || (byte(place) & 0xC0) != 0x80)
            return std::nullopt;
        value = value << 6 | (byte(place++) & 0x3F);
    }
    char32_t const least = following == 3 ? 0x10000 : following == 2 ? 0x800 : 0x80;
    return value >= least && isScalar(value) ? std::optional(value) : std::nullopt;
}

} // namespace

std::optional<std::string> narrow(std::wstring_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto value = static_cast<char32_t>(text[i]);
        if constexpr (sizeof(wchar_t) == 2) {
            if (value >= 0xD800 && value < 0xDC00 && i + 1 < text.size()) {
                auto const low = static_cast<char32_t>(text[i + 1]);
                if (low >= 0xDC00 && low < 0xE000) {
                    value = 0x10000 + ((value - 0xD800) << 10) + (low - 0xDC00);
                    ++i;
                }
            }
        }
        if (!isScalar(value))
            return std::nullopt;
        encode(result, value);
    }
    return result;
}

std::optional<std::wstring> widen(std::string_view text) {
    std::wstring result;
    result.reserve(text.size());
    for (std::size_t place = 0; place < text.size();) {
        auto const value = decode(text, place);
        if (!value)
            return std::nullopt;
        if (sizeof(wchar_t) == 2 && *value >= 0x10000) {
            result += static_cast<wchar_t>(0xD800 + ((*value - 0x10000) >> 10));
            result += static_cast<wchar_t>(0xDC00 + ((*value - 0x10000) & 0x3FF));
        } else {
            result += static_cast<wchar_t>(*value);
        }
    }
    return result;
}

bool isUtf8(std::string_view text) {
    for (std::size_t place = 0; place < text.size();)
        if (!decode(text, place))
            return false;
    return true;
}

void appendUtf8(std::string& text, char32_t character) {
    encode(text, isScalar(character) && character != 0 ? character : replacement);
}

} // namespace wincrypt
