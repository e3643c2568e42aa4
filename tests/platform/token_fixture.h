// A registry of the test's own, and what the tests say about tokens.
#pragma once

#include "layer_fixture.h"
#include "support/scratch_tokens.h"

namespace layer_test {

class TokenTest : public LayerTest {
protected:
    static DWORD acquire(ProviderHandle& handle, std::string const& provider, char const* container = nullptr,
                         DWORD flags = 0) {
        handle.reset();
        return errorOf(CryptAcquireContextA, handle.address(), container, provider.c_str(), PROV_RSA_FULL,
                       flags);
    }
    DWORD acquire(char const* container, DWORD flags = 0) const {
        ProviderHandle handle;
        return acquire(handle, label, container, flags);
    }

    // Signs and verifies; the error value, 0 when all is well.
    static DWORD sign(ProviderHandle const& provider, DWORD slot = AT_KEYEXCHANGE) {
        HCRYPTHASH hash = 0;
        HCRYPTKEY key = 0;
        BYTE signature[512];
        DWORD size = sizeof signature;
        return errorOfCall([&] {
            return CryptCreateHash(provider.get(), CALG_SHA1, 0, 0, &hash) &&
                   CryptSignHashA(hash, slot, nullptr, 0, signature, &size) &&
                   CryptGetUserKey(provider.get(), slot, &key) &&
                   CryptVerifySignatureA(hash, signature, size, key, nullptr, 0);
        });
    }
    DWORD signWithDefault(DWORD flags = 0) const {
        ProviderHandle handle;
        DWORD const error = acquire(handle, label, nullptr, flags);
        return error != 0 ? error : sign(handle);
    }

    void makeKey(char const* id, char const* use, char const* name = "card") const {
        tokens.tool(label, {"p11tool", "--generate-privkey", "rsa", "--bits", "1024", "--outfile",
                            "/dev/null", "--id", id, "--label", name, "--mark-sign", use});
    }

    test_support::ScratchTokens tokens{profile.directory()};
    std::string const label = tokens.add();
};

} // namespace layer_test
