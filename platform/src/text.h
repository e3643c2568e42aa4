// Conversions between UTF-8, which the layer keeps, and wide text, whose width is the compiler's.
#pragma once

#include "bytes.h"

#include <optional>
#include <string>
#include <string_view>

namespace wincrypt {

// All of these give nothing for text that is not well formed (RFC 3629: no surrogates, no overlong forms).
std::optional<std::string> narrow(std::wstring_view text);
std::optional<std::wstring> widen(std::string_view text);
bool isUtf8(std::string_view text);

// Appends one character; one that is no Unicode scalar value, or a zero, becomes U+FFFD.
void appendUtf8(std::string& text, char32_t character);

} // namespace wincrypt
