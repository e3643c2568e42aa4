#include "fingerprint.h"

#include "bytes.h"
#include "failure.h"
#include "wide_text_windows.h"

#include <windows.h>
#include <memory>

#include <bcrypt.h>

namespace tvkstore {

namespace {

struct CloseAlgorithm {
    void operator()(void* algorithm) const noexcept { BCryptCloseAlgorithmProvider(algorithm, 0); }
};
struct DestroyHash {
    void operator()(void* hash) const noexcept { BCryptDestroyHash(hash); }
};

void check(NTSTATUS status, char const* name) {
    if (status < 0) {
        throw Failure(ExitCode::failed, std::string("the platform can't make a digest ") + name);
    }
}

} // namespace

std::string fingerprint(char const* name, std::string const& bytes) {
    BCRYPT_ALG_HANDLE handle = nullptr;
    check(BCryptOpenAlgorithmProvider(&handle, wideOf(name).c_str(), nullptr, 0), name);
    std::unique_ptr<void, CloseAlgorithm> const algorithm(handle);
    DWORD length = 0;
    ULONG written = 0;
    check(BCryptGetProperty(algorithm.get(), BCRYPT_HASH_LENGTH, reinterpret_cast<unsigned char*>(&length),
                            sizeof length, &written, 0),
          name);
    check(BCryptCreateHash(algorithm.get(), &handle, nullptr, 0, nullptr, 0, 0), name);
    std::unique_ptr<void, DestroyHash> const hash(handle);
    // The call only reads them.
    auto* const given = const_cast<unsigned char*>(reinterpret_cast<unsigned char const*>(bytes.data()));
    check(BCryptHashData(hash.get(), given, static_cast<ULONG>(bytes.size()), 0), name);
    std::string digest(length, '\0');
    check(BCryptFinishHash(hash.get(), reinterpret_cast<unsigned char*>(digest.data()), length, 0), name);
    return lowerHex(digest);
}

} // namespace tvkstore
