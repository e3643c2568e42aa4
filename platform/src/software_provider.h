#pragma once

#include "provider.h"

namespace wincrypt {

// The provider on libcrypto, whose keys lie sealed in the scope's database.
std::shared_ptr<Provider> softwareProvider();

// A container without a name, whose keys lie in the process's memory and go with it.
std::shared_ptr<Container> temporaryContainer();

// libcrypto's random generator.
void fillWithRandom(std::span<std::uint8_t> octets);

} // namespace wincrypt
