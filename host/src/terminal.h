#pragma once

#include "secret_bytes.h"

#include <string>

namespace tvkstore {

// Asks on the terminal of standard input whether to go on; only "y" and "yes" mean so.
bool confirm(std::string const& question);

// Whether somebody can be asked by `confirm`.
bool canConfirm();

// Asks for a passphrase without showing it, on the terminal of the process, whatever standard input is.
// Throws Failure, refused, when there is none or the user ends the question.
SecretBytes askPassphrase(std::string const& object);

} // namespace tvkstore
