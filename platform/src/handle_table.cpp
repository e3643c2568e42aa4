#include "handle_table.h"

#include "live_objects.h"
#include "process_locks.h"
#include "stripes.h"

#include <vector>

namespace wincrypt {
namespace {

// Layout from the lowest bit: kind 4, shard 4, index, generation.
static_assert(handleShards == 16);

constexpr bool isWide = sizeof(ULONG_PTR) == 8;
constexpr unsigned indexBits = isWide ? 24 : 14;
constexpr std::uint32_t maximumIndex = (1U << indexBits) - 1;
constexpr unsigned generationShift = 8 + indexBits;
constexpr auto maximumGeneration = static_cast<std::uint32_t>(~ULONG_PTR{0} >> generationShift);

struct Slot {
    std::shared_ptr<void> object;
    std::uint32_t generation = 1;
    HandleKind kind{};
};

struct alignas(stripeAlignment) Shard {
    std::vector<Slot> slots;
    std::vector<std::uint32_t> free;
};

// Never destroyed: a thread may still hold handles while the process ends.
Shard* shards() {
    static Shard* const all = new Shard[handleShards];
    return all;
}

Slot* locate(HandleKind kind, ULONG_PTR handle, Shard& shard) noexcept {
    std::size_t const index = (handle >> 8) & maximumIndex;
    if ((handle & 0xF) != static_cast<ULONG_PTR>(kind) || index >= shard.slots.size())
        return nullptr;
    Slot& slot = shard.slots[index];
    return slot.object && slot.kind == kind && slot.generation == handle >> generationShift ? &slot : nullptr;
}

} // namespace

ULONG_PTR insertHandle(HandleKind kind, std::shared_ptr<void> object) {
    std::size_t const number = threadNumber() % handleShards;
    Shard& shard = shards()[number];
    std::lock_guard const lock(processLock(ProcessLock::handles, number));
    std::uint32_t index;
    if (!shard.free.empty()) {
        index = shard.free.back();
        shard.free.pop_back();
    } else {
        if (shard.slots.size() > maximumIndex)
            fail(ERROR_NOT_ENOUGH_MEMORY);
        shard.free.reserve(shard.slots.size() + 1); // so that a release can't fail
        index = static_cast<std::uint32_t>(shard.slots.size());
        shard.slots.emplace_back();
    }
    Slot& slot = shard.slots[index];
    slot.object = std::move(object);
    slot.kind = kind;
    addLiveObject();
    return static_cast<ULONG_PTR>(slot.generation) << generationShift | static_cast<ULONG_PTR>(index) << 8 |
           number << 4 | static_cast<ULONG_PTR>(kind);
}

std::shared_ptr<void> findHandle(HandleKind kind, ULONG_PTR handle) noexcept {
    std::size_t const number = (handle >> 4) & 0xF;
    Shard& shard = shards()[number];
    std::lock_guard const lock(processLock(ProcessLock::handles, number));
    Slot const* const slot = locate(kind, handle, shard);
    return slot != nullptr ? slot->object : nullptr;
}

std::shared_ptr<void> removeHandle(HandleKind kind, ULONG_PTR handle) noexcept {
    std::size_t const number = (handle >> 4) & 0xF;
    Shard& shard = shards()[number];
    std::lock_guard const lock(processLock(ProcessLock::handles, number));
    Slot* const slot = locate(kind, handle, shard);
    if (slot == nullptr)
        return nullptr;
    std::shared_ptr<void> object = std::move(slot->object);
    slot->object = nullptr;
    // A slot whose generations are used up is left out of use: no handle is ever given out twice. Narrow
    // handles have too few for that, and there the first comes again.
    bool const isUsedUp = slot->generation == maximumGeneration;
    slot->generation = isUsedUp ? 1 : slot->generation + 1;
    if (!isUsedUp || !isWide)
        shard.free.push_back(static_cast<std::uint32_t>((handle >> 8) & maximumIndex));
    removeLiveObject();
    return object;
}

} // namespace wincrypt
