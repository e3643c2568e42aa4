// Handles are an index, a generation and a kind, looked up in a table: whatever number a caller passes is
// either a living object of the right kind or ERROR_INVALID_HANDLE.
#pragma once

#include "failure.h"

#include <cstdint>
#include <memory>

namespace wincrypt {

enum class HandleKind : std::uint8_t { provider = 1, key = 2, hash = 3, store = 4 };

ULONG_PTR insertHandle(HandleKind kind, std::shared_ptr<void> object);
std::shared_ptr<void> findHandle(HandleKind kind, ULONG_PTR handle) noexcept;   // null when there is none
std::shared_ptr<void> removeHandle(HandleKind kind, ULONG_PTR handle) noexcept; // null when there is none

// An object type names its kind in a static member `handleKind`.
template <class Object>
ULONG_PTR makeHandle(std::shared_ptr<Object> object) {
    return insertHandle(Object::handleKind, std::move(object));
}

template <class Object>
std::shared_ptr<Object> objectOf(ULONG_PTR handle) {
    auto object = std::static_pointer_cast<Object>(findHandle(Object::handleKind, handle));
    if (!object)
        fail(ERROR_INVALID_HANDLE);
    return object;
}

template <class Object>
std::shared_ptr<Object> takeObject(ULONG_PTR handle) {
    auto object = std::static_pointer_cast<Object>(removeHandle(Object::handleKind, handle));
    if (!object)
        fail(ERROR_INVALID_HANDLE);
    return object;
}

} // namespace wincrypt
