#pragma once

#include <string>

namespace tvkstore {

// The DER encoding of the name that a text stands for (RFC 2253, in UTF-8): last relative name first,
// attribute types by the names that "list" shows or as dotted object identifiers, values as text or as '#'
// and the digits of an encoding. Throws Failure, usage, that names `option`, for a text that isn't one.
std::string encodeName(std::string const& option, std::string const& text);

} // namespace tvkstore
