#include "wide_text_windows.h"

#include "failure.h"
#include "wide_text.h"

#include <windows.h>
#include <algorithm>

namespace tvkstore {

std::string utf8Of(wchar_t const* wide) {
    if (wide == nullptr) {
        return {};
    }
    // The length that is asked for counts the zero at the end.
    int const size = WideCharToMultiByte(CP_UTF8, 0, wide, -1, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<std::size_t>(std::max(size, 1)), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide, -1, text.data(), size, nullptr, nullptr);
    text.pop_back();
    return text;
}

std::wstring wideOf(std::string const& text) {
    int const given = static_cast<int>(text.size());
    int const size = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), given, nullptr, 0);
    if (size <= 0 && given != 0) {
        throw Failure(ExitCode::usage, text + ": isn't UTF-8 text");
    }
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), given, wide.data(), size);
    return wide;
}

} // namespace tvkstore
