#pragma once

#include "bytes.h"

#include <optional>

namespace wincrypt {

// Asks a person at the terminal of this process for a line, which isn't shown. Nothing when there is no
// terminal, or this process runs in its background. An empty line, the end of input and an interrupting
// signal are SCARD_W_CANCELLED_BY_USER. Whatever happens, the terminal shows again what is typed.
std::optional<SecureBytes> askAtTerminal(std::string const& prompt);

// The same for the end of the process while the question stands. May be called by any thread.
void restoreTerminal() noexcept;

} // namespace wincrypt
