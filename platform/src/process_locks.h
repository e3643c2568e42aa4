// What makes the layer usable on both sides of a fork, and while a process ends. Every call holds a lease
// from its beginning to its end, and a fork waits for the leases to end: so no lock of the layer, of
// libcrypto or of the database that one of our calls holds is copied locked. What a call may last, a fork in
// another thread may have to wait: for a long key as long as its generation takes. Locks that belong to the
// process are taken in their order before a fork and let go on both sides. A lease is never asked for while a
// process lock is held.
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
    tokens,
    handles, // the first of handleShards locks
};

inline constexpr std::size_t handleShards = 16;

std::mutex& processLock(ProcessLock lock, std::size_t shard = 0) noexcept;

// A thread that has one may take another, which costs nothing. The first of the process prepares it: fork
// handlers, libcrypto, what is done at the end. Errors: ERROR_NOT_ENOUGH_MEMORY and NTE_FAIL when that can't
// be.
class Lease {
public:
    Lease();
    ~Lease();
    Lease(Lease const&) = delete;
    Lease& operator=(Lease const&) = delete;
};

// Ends this thread's lease while it waits for something outside the process, which may take any time, and
// asks for it again. No process lock and nothing of the database is held over it.
class LeaseBreak {
public:
    LeaseBreak() noexcept;
    ~LeaseBreak();
    LeaseBreak(LeaseBreak const&) = delete;
    LeaseBreak& operator=(LeaseBreak const&) = delete;

private:
    int depth_;
};

// Lets go of the connections to token workers, which stay the parent's. Runs in the child of a fork with all
// process locks held.
void dropTokenWorkersInChild() noexcept;

// Closes every idle database connection without a checkpoint: a connection must not be carried across a fork.
// Runs with all leases ended and all process locks held.
void closeConnectionsBeforeFork() noexcept;

// Closes every connection, which brings the log into the database where no other process has it open; later
// ones close with their use. Runs with all leases ended.
void closeConnectionsAtExit() noexcept;

} // namespace wincrypt
