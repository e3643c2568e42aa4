#include "terminal_text.h"

#include <clocale>
#include <cstdio>
#include <cwchar>
#include <cwctype>

namespace wincryptctl {
namespace {

struct Character {
    std::size_t length; // in bytes
    wchar_t value;
    bool valid;
};

Character firstOf(std::string_view text) {
    std::mbstate_t state{};
    wchar_t value = 0;
    std::size_t const length = std::mbrtowc(&value, text.data(), text.size(), &state);
    if (length > text.size()) // also what stands for an invalid or unfinished character
        return {1, static_cast<unsigned char>(text.front()), false};
    return {length == 0 ? 1 : length, value, true};
}

bool isHarmless(wchar_t value) {
    bool const isMark = (value >= 0x200B && value <= 0x200F) || (value >= 0x2028 && value <= 0x202E) ||
                        (value >= 0x2060 && value <= 0x206F) || value == 0x061C || value == 0xFEFF;
    return !isMark && std::iswprint(static_cast<std::wint_t>(value)) != 0;
}

} // namespace

void useUtf8() { std::setlocale(LC_CTYPE, "C.UTF-8"); }

std::string printable(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        Character const character = firstOf(text);
        if (character.valid && isHarmless(character.value)) {
            out += text.substr(0, character.length);
        } else {
            char number[24];
            std::snprintf(number, sizeof number, character.valid ? "\\u{%lX}" : "\\x%02lX",
                          static_cast<unsigned long>(character.value));
            out += number;
        }
        text.remove_prefix(character.length);
    }
    return out;
}

std::size_t displayWidth(std::string_view text) {
    std::size_t width = 0;
    while (!text.empty()) {
        Character const character = firstOf(text);
        int const columns = ::wcwidth(character.value);
        width += columns > 0 ? static_cast<std::size_t>(columns) : 0;
        text.remove_prefix(character.length);
    }
    return width;
}

} // namespace wincryptctl
