#pragma once

#include "text.h"

#include <string>

namespace tvkstore {

// A check for an option's value. An empty one is most often a variable that a script forgot to set.
inline std::string checkNotEmpty(std::string const& text) { return text.empty() ? "is empty" : ""; }

// Labels may hold any text, and an empty one is one too.
inline std::string checkLabel(std::string const& text) { return isLabel(text) ? "" : "isn't UTF-8 text"; }

} // namespace tvkstore
