#pragma once

#include "token_directory.h"

namespace wincrypt {

// The provider on a token: its containers are the labels of its RSA keys, the same for both scopes.
std::shared_ptr<Provider> tokenProvider(NamedToken token);

} // namespace wincrypt
