#include "wide_text.h"

namespace tvkstore {

namespace {

void appendUtf8(std::string& text, char32_t character) {
    if (character < 0x80) {
        text += static_cast<char>(character);
        return;
    }
    int const following = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
    constexpr unsigned char leads[] = {0, 0xC0, 0xE0, 0xF0};
    text += static_cast<char>(leads[following] | (character >> (6 * following)));
    for (int i = following - 1; i >= 0; --i) {
        text += static_cast<char>(0x80 | ((character >> (6 * i)) & 0x3F));
    }
}

} // namespace

std::string utf8Of(wchar_t const* wide) {
    std::string text;
    for (; wide != nullptr && *wide != L'\0'; ++wide) {
        appendUtf8(text, static_cast<char32_t>(*wide));
    }
    return text;
}

} // namespace tvkstore
