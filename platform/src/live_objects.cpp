#include "live_objects.h"

#include "stripes.h"

#include <wincrypt_layer.h>

#include <atomic>

namespace wincrypt {
namespace {

// An object may be removed by another thread than the one that added it: the sum alone counts.
constexpr std::size_t stripeCount = 64;
struct alignas(stripeAlignment) Stripe {
    std::atomic<std::size_t> objects{0};
};
constinit Stripe stripes[stripeCount];

std::atomic<std::size_t>& ownCount() noexcept { return stripes[threadNumber() % stripeCount].objects; }

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
