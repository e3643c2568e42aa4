#pragma once

#include <string_view>

namespace wincrypt {

// Writes one line where WINCRYPT_LOG asks for it ("stderr" or a file, to which it is appended): what the
// error values can't say. Nothing is written without the variable. Never fails and never changes errno.
void logLine(std::string_view object, std::string_view cause) noexcept;

} // namespace wincrypt
