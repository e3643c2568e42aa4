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
    explicit PlatformHandle(Handle handle) noexcept : m_handle(handle) {}
    PlatformHandle(PlatformHandle&& other) noexcept : m_handle(other.release()) {}
    PlatformHandle& operator=(PlatformHandle&& other) noexcept {
        if (this != &other) {
            reset(other.release());
        }
        return *this;
    }
    ~PlatformHandle() { reset(Handle{}); }

    Handle get() const noexcept { return m_handle; }
    bool isSet() const noexcept { return m_handle != Handle{}; }

    // Where a platform call writes a new handle. Only for a holder that is empty.
    Handle* receive() noexcept { return &m_handle; }

    // Hands the handle to the caller.
    Handle release() noexcept { return std::exchange(m_handle, Handle{}); }

    void reset(Handle handle) noexcept {
        Handle const old = std::exchange(m_handle, handle);
        if (old != Handle{}) {
            Traits::free(old);
        }
    }

private:
    Handle m_handle{};
};

struct ProviderTraits {
    using Handle = HCRYPTPROV;
    static void free(Handle handle) noexcept { CryptReleaseContext(handle, 0); }
};

struct KeyTraits {
    using Handle = HCRYPTKEY;
    static void free(Handle handle) noexcept { CryptDestroyKey(handle); }
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
using OwnedStore = PlatformHandle<StoreTraits>;
using OwnedCertificate = PlatformHandle<CertificateTraits>;
