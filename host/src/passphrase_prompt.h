#pragma once

#include "secret_bytes.h"

#include <string>

namespace tvkstore {

// Asks for a passphrase without showing it, on the terminal of the process, whatever standard input is.
// Throws Failure, refused, when there is none or the user ends the question.
SecretBytes askPassphrase(std::string const& object);

} // namespace tvkstore
