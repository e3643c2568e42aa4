#include "stripes.h"

#include <atomic>
#include <limits>

namespace wincrypt {

std::size_t threadNumber() noexcept {
    constexpr std::size_t notChosen = std::numeric_limits<std::size_t>::max();
    static constinit std::atomic<std::size_t> next{0};
    static constinit thread_local std::size_t own = notChosen;
    if (own == notChosen)
        own = next.fetch_add(1, std::memory_order_relaxed);
    return own;
}

} // namespace wincrypt
