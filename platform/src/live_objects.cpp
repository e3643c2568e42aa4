#include "live_objects.h"

#include <wincrypt_layer.h>

#include <atomic>

namespace wincrypt {
namespace {

// Threads count apart, so that they don't fight for one cache line at each step of a walk. An object may be
// removed by another thread than the one that added it: the sum alone counts.
constexpr unsigned stripeCount = 64;
struct alignas(64) Stripe {
    std::atomic<std::size_t> objects{0};
};
constinit Stripe stripes[stripeCount];

std::atomic<std::size_t>& ownCount() noexcept {
    static constinit std::atomic<unsigned> next{0};
    static constinit thread_local std::atomic<std::size_t>* own = nullptr;
    if (own == nullptr)
        own = &stripes[next.fetch_add(1, std::memory_order_relaxed) % stripeCount].objects;
    return *own;
}

} // namespace

void addLiveObject() noexcept { ownCount().fetch_add(1, std::memory_order_relaxed); }
void removeLiveObject() noexcept { ownCount().fetch_sub(1, std::memory_order_relaxed); }

} // namespace wincrypt

size_t WincryptLiveObjectCount(void) {
    size_t sum = 0;
    for (auto const& stripe : wincrypt::stripes)
        sum += stripe.objects.load();
    return sum;
}
