#pragma once

#include <tvkcore/base/tvkbuffer.h>

#include <memory>
#include <string_view>
#include <vector>

namespace tvkstore {

// Memory that is wiped before it is given back.
template <typename T>
struct WipingAllocator {
    using value_type = T;

    WipingAllocator() = default;
    template <typename Other>
    WipingAllocator(WipingAllocator<Other> const&) {}

    T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
    void deallocate(T* memory, std::size_t count) noexcept {
        tvk_secure_wipe(memory, count * sizeof(T));
        std::allocator<T>().deallocate(memory, count);
    }

    friend bool operator==(WipingAllocator const&, WipingAllocator const&) { return true; }
};

// Private keys and passphrases. A string would keep short ones inside itself, where nobody wipes them.
using SecretBytes = std::vector<char, WipingAllocator<char>>;

inline std::string_view bytesOf(SecretBytes const& secret) { return {secret.data(), secret.size()}; }

inline void append(SecretBytes& secret, std::string_view bytes) {
    secret.insert(secret.end(), bytes.begin(), bytes.end());
}

} // namespace tvkstore
