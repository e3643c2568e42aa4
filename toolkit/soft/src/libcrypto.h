// Owners for libcrypto's objects, and how its failures become exceptions.
#pragma once

#include <tvkcore/base/tvkbuffer.h>

#include <openssl/bn.h>
#include <openssl/encoder.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>

namespace tvksoft {

template <auto Free>
struct FreeWith {
    template <class T>
    void operator()(T* object) const noexcept {
        Free(object);
    }
};

using BignumPtr = std::unique_ptr<BIGNUM, FreeWith<BN_clear_free>>;
using DigestPtr = std::unique_ptr<EVP_MD, FreeWith<EVP_MD_free>>;
using DigestContextPtr = std::unique_ptr<EVP_MD_CTX, FreeWith<EVP_MD_CTX_free>>;
using EncoderContextPtr = std::unique_ptr<OSSL_ENCODER_CTX, FreeWith<OSSL_ENCODER_CTX_free>>;
using MacPtr = std::unique_ptr<EVP_MAC, FreeWith<EVP_MAC_free>>;
using MacContextPtr = std::unique_ptr<EVP_MAC_CTX, FreeWith<EVP_MAC_CTX_free>>;
using PkeyPtr = std::unique_ptr<EVP_PKEY, FreeWith<EVP_PKEY_free>>;
using PkeyContextPtr = std::unique_ptr<EVP_PKEY_CTX, FreeWith<EVP_PKEY_CTX_free>>;
using PrivateKeyInfoPtr = std::unique_ptr<PKCS8_PRIV_KEY_INFO, FreeWith<PKCS8_PRIV_KEY_INFO_free>>;

// Around calls of libcrypto: at its end the thread's error queue is as the host left it.
class ErrorMark {
public:
    ErrorMark() noexcept;
    ~ErrorMark();
    ErrorMark(ErrorMark const&) = delete;
    ErrorMark& operator=(ErrorMark const&) = delete;

    // Throws TVKSOFT_LIBRARY_FAILURE with libcrypto's reason behind `what`.
    [[noreturn]] void fail(char const* file, int line, char const* what) const;

    void require(bool good, char const* file, int line, char const* what) const {
        if (!good) {
            fail(file, line, what);
        }
    }

private:
    bool hostsErrors_;
};

// The buffer's bytes, to be filled in place.
inline unsigned char* storageOf(TVKBuffer& buffer) { return const_cast<unsigned char*>(buffer.getValue()); }

// The view's bytes; libcrypto wants an address also where there are none.
inline unsigned char const* bytesOf(TVKASNCBuffer const& view) {
    static constexpr unsigned char nothing = 0;
    return view.length == 0 ? &nothing : view.data;
}

} // namespace tvksoft
