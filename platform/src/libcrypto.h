// Owners for libcrypto's objects, and what every use of it needs besides the call's lease.
#pragma once

#include "failure.h"
#include "log.h"

#include <openssl/bn.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/params.h>

#include <memory>
#include <new>

namespace wincrypt {

template <auto Free>
struct FreeWith {
    template <class T>
    void operator()(T* object) const noexcept {
        Free(object);
    }
};

using PkeyPtr = std::unique_ptr<EVP_PKEY, FreeWith<EVP_PKEY_free>>;
using PkeyContextPtr = std::unique_ptr<EVP_PKEY_CTX, FreeWith<EVP_PKEY_CTX_free>>;
using DigestContextPtr = std::unique_ptr<EVP_MD_CTX, FreeWith<EVP_MD_CTX_free>>;
using CipherContextPtr = std::unique_ptr<EVP_CIPHER_CTX, FreeWith<EVP_CIPHER_CTX_free>>;
using BignumPtr = std::unique_ptr<BIGNUM, FreeWith<BN_clear_free>>;
using BignumContextPtr = std::unique_ptr<BN_CTX, FreeWith<BN_CTX_free>>;
using ParamBuilderPtr = std::unique_ptr<OSSL_PARAM_BLD, FreeWith<OSSL_PARAM_BLD_free>>;
using ParamsPtr = std::unique_ptr<OSSL_PARAM, FreeWith<OSSL_PARAM_free>>;

// Errors that our calls leave in the thread's queue are not the host's to find there.
class ErrorQueueGuard {
public:
    ErrorQueueGuard() noexcept { ERR_set_mark(); }
    ~ErrorQueueGuard() { ERR_pop_to_mark(); }
    ErrorQueueGuard(ErrorQueueGuard const&) = delete;
    ErrorQueueGuard& operator=(ErrorQueueGuard const&) = delete;
};

// Of what libcrypto didn't do: throws std::bad_alloc when it lacked memory. Under an ErrorQueueGuard.
inline void requireMemory() {
    for (unsigned long const error : {ERR_peek_error(), ERR_peek_last_error()})
        if (ERR_GET_REASON(error) == ERR_R_MALLOC_FAILURE)
            throw std::bad_alloc();
}

// The error value for it, unless it lacked memory.
template <class Value>
[[noreturn]] void failLibcrypto(Value value) {
    requireMemory();
    if (errorValue(value) == errorValue(NTE_FAIL)) {
        char const* const reason = ERR_reason_error_string(ERR_peek_last_error());
        logLine("libcrypto", reason != nullptr ? reason : "failed");
    }
    fail(value);
}

} // namespace wincrypt
