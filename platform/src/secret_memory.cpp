#include "secret_memory.h"

#include <openssl/crypto.h>

#include <array>
#include <atomic>
#include <bit>
#include <cstdint>
#include <new>
#include <sanitizer/asan_interface.h>
#include <sys/mman.h>

namespace wincrypt {
namespace {

std::byte* mapUndumped(std::size_t size) {
    void* const memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        throw std::bad_alloc();
    // Neither is known everywhere, and a secret is kept all the same.
    ::madvise(memory, size, MADV_DONTDUMP);
    ::mlock2(memory, size, MLOCK_ONFAULT);
    return static_cast<std::byte*>(memory);
}

// Places of one size. Which are taken stands in bits and under no lock, so that a child can be forked while a
// thread is here.
template <std::size_t placeSize, std::size_t placeCount>
class Pool {
public:
    explicit Pool(std::byte* memory) noexcept : memory_(memory) { ASAN_POISON_MEMORY_REGION(memory, size); }

    static constexpr std::size_t size = placeSize * placeCount;

    // Null when the size doesn't fit or all places are taken.
    void* allocate(std::size_t wanted) noexcept {
        if (wanted > placeSize)
            return nullptr;
        for (std::size_t i = 0; i < words_.size(); ++i)
            for (std::uint32_t taken = words_[i].load(std::memory_order_relaxed); ~taken != 0;) {
                auto const bit = static_cast<std::size_t>(std::countr_one(taken));
                if (!words_[i].compare_exchange_weak(taken, taken | std::uint32_t{1} << bit,
                                                     std::memory_order_acquire))
                    continue;
                std::byte* const place = memory_ + (i * bitsInWord + bit) * placeSize;
                ASAN_UNPOISON_MEMORY_REGION(place, wanted);
                return place;
            }
        return nullptr;
    }

    // False for memory of others.
    bool release(void* memory) noexcept {
        auto const offset =
            reinterpret_cast<std::uintptr_t>(memory) - reinterpret_cast<std::uintptr_t>(memory_);
        if (offset >= size)
            return false;
        ASAN_POISON_MEMORY_REGION(memory, placeSize);
        std::size_t const place = offset / placeSize;
        words_[place / bitsInWord].fetch_and(~(std::uint32_t{1} << place % bitsInWord),
                                             std::memory_order_release);
        return true;
    }

private:
    static constexpr std::size_t bitsInWord = 32;
    static_assert(placeCount % bitsInWord == 0);

    std::byte* const memory_;
    std::array<std::atomic<std::uint32_t>, placeCount / bitsInWord> words_{};
};

// One mapping for all: sealing keys and integers, and keys of all ordinary sizes.
struct Pools {
    using Small = Pool<512, 128>;
    using Large = Pool<4096, 64>;

    std::byte* const memory = mapUndumped(Small::size + Large::size);
    Small small{memory};
    Large large{memory + Small::size};
};

// Never destroyed: a thread may still be in a call while the process ends.
Pools& pools() {
    static auto* const all = new Pools;
    return *all;
}

} // namespace

void* allocateSecret(std::size_t size) {
    Pools& all = pools();
    if (void* const place = all.small.allocate(size))
        return place;
    if (void* const place = all.large.allocate(size))
        return place;
    return mapUndumped(size);
}

void releaseSecret(void* memory, std::size_t size) noexcept {
    OPENSSL_cleanse(memory, size);
    Pools& all = pools();
    if (!all.small.release(memory) && !all.large.release(memory))
        ::munmap(memory, size);
}

} // namespace wincrypt
