// What makes the layer usable on both sides of a fork. Locks that belong to the process are taken in their
// order before a fork and let go on both sides; work that a fork must not cut in two (a database statement, a
// private key operation inside libcrypto) holds a lease, and a fork waits for the leases to end. A lease is
// never asked for while a process lock is held.
#pragma once

#include <cstddef>
#include <mutex>

namespace wincrypt {

enum class ProcessLock : std::size_t {
    databases,
    keyCache,
    keyContexts,
    memoryStores,
    bundle,
    handles, // the first of handleShards locks
};

inline constexpr std::size_t handleShards = 16;

std::mutex& processLock(ProcessLock lock, std::size_t shard = 0) noexcept;

// Installs the fork handlers, once a process; called by what makes the first object.
void installForkHandlers();

class Lease {
public:
    Lease() noexcept;
    ~Lease();
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;
};

// Closes every idle database connection without a checkpoint: a connection must not be carried across a fork.
// Runs with all leases ended and all process locks held.
void closeConnectionsBeforeFork() noexcept;

} // namespace wincrypt
