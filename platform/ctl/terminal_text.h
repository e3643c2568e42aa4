#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace wincryptctl {

// Has the functions below read UTF-8, whatever the caller's environment says.
void useUtf8();

// The text for a terminal: control characters, invisible and direction marks and bytes that aren't UTF-8 are
// shown by their numbers. Names in a database come from strangers.
std::string printable(std::string_view text);

// Columns that a printable text takes on a terminal.
std::size_t displayWidth(std::string_view text);

} // namespace wincryptctl
