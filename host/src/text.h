#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tvkstore {

// The text for a terminal: whatever would move the cursor, hide or reorder text (control characters,
// invisible and direction marks) and bytes that aren't UTF-8 are shown as \u{hex} and \xhex. Names come from
// certificates of strangers. Text is UTF-8 whatever the locale.
std::string printable(std::string_view text);

// Whether a text can be a label: UTF-8 without a zero character.
bool isLabel(std::string_view text);

// Columns that a printable text takes on a terminal.
std::size_t displayWidth(std::string_view text);

} // namespace tvkstore
