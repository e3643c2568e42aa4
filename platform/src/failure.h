// The one exception of the layer: a published error value on its way to the boundary.
#pragma once

#include <windows.h>

#include <exception>

namespace wincrypt {

class Failure : public std::exception {
public:
    explicit Failure(DWORD code) noexcept : code_(code) {}
    DWORD code() const noexcept { return code_; }
    char const* what() const noexcept override { return "published error value"; }

private:
    DWORD code_;
};

// Error values are published partly as DWORD and partly as HRESULT; GetLastError gives the former.
template <class Value>
constexpr DWORD errorValue(Value value) noexcept {
    return static_cast<DWORD>(value);
}

template <class Value>
[[noreturn]] void fail(Value value) {
    throw Failure(errorValue(value));
}

} // namespace wincrypt
