// The way from a certificate's key reference to its container.
#pragma once

#include "properties.h"
#include "provider_objects.h"

namespace wincrypt {

// Opens the container that the reference names, silently where the reference or CRYPT_SILENT in `flags` says
// so; never makes one. Errors: those of CryptAcquireContextA.
std::shared_ptr<ProviderContext> openReferenced(KeyReference const& reference, DWORD flags = 0);

} // namespace wincrypt
