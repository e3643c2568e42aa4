#pragma once

#include <string>

namespace wincrypt {

// Name of the effective user, its number where the system knows no name. It names the default container.
std::string loginName();

} // namespace wincrypt
