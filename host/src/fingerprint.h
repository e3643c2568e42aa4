#pragma once

#include <string>

namespace tvkstore {

// The digest of the bytes as lower-case hexadecimal digits; `name` is "SHA1" or "SHA256". Throws Failure.
std::string fingerprint(char const* name, std::string const& bytes);

} // namespace tvkstore
