#pragma once

#include "provider.h"

namespace wincrypt {

// The provider on libcrypto, whose keys lie sealed in the scope's database.
std::shared_ptr<Provider> softwareProvider();

} // namespace wincrypt
