#include "utf8_reader.h"

#include <windows.h>

namespace tvkstore {

namespace {

constexpr char32_t kFirstBeyondWide = 0x10000;

// What the platform says of a character of the basic plane: a set of bits of one of its three kinds.
WORD typeOf(DWORD kind, char32_t character) {
    auto const wide = static_cast<wchar_t>(character);
    WORD type = 0;
    return GetStringTypeW(kind, &wide, 1, &type) != 0 ? type : WORD{0};
}

bool isFollowing(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

} // namespace

Utf8Reader::Utf8Reader() = default;

Utf8Reader::~Utf8Reader() = default;

// RFC 3629, 4.
Utf8Character Utf8Reader::first(std::string_view text) const {
    auto const lead = static_cast<unsigned char>(text.front());
    if (lead < 0x80) {
        return {true, 1, lead};
    }
    std::size_t const length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length) {
        return {false, 1, U'\0'};
    }
    char32_t value = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if (!isFollowing(text[i])) {
            return {false, 1, U'\0'};
        }
        value = (value << 6) | (static_cast<unsigned char>(text[i]) & 0x3FU);
    }
    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    bool const isHalf = value >= 0xD800 && value <= 0xDFFF;
    if (value < smallest[length] || value > 0x10FFFF || isHalf) {
        return {false, 1, U'\0'};
    }
    return {true, length, value};
}

bool Utf8Reader::isPrintable(char32_t character) const {
    if (character >= kFirstBeyondWide) {
        // Behind the ideographs come tags, which nobody sees, and private characters.
        return character < 0xE0000 && (character & 0xFFFE) != 0xFFFE;
    }
    WORD const type = typeOf(CT_CTYPE1, character);
    return type != 0 && (type & C1_CNTRL) == 0;
}

int Utf8Reader::columnsOf(char32_t character) const {
    if (!isPrintable(character)) {
        return -1;
    }
    if (character >= kFirstBeyondWide) {
        // Pictures and ideographs are two wide, letters of old scripts are not.
        return character >= 0x1F300 ? 2 : 1;
    }
    WORD const type = typeOf(CT_CTYPE3, character);
    if ((type & C3_NONSPACING) != 0) {
        return 0;
    }
    bool const isHangul = character >= 0xAC00 && character <= 0xD7A3;
    bool const isEastAsian = (type & (C3_KATAKANA | C3_HIRAGANA | C3_IDEOGRAPH | C3_FULLWIDTH)) != 0;
    return isHangul || (isEastAsian && (type & C3_HALFWIDTH) == 0) ? 2 : 1;
}

} // namespace tvkstore
