#pragma once

#include <string>

namespace tvkstore {

// UTF-8 text as the platform's calls take it. Throws Failure, usage, for text that isn't UTF-8.
std::wstring wideOf(std::string const& text);

} // namespace tvkstore
