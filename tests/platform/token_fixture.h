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
        return errorOf(CryptAcquireContextA, handle.address(), container, provider.c_str(), 1u, flags);
    }
    DWORD acquire(char const* container, DWORD flags = 0) const {
        ProviderHandle handle;
        return acquire(handle, label, container, flags);
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

    ScratchTokens tokens{profile.directory()};
    std::string const label = tokens.add();
};

} // namespace layer_test
