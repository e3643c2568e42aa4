#include "text.h"

#include <clocale>
#include <cstdio>
#include <cwchar>
#include <cwctype>
#include <locale.h>

namespace tvkstore {

namespace {

// A thread locale for UTF-8, so that the caller's environment doesn't change what a byte means. Where the
// system has none, every byte above 127 counts as invalid and is shown as its number.
class Utf8Locale {
public:
    Utf8Locale() : locale_(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {
        if (locale_ != nullptr) {
            before_ = uselocale(locale_);
        }
    }
    ~Utf8Locale() {
        if (locale_ != nullptr) {
            uselocale(before_);
            freelocale(locale_);
        }
    }
    Utf8Locale(Utf8Locale const&) = delete;
    Utf8Locale& operator=(Utf8Locale const&) = delete;

private:
    locale_t locale_;
    locale_t before_ = nullptr;
};

struct Character {
    bool valid;
    std::size_t length; // in bytes, 1 for an invalid byte
    wchar_t value;
};

Character firstCharacter(std::string_view text) {
    std::mbstate_t state{};
    wchar_t value = 0;
    std::size_t const length = std::mbrtowc(&value, text.data(), text.size(), &state);
    if (length == 0) {
        return {true, 1, L'\0'};
    }
    if (length > text.size()) {
        return {false, 1, L'\0'};
    }
    return {true, length, value};
}

bool isHarmless(wchar_t value) {
    bool const isMark =
        (value >= L'\u200B' && value <= L'\u200F') || (value >= L'\u2028' && value <= L'\u202E') ||
        (value >= L'\u2060' && value <= L'\u206F') || value == L'\u061C' || value == L'\uFEFF';
    return !isMark && std::iswprint(static_cast<std::wint_t>(value)) != 0;
}

std::string escaped(char const* format, unsigned long number) {
    char text[24];
    std::snprintf(text, sizeof text, format, number);
    return text;
}

} // namespace

std::string printable(std::string_view text) {
    Utf8Locale const locale;
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        Character const character = firstCharacter(text);
        if (!character.valid) {
            out += escaped("\\x%02lX", static_cast<unsigned char>(text.front()));
        } else if (!isHarmless(character.value)) {
            out += escaped("\\u{%lX}", static_cast<unsigned long>(character.value));
        } else {
            out += text.substr(0, character.length);
        }
        text.remove_prefix(character.length);
    }
    return out;
}

bool isLabel(std::string_view text) {
    Utf8Locale const locale;
    while (!text.empty()) {
        Character const character = firstCharacter(text);
        if (!character.valid || character.value == L'\0') {
            return false;
        }
        text.remove_prefix(character.length);
    }
    return true;
}

std::size_t displayWidth(std::string_view text) {
    Utf8Locale const locale;
    std::size_t width = 0;
    while (!text.empty()) {
        Character const character = firstCharacter(text);
        int const columns = character.valid ? ::wcwidth(character.value) : 1;
        width += columns > 0 ? static_cast<std::size_t>(columns) : 0;
        text.remove_prefix(character.length);
    }
    return width;
}

} // namespace tvkstore
