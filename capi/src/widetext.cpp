#include "widetext.h"

#include "untilunloaded.h"

#include <tvkcore/base/tvkexception.h>
#include <tvkcore/base/tvkwideinterntable.h>

#include <algorithm>
#include <climits>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <string>

namespace {

constexpr auto kFailed = static_cast<std::size_t>(-1);

#if defined(_WIN32)
static_assert(sizeof(wchar_t) == 2, "the width of that platform's texts");

// That platform's conversions follow the process's locale.
class Utf8Thread {};
#else
// Gives the thread a UTF-8 locale while it lives.
class Utf8Thread {
public:
    Utf8Thread() : before_(uselocale(utf8())) {}
    ~Utf8Thread() { uselocale(before_); }
    Utf8Thread(Utf8Thread const&) = delete;
    Utf8Thread& operator=(Utf8Thread const&) = delete;

private:
    struct Locale {
        locale_t handle = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(nullptr));
        Locale() = default;
        Locale(Locale const&) = delete;
        Locale& operator=(Locale const&) = delete;
        ~Locale() {
            if (handle != nullptr) {
                freelocale(handle);
            }
        }
    };

    static locale_t utf8() {
        static UntilUnloaded<Locale> s_locale;
        return s_locale.get().handle;
    }

    locale_t before_;
};
#endif

// Most names are, and are the same in every encoding; making a locale takes a good part of a short program's
// time.
template <typename Character>
bool isAscii(Character const* text, std::size_t length) {
    return std::all_of(text, text + length,
                       [](Character each) { return each > Character{0} && each < Character{0x7F}; });
}

} // namespace

bool widen(TVKString const& text, wchar_t* wide) {
    std::size_t const room = text.length() + std::size_t{1};
    std::fill_n(wide, room, L'\0');
    if (isAscii(text.c_str(), text.length())) {
        std::copy_n(text.c_str(), text.length(), wide);
        return true;
    }
    [[maybe_unused]] Utf8Thread const utf8;
    bool const whole = std::strlen(text.c_str()) == text.length();
    if (!whole || std::mbstowcs(wide, text.c_str(), room) == kFailed) {
        std::fill_n(wide, room, L'\0');
        return false;
    }
    return true;
}

void raiseNotConvertible() {
    throw TVKException("./capi/src/widetext", __LINE__, TVKCORE_TEXT_NOT_CONVERTIBLE,
                       "a name isn't UTF-8 text");
}

void requireConvertible(TVKString const& text) {
    if (!widen(text, std::make_unique<wchar_t[]>(text.length() + std::size_t{1}).get())) {
        raiseNotConvertible();
    }
}

wchar_t* widenForGood(TVKString const& text) {
    auto const wide = std::make_unique<wchar_t[]>(text.length() + std::size_t{1});
    if (!widen(text, wide.get())) {
        raiseNotConvertible();
    }
    return TVKWideInternTable::intern(wide.get());
}

std::optional<TVKString> narrow(wchar_t const* wide) {
    if (std::size_t const length = std::wcslen(wide); isAscii(wide, length)) {
        std::string const text(wide, wide + length);
        return TVKString(text.c_str(), static_cast<unsigned int>(length));
    }
    [[maybe_unused]] Utf8Thread const utf8;
    std::size_t const length = std::wcstombs(nullptr, wide, 0);
    if (length == kFailed) {
        return std::nullopt;
    }
    auto const text = std::make_unique<char[]>(length + 1);
    if (std::wcstombs(text.get(), wide, length + 1) == kFailed) {
        return std::nullopt;
    }
    text[length] = '\0';
    return TVKString(text.get(), static_cast<unsigned int>(length));
}

namespace {

std::wstring wideTextOf(TVKBuffer const& property) {
    std::size_t const room = property.getLength() / sizeof(wchar_t);
    std::wstring wide(room, L'\0');
    if (room != 0) {
        std::memcpy(wide.data(), property.getValue(), room * sizeof(wchar_t));
    }
    wide.resize(std::wcslen(wide.c_str()));
    return wide;
}

} // namespace

std::optional<TVKString> narrowPropertyExactly(TVKBuffer const& property) {
    return narrow(wideTextOf(property).c_str());
}

TVKString narrowProperty(TVKBuffer const& property) {
    if (std::optional<TVKString> text = narrowPropertyExactly(property)) {
        return *text;
    }
    [[maybe_unused]] Utf8Thread const utf8;
    std::string text;
    for (wchar_t const character : wideTextOf(property)) {
        char bytes[MB_LEN_MAX];
        std::mbstate_t state{};
        std::size_t const count = std::wcrtomb(bytes, character, &state);
        text += count == kFailed ? std::string("\xEF\xBF\xBD") : std::string(bytes, count);
    }
    return {text.data(), static_cast<unsigned int>(text.size())};
}
