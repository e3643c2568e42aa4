#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <utility>

// Owns one handle of the platform and releases it once. Releasing leaves the platform's last error alone when
// it succeeds.
template <typename Traits>
class PlatformHandle {
public:
    using Handle = typename Traits::Handle;

    PlatformHandle() = default;
    explicit PlatformHandle(Handle handle) noexcept : handle_(handle) {}
    PlatformHandle(PlatformHandle&& other) noexcept : handle_(other.release()) {}
    PlatformHandle& operator=(PlatformHandle&& other) noexcept {
        if (this != &other) {
            reset(other.release());
        }
        return *this;
    }
    ~PlatformHandle() { reset(); }

    Handle get() const noexcept { return handle_; }
    bool isSet() const noexcept { return handle_ != Handle{}; }

    // Where a platform call writes a new handle. Only for a holder that is empty.
    Handle* receive() noexcept { return &handle_; }

    // Hands the handle to the caller.
    Handle release() noexcept { return std::exchange(handle_, Handle{}); }

    void reset(Handle handle = {}) noexcept {
        Handle const old = std::exchange(handle_, handle);
        if (old != Handle{}) {
            Traits::free(old);
        }
    }

private:
    Handle handle_{};
};

struct ProviderTraits {
    using Handle = HCRYPTPROV;
    static void free(Handle handle) noexcept { CryptReleaseContext(handle, 0); }
};

struct KeyTraits {
    using Handle = HCRYPTKEY;
    static void free(Handle handle) noexcept { CryptDestroyKey(handle); }
};

struct HashTraits {
    using Handle = HCRYPTHASH;
    static void free(Handle handle) noexcept { CryptDestroyHash(handle); }
};

struct StoreTraits {
    using Handle = HCERTSTORE;
    static void free(Handle handle) noexcept { CertCloseStore(handle, 0); }
};

struct CertificateTraits {
    using Handle = PCCERT_CONTEXT;
    static void free(Handle handle) noexcept { CertFreeCertificateContext(handle); }
};

using OwnedProvider = PlatformHandle<ProviderTraits>;
using OwnedKey = PlatformHandle<KeyTraits>;
using OwnedHash = PlatformHandle<HashTraits>;
using OwnedStore = PlatformHandle<StoreTraits>;
using OwnedCertificate = PlatformHandle<CertificateTraits>;
