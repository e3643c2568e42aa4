#include "process_locks.h"

#include <atomic>
#include <pthread.h>
#include <sched.h>

namespace wincrypt {
namespace {

constexpr std::size_t lockCount = static_cast<std::size_t>(ProcessLock::handles) + handleShards;

constinit std::mutex locks[lockCount];
constinit std::atomic<int> leases{0};
constinit std::atomic<bool> forking{false};
constinit std::atomic<bool> installed{false};
thread_local int ownLeases = 0;

void beforeFork() {
    forking.store(true);
    while (leases.load() != ownLeases)
        ::sched_yield();
    for (std::mutex& lock : locks)
        lock.lock();
    if (ownLeases == 0)
        closeConnectionsBeforeFork();
}

void afterFork() {
    for (std::mutex& lock : locks)
        lock.unlock();
    forking.store(false);
}

} // namespace

std::mutex& processLock(ProcessLock lock, std::size_t shard) noexcept {
    return locks[static_cast<std::size_t>(lock) + shard];
}

void installForkHandlers() {
    // A second thread that comes here in between finds the flag set and makes at most one object before the
    // handlers stand; only a fork at that very moment would miss them.
    if (!installed.load(std::memory_order_acquire) && !installed.exchange(true))
        ::pthread_atfork(beforeFork, afterFork, afterFork);
}

Lease::Lease() noexcept {
    // A thread that has one already may take another: the fork waits for the outer one anyway.
    if (ownLeases++ > 0) {
        leases.fetch_add(1);
        return;
    }
    for (;;) {
        leases.fetch_add(1);
        if (!forking.load())
            return;
        leases.fetch_sub(1);
        while (forking.load())
            ::sched_yield();
    }
}

Lease::~Lease() {
    leases.fetch_sub(1);
    --ownLeases;
}

} // namespace wincrypt
