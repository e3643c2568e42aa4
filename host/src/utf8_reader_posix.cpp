#include "utf8_reader.h"

#include <cwchar>
#include <cwctype>
#include <locale.h>

namespace tvkstore {

// A thread locale for UTF-8, so that the caller's environment doesn't change what a byte means. Where the
// system has none, every byte above 127 counts as invalid.
Utf8Reader::Utf8Reader() : locale_(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {
    if (locale_ != nullptr) {
        before_ = uselocale(static_cast<locale_t>(locale_));
    }
}

Utf8Reader::~Utf8Reader() {
    if (locale_ != nullptr) {
        uselocale(static_cast<locale_t>(before_));
        freelocale(static_cast<locale_t>(locale_));
    }
}

Utf8Character Utf8Reader::first(std::string_view text) const {
    std::mbstate_t state{};
    wchar_t value = 0;
    std::size_t const length = std::mbrtowc(&value, text.data(), text.size(), &state);
    if (length == 0) {
        return {true, 1, U'\0'};
    }
    if (length > text.size()) {
        return {false, 1, U'\0'};
    }
    return {true, length, static_cast<char32_t>(value)};
}

bool Utf8Reader::isPrintable(char32_t character) const {
    return std::iswprint(static_cast<std::wint_t>(character)) != 0;
}

int Utf8Reader::columnsOf(char32_t character) const { return ::wcwidth(static_cast<wchar_t>(character)); }

} // namespace tvkstore
