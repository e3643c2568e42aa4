// What threads change all the time stands in stripes, of which each thread mostly uses one: so they don't
// take lines of the cache from each other at each step of a walk.
#pragma once

#include <cstddef>

namespace wincrypt {

// Lines of the cache have 64 octets on most processors, and are fetched in pairs on many.
inline constexpr std::size_t stripeAlignment = 128;

// 0, 1, 2 and so on, in the order in which the threads first ask.
std::size_t threadNumber() noexcept;

} // namespace wincrypt
