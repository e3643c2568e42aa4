#include "process_locks.h"

#include "failure.h"
#include "log.h"
#include "stripes.h"

#include <openssl/crypto.h>

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <new>
#include <pthread.h>
#include <sched.h>
#include <utility>

namespace wincrypt {
namespace {

constexpr std::size_t lockCount = static_cast<std::size_t>(ProcessLock::handles) + handleShards;

// Threads that take different locks don't wait for each other.
struct alignas(stripeAlignment) OwnLine {
    std::mutex mutex;
};
constinit OwnLine locks[lockCount];

// Two threads may fork at once: the second one waits for the first. New leases wait here too.
constinit std::mutex forkLock;
constinit std::atomic<bool> forking{false};
// A thread that forks inside a call carries the connections over; the child must not close them.
constinit bool carriedOver = false;

// Leases are counted where calls in different threads don't wait for each other's counting.
constexpr std::size_t stripeCount = 64;
struct alignas(stripeAlignment) Stripe {
    std::atomic<int> leases{0};
};
constinit Stripe stripes[stripeCount];

constinit thread_local int depth = 0;

std::atomic<int>& ownCount() noexcept { return stripes[threadNumber() % stripeCount].leases; }

// False when the other threads' leases haven't ended after so many pauses of 0.1 ms.
bool waitForLeases(long pauses) noexcept {
    std::atomic<int> const* const own = depth > 0 ? &ownCount() : nullptr;
    for (Stripe const& stripe : stripes) {
        int const wanted = &stripe.leases == own ? 1 : 0;
        constexpr int quickTries = 100;
        for (int tries = 0; stripe.leases.load() != wanted; ++tries) {
            if (tries < quickTries) {
                ::sched_yield();
                continue;
            }
            if (pauses-- == 0)
                return false;
            timespec const pause{0, 100'000};
            ::nanosleep(&pause, nullptr);
        }
    }
    return true;
}

void beforeFork() {
    forkLock.lock();
    forking.store(true);
    waitForLeases(std::numeric_limits<long>::max());
    for (OwnLine& lock : locks)
        lock.mutex.lock();
    if (depth == 0)
        closeConnectionsBeforeFork();
}

void afterFork() {
    for (OwnLine& lock : locks)
        lock.mutex.unlock();
    forking.store(false);
    forkLock.unlock();
}

void afterForkInChild() {
    // A thread that isn't here may have been about to take its count back.
    for (Stripe& stripe : stripes)
        stripe.leases.store(0);
    if (depth > 0) {
        ownCount().store(1);
        carriedOver = true;
    }
    dropTokenWorkersInChild();
    afterFork();
}

// Threads that the process has left may be in calls. They are held up while the connections close, but the
// end of the process isn't held up by them.
void atEnd() {
    constexpr long atMost = 5'000; // half a second
    if (carriedOver || !forkLock.try_lock())
        return;
    forking.store(true);
    if (waitForLeases(atMost))
        closeConnectionsAtExit();
    forking.store(false);
    forkLock.unlock();
}

void begin() {
    std::atomic<int>& count = ownCount();
    for (;;) {
        count.fetch_add(1);
        if (!forking.load())
            break;
        count.fetch_sub(1);
        std::lock_guard const untilForked(forkLock);
    }
}

constinit std::atomic<bool> prepared{false};

void prepareProcess() {
    static std::once_flag once;
    std::call_once(once, [] {
        // Threads may still be in calls while the process ends, so libcrypto must not be taken apart then.
        // Without its default context, which it makes once, it doesn't fail but breaks down.
        if (OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr) != 1 ||
            OSSL_LIB_CTX_get0_global_default() == nullptr) {
            logLine("libcrypto", "can't be initialised");
            fail(NTE_FAIL);
        }
        static bool handlersStand = false; // when only the last of the steps failed before
        if (!handlersStand && ::pthread_atfork(beforeFork, afterFork, afterForkInChild) != 0)
            throw std::bad_alloc();
        handlersStand = true;
        if (std::atexit(atEnd) != 0)
            throw std::bad_alloc();
        prepared.store(true, std::memory_order_release);
    });
}

} // namespace

std::mutex& processLock(ProcessLock lock, std::size_t shard) noexcept {
    return locks[static_cast<std::size_t>(lock) + shard].mutex;
}

Lease::Lease() {
    if (depth > 0) {
        ++depth;
        return;
    }
    if (!prepared.load(std::memory_order_acquire))
        prepareProcess();
    begin();
    depth = 1;
}

Lease::~Lease() {
    if (--depth == 0)
        ownCount().fetch_sub(1, std::memory_order_release);
}

LeaseBreak::LeaseBreak() noexcept : depth_(depth) {
    if (std::exchange(depth, 0) > 0)
        ownCount().fetch_sub(1, std::memory_order_release);
}

LeaseBreak::~LeaseBreak() {
    if (depth_ > 0)
        begin();
    depth = depth_;
}

} // namespace wincrypt
