// What provider, key and hash handles stand for.
#pragma once

#include "database.h"
#include "digest.h"
#include "handle_table.h"
#include "provider.h"

#include <mutex>
#include <vector>

namespace wincrypt {

class ProviderContext {
public:
    static constexpr HandleKind handleKind = HandleKind::provider;

    ProviderContext(std::shared_ptr<Provider> ofProvider, std::shared_ptr<Container> ofContainer,
                    Scope ofScope, Asking mayAsk) noexcept;
    ~ProviderContext();
    ProviderContext(ProviderContext const&) = delete;
    ProviderContext& operator=(ProviderContext const&) = delete;

    // Keys and hashes end with the context. Nothing is adopted by a context that was released meanwhile.
    template <class Object>
    ULONG_PTR adopt(std::shared_ptr<Object> object) {
        ULONG_PTR const handle = makeHandle(std::move(object));
        if (!remember(Object::handleKind, handle)) {
            removeHandle(Object::handleKind, handle);
            fail(ERROR_INVALID_HANDLE);
        }
        return handle;
    }
    void forget(ULONG_PTR handle) noexcept;
    void releaseChildren() noexcept;

    // The slot's key; errors NTE_BAD_KEY for another specification, NTE_NO_KEY.
    std::shared_ptr<Key> requireKey(DWORD specification) const;

    std::shared_ptr<Provider> const provider;
    std::shared_ptr<Container> const container;
    Scope const scope;
    Asking const asking;

    std::mutex enumerationLock;            // not held while a provider looks for a name
    std::optional<std::string> enumerated; // name given last by PP_ENUMCONTAINERS

private:
    bool remember(HandleKind kind, ULONG_PTR handle);

    std::mutex lock_;
    bool released_ = false;
    std::vector<std::pair<HandleKind, ULONG_PTR>> children_;
};

struct KeyObject {
    static constexpr HandleKind handleKind = HandleKind::key;

    std::weak_ptr<ProviderContext> const context;
    std::shared_ptr<Container> const container;
    std::shared_ptr<Key> const key;
    DWORD const slot;
    std::atomic<bool> decryptedPart{false}; // a decryption step that wasn't the final one came before
};

class HashObject {
public:
    static constexpr HandleKind handleKind = HandleKind::hash;

    HashObject(std::weak_ptr<ProviderContext> context, DigestAlgorithm const& algorithm);

    std::weak_ptr<ProviderContext> const context;

    // All of these fail with ERROR_BUSY while another thread is in one of them: a hash has one user at a
    // time.
    void add(ByteView data);       // NTE_BAD_HASH_STATE once it has its value
    void setValue(ByteView value); // NTE_BAD_HASH_STATE once it has data or a value
    // What a signature covers: DigestInfo, or the bare value. Finishes the hash.
    Bytes signedValue(bool bare);

    DigestAlgorithm const& algorithm() const noexcept { return algorithm_; }

private:
    std::unique_lock<std::mutex> enter();

    DigestAlgorithm const& algorithm_;
    std::mutex lock_;
    DigestContextPtr running_;
    bool hasData_ = false;
    std::optional<Bytes> value_;
};

// Opens a provider handle; what CryptAcquireContextA and the calls that open a container for a certificate
// share. The first gives null for a container that isn't there, the second fails with NTE_BAD_KEYSET; both
// give null when they removed one.
std::shared_ptr<ProviderContext> findContext(char const* provider, DWORD type, std::string const& container,
                                             DWORD flags);
std::shared_ptr<ProviderContext> openContext(char const* provider, DWORD type, std::string const& container,
                                             DWORD flags);
void releaseContext(HCRYPTPROV handle); // error: ERROR_INVALID_HANDLE

} // namespace wincrypt
