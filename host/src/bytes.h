#pragma once

#include "secret_bytes.h"

#include <string>
#include <string_view>

namespace tvkstore {

// Two digits a byte.
std::string upperHex(std::string_view bytes);
std::string lowerHex(std::string_view bytes);

// The content of a file, which may be a pipe. Throws Failure when it can't be read or holds more than 64 MiB.
std::string readFile(std::string const& path);
SecretBytes readSecretFile(std::string const& path);

} // namespace tvkstore
