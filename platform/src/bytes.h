// Byte strings, those that are wiped before their memory is given back, and the two-call size protocol.
#pragma once

#include "failure.h"
#include "secret_memory.h"

#include <openssl/crypto.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace wincrypt {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<std::uint8_t const>;

template <class T>
struct SecretAllocator {
    using value_type = T;
    SecretAllocator() noexcept = default;
    template <class U>
    SecretAllocator(SecretAllocator<U> const&) noexcept {}
    T* allocate(std::size_t count) { return static_cast<T*>(allocateSecret(count * sizeof(T))); }
    void deallocate(T* memory, std::size_t count) noexcept { releaseSecret(memory, count * sizeof(T)); }
    bool operator==(SecretAllocator const&) const noexcept = default;
};

using SecureBytes = std::vector<std::uint8_t, SecretAllocator<std::uint8_t>>;

inline bool equal(ByteView a, ByteView b) noexcept {
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size()) == 0);
}

inline ByteView viewOf(std::string_view text) noexcept {
    return {reinterpret_cast<std::uint8_t const*>(text.data()), text.size()};
}

// The view of a length and pointer pair that a caller gave; a length without bytes is refused.
inline ByteView viewOf(void const* data, DWORD length) {
    if (data == nullptr && length != 0)
        fail(ERROR_INVALID_PARAMETER);
    return {static_cast<std::uint8_t const*>(data), length};
}

inline DWORD lengthOf(std::size_t size) {
    if (size > std::numeric_limits<DWORD>::max())
        fail(NTE_BAD_LEN);
    return static_cast<DWORD>(size);
}

// The two-call protocol for a result that is at hand.
inline DWORD deliver(ByteView result, void* buffer, DWORD* length) {
    if (length == nullptr)
        return ERROR_INVALID_PARAMETER;
    DWORD const room = *length;
    *length = lengthOf(result.size());
    if (buffer == nullptr)
        return ERROR_SUCCESS;
    if (room < result.size())
        return ERROR_MORE_DATA;
    if (!result.empty())
        std::memcpy(buffer, result.data(), result.size());
    return ERROR_SUCCESS;
}

inline DWORD deliver(DWORD result, void* buffer, DWORD* length) {
    return deliver({reinterpret_cast<std::uint8_t const*>(&result), sizeof result}, buffer, length);
}

inline DWORD deliverText(std::string const& result, void* buffer, DWORD* length) {
    return deliver({reinterpret_cast<std::uint8_t const*>(result.c_str()), result.size() + 1}, buffer,
                   length);
}

} // namespace wincrypt
