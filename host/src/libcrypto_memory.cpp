#include "libcrypto_memory.h"

#include <tvkcore/base/tvkbuffer.h>

#include <openssl/crypto.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <malloc.h>

namespace tvkstore {

namespace {

void release(void* memory, char const* /*file*/, int /*line*/) {
    if (memory != nullptr) {
        tvk_secure_wipe(memory, ::malloc_usable_size(memory));
        std::free(memory);
    }
}

void* allocate(std::size_t size, char const* /*file*/, int /*line*/) { return std::malloc(size); }

// The system's own would leave the former place as it is.
void* reallocate(void* memory, std::size_t size, char const* file, int line) {
    if (size == 0) {
        release(memory, file, line);
        return nullptr;
    }
    void* const larger = std::malloc(size);
    if (larger != nullptr && memory != nullptr) {
        std::memcpy(larger, memory, std::min(size, ::malloc_usable_size(memory)));
        release(memory, file, line);
    }
    return larger;
}

} // namespace

void wipeLibcryptoMemory() {
    // It refuses only once it has memory of its own; what it frees is then as any program leaves it.
    CRYPTO_set_mem_functions(allocate, reallocate, release);
}

} // namespace tvkstore
