// How long tokens may take.
#pragma once

#include <chrono>

namespace wincrypt {

using TokenClock = std::chrono::steady_clock;

// For all modules together to say which tokens they have: WINCRYPT_TOKEN_DISCOVERY_TIMEOUT, else 5 seconds.
// Zero when they aren't to be asked.
std::chrono::milliseconds discoveryLimit();

// For one call to a token, waiting for its turn included: WINCRYPT_TOKEN_TIMEOUT, else 30 seconds.
std::chrono::milliseconds callLimit();

// Making a key takes a card longer, and so does a person.
inline std::chrono::milliseconds keyGenerationLimit() { return 10 * callLimit(); }
inline constexpr std::chrono::minutes personLimit{5};

} // namespace wincrypt
