#pragma once

#include <atomic>
#include <cstddef>

namespace wincrypt {

// Handles and certificate contexts that the process holds open.
inline constinit std::atomic<std::size_t> liveObjects{0};

} // namespace wincrypt
