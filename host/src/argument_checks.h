#pragma once

#include <string>

namespace tvkstore {

// A check for an option's value. An empty one is most often a variable that a script forgot to set.
inline std::string checkNotEmpty(std::string const& text) { return text.empty() ? "is empty" : ""; }

} // namespace tvkstore
