#pragma once

#include <string>

namespace tvkstore {

// A wide text of the platform in UTF-8; empty for null.
std::string utf8Of(wchar_t const* wide);

} // namespace tvkstore
