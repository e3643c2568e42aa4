#pragma once

#include "cspmanager.h"

#include <tvkcore/kry/tvkkrykey.h>

#include <windows.h>

#include <wincrypt.h>

// What the algorithm objects of the module have in common: their own handle on the key store, and a key that
// is a reference into a provider.

// A new handle on the manager's state, owned by the caller.
CSPManager* duplicateManager(CSPManager const& manager);

// Throws the toolkit's exception when the key's blob isn't a key record. Neither type nor algorithm is looked
// at.
void requireKeyRecord(TVKKRYKey const& key);

// Opens the key that the reference leads to: by certificate identifier in the manager's store, or by provider
// and container. The handles are the caller's, also a provider handle that was set before a throw; both stay
// as they are when the store has no such certificate. Throws 578012.
void openReferredKey(TVKKRYKey const& key, CSPManager& manager, HCRYPTPROV* provider, HCRYPTKEY* keyHandle);
