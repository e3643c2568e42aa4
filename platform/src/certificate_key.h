// The way from a certificate's key reference to its container.
#pragma once

#include "properties.h"
#include "provider_objects.h"

namespace wincrypt {

// Opens the container that the reference names; never makes one. Errors: those of CryptAcquireContextA.
std::shared_ptr<ProviderContext> openReferenced(KeyReference const& reference);

} // namespace wincrypt
