// A PKCS#11 call that failed, and the published value that stands for it.
#pragma once

#include <windows.h>

#include <p11-kit/pkcs11.h>

#include <string>

namespace wincrypt {

struct Pkcs11Failure {
    CK_RV value;
    char const* call;

    std::string text() const; // call, value in hexadecimal, message
};

inline void check(CK_RV value, char const* call) {
    if (value != CKR_OK)
        throw Pkcs11Failure{value, call};
}

DWORD publishedValue(CK_RV value) noexcept;

// The session, the login or the objects that the worker knew of are gone, and can be had again if the token
// is there.
bool endsSession(CK_RV value) noexcept;

// The module may be in a state of which nothing more can be expected.
bool spoilsModule(CK_RV value) noexcept;

} // namespace wincrypt
