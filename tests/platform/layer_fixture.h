// A user and a machine of their own for each test, and what the tests say about stores, containers and
// certificates.
#pragma once

#include "support/scratch_profile.h"
#include "support/test_certificates.h"

#include <wincrypt_layer.h>

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace layer_test {

using namespace test_support;

DWORD errorOfCall(std::function<bool()> const& call);

// Gives the error value of a call that has to fail; 0 when it didn't.
template <class Call, class... Arguments>
DWORD errorOf(Call call, Arguments... arguments) {
    return errorOfCall([&] { return static_cast<bool>(call(arguments...)); });
}

template <class Value>
DWORD code(Value value) {
    return static_cast<DWORD>(value);
}

template <class Handle, auto Release>
class Owner {
public:
    Owner() = default;
    explicit Owner(Handle handle) : handle_(handle) {}
    Owner(Owner&& other) noexcept : handle_(other.release()) {}
    Owner& operator=(Owner&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~Owner() { reset(); }

    Handle get() const { return handle_; }
    Handle* address() { return &handle_; }
    Handle release() { return std::exchange(handle_, Handle{}); }
    void reset(Handle handle = Handle{}) {
        if (handle_ != Handle{})
            Release(handle_);
        handle_ = handle;
    }
    explicit operator bool() const { return handle_ != Handle{}; }

private:
    Handle handle_{};
};

inline void releaseProvider(HCRYPTPROV handle) { CryptReleaseContext(handle, 0); }
inline void closeStore(HCERTSTORE handle) { CertCloseStore(handle, 0); }
inline void freeContext(PCCERT_CONTEXT context) { CertFreeCertificateContext(context); }

using ProviderHandle = Owner<HCRYPTPROV, releaseProvider>;
using StoreHandle = Owner<HCERTSTORE, closeStore>;
using ContextHandle = Owner<PCCERT_CONTEXT, freeContext>;

ProviderHandle openContainer(char const* name, DWORD flags = 0);
ProviderHandle newContainer(char const* name, DWORD bits = 1024, DWORD keyFlags = CRYPT_EXPORTABLE);
StoreHandle openStore(char const* name);
StoreHandle openStore(wchar_t const* name, DWORD flags);
StoreHandle memoryStore();

// A certificate of its own: another number, another serial number and subject.
Bytes const& certificate(unsigned number);

// The names of the user's containers, in their order; a text that a provider tells of itself, empty without
// it.
std::vector<std::string> containerNames();
std::string parameter(ProviderHandle const& provider, DWORD id);

// The key of the slot; null without one.
HCRYPTKEY userKey(ProviderHandle const& provider, DWORD slot = AT_KEYEXCHANGE);

// Signs and verifies; the error value, 0 when all is well.
DWORD sign(ProviderHandle const& provider, DWORD slot = AT_KEYEXCHANGE);

std::vector<Bytes> certificates(std::initializer_list<unsigned> numbers);
DWORD sizeOf(Bytes const& bytes);
Bytes firstOf(Bytes const& bytes, std::size_t length);

// A certificate in no store.
ContextHandle contextOf(Bytes const& encoding);
Bytes encodingOf(PCCERT_CONTEXT context);

ContextHandle add(StoreHandle const& store, Bytes const& encoding, DWORD disposition = CERT_STORE_ADD_NEW);
ContextHandle find(StoreHandle const& store, Bytes const& encoding);
std::vector<Bytes> all(StoreHandle const& store);

std::optional<Bytes> property(PCCERT_CONTEXT context, DWORD id);
bool setFriendlyName(PCCERT_CONTEXT context, std::wstring const& name);
std::optional<std::wstring> friendlyName(PCCERT_CONTEXT context);
bool setKeyInfo(PCCERT_CONTEXT context, std::wstring const& container, DWORD keySpec = AT_KEYEXCHANGE);

// Changes a database behind the layer's back.
void sql(std::filesystem::path const& database, std::string const& text);

// The number of processes that didn't end well of those that ran the body, each with its own number, as
// another user where asked; one that hangs is ended by its alarm.
int failedChildren(int count, std::function<bool(int)> const& body, uid_t user = 0);

// Runs the body in a process of its own, as another user where asked; true when it gave true.
bool inChild(std::function<bool()> const& body, uid_t user = 0);

class LayerTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(WincryptLiveObjectCount(), 0u) << "something was left open"; }

    ScratchProfile profile;
    std::filesystem::path userDatabase() const { return profile.userHome() / "user.db"; }
    std::filesystem::path machineDatabase() const { return profile.machineHome() / "machine.db"; }
};

// Closes what a test still has open before it is counted.
class HoldingTest : public LayerTest {
protected:
    void TearDown() override {
        context.reset();
        store.reset();
        provider.reset();
        LayerTest::TearDown();
    }

    ProviderHandle provider;
    StoreHandle store;
    ContextHandle context;
};

} // namespace layer_test
