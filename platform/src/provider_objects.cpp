#include "provider_objects.h"

#include "key_cache.h"
#include "libcrypto.h"
#include "text.h"

#include <algorithm>
#include <atomic>

namespace wincrypt {
namespace {

constinit std::atomic<std::size_t> contexts{0};

} // namespace

ProviderContext::ProviderContext(std::shared_ptr<Provider> ofProvider, std::shared_ptr<Container> ofContainer,
                                 Scope ofScope, Asking mayAsk) noexcept
    : provider(std::move(ofProvider)), container(std::move(ofContainer)), scope(ofScope), asking(mayAsk) {
    contexts.fetch_add(1);
}

// Every manager of the module has one, so a process that has ended its last one has no private key left.
ProviderContext::~ProviderContext() {
    if (contexts.fetch_sub(1) == 1)
        forgetOpened();
}

bool ProviderContext::remember(HandleKind kind, ULONG_PTR handle) {
    std::lock_guard const lock(lock_);
    if (released_)
        return false;
    children_.emplace_back(kind, handle);
    return true;
}

void ProviderContext::forget(ULONG_PTR handle) noexcept {
    std::lock_guard const lock(lock_);
    auto const found = std::find_if(children_.rbegin(), children_.rend(),
                                    [&](auto const& child) { return child.second == handle; });
    if (found != children_.rend()) {
        std::swap(*found, children_.back());
        children_.pop_back();
    }
}

void ProviderContext::releaseChildren() noexcept {
    std::vector<std::pair<HandleKind, ULONG_PTR>> children;
    {
        std::lock_guard const lock(lock_);
        released_ = true;
        children.swap(children_);
    }
    for (auto const& [kind, handle] : children)
        removeHandle(kind, handle);
}

std::shared_ptr<Key> ProviderContext::requireKey(DWORD specification) const {
    if (!isSlot(specification))
        fail(NTE_BAD_KEY);
    auto key = container->key(specification);
    if (!key)
        fail(NTE_NO_KEY);
    return key;
}

HashObject::HashObject(std::weak_ptr<ProviderContext> ofContext, DigestAlgorithm const& algorithm)
    : context(std::move(ofContext)), algorithm_(algorithm), running_(EVP_MD_CTX_new()) {
    ErrorQueueGuard const errors;
    if (!running_ || EVP_DigestInit_ex(running_.get(), implementationOf(algorithm), nullptr) != 1)
        failLibcrypto(NTE_FAIL);
}

std::unique_lock<std::mutex> HashObject::enter() {
    std::unique_lock lock(lock_, std::try_to_lock);
    if (!lock)
        fail(ERROR_BUSY);
    return lock;
}

void HashObject::add(ByteView data) {
    auto const lock = enter();
    if (value_)
        fail(NTE_BAD_HASH_STATE);
    ErrorQueueGuard const errors;
    if (EVP_DigestUpdate(running_.get(), data.data(), data.size()) != 1)
        failLibcrypto(NTE_FAIL);
    hasData_ = hasData_ || !data.empty();
}

void HashObject::setValue(ByteView value) {
    auto const lock = enter();
    if (value_ || hasData_)
        fail(NTE_BAD_HASH_STATE);
    value_.emplace(value.begin(), value.end());
}

Bytes HashObject::signedValue(bool bare) {
    auto const lock = enter();
    if (!value_) {
        ErrorQueueGuard const errors;
        Bytes value(algorithm_.size);
        if (EVP_DigestFinal_ex(running_.get(), value.data(), nullptr) != 1)
            failLibcrypto(NTE_FAIL);
        value_ = std::move(value);
    }
    Bytes result;
    if (!bare)
        result.assign(algorithm_.prefix.begin(), algorithm_.prefix.end());
    result.insert(result.end(), value_->begin(), value_->end());
    return result;
}

std::shared_ptr<ProviderContext> findContext(char const* providerName, DWORD type,
                                             std::string const& container, DWORD flags) {
    constexpr DWORD known = CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET | CRYPT_MACHINE_KEYSET | CRYPT_SILENT |
                            CRYPT_DEFAULT_CONTAINER_OPTIONAL | CRYPT_VERIFYCONTEXT;
    bool const temporary = (flags & CRYPT_VERIFYCONTEXT) == CRYPT_VERIFYCONTEXT;
    bool const fresh = (flags & CRYPT_NEWKEYSET) != 0;
    bool const removing = (flags & CRYPT_DELETEKEYSET) != 0;
    if ((flags & ~known) != 0 || (!temporary && (flags & CRYPT_VERIFYCONTEXT) != 0) ||
        temporary + fresh + removing > 1)
        fail(NTE_BAD_FLAGS);
    if ((temporary && !container.empty()) || !isUtf8(container))
        fail(NTE_BAD_KEYSET_PARAM);
    std::shared_ptr<Provider> const provider = findProvider(providerName, type);
    Scope const scope = (flags & CRYPT_MACHINE_KEYSET) != 0 ? Scope::machine : Scope::user;
    Asking const asking = (flags & CRYPT_SILENT) != 0 ? Asking::silent : Asking::allowed;
    if (removing) {
        provider->remove(scope, container, asking);
        return nullptr;
    }
    auto opened = temporary ? provider->temporary()
                  : fresh   ? provider->create(scope, container, asking)
                            : provider->open(scope, container, asking);
    return opened ? std::make_shared<ProviderContext>(provider, std::move(opened), scope, asking) : nullptr;
}

std::shared_ptr<ProviderContext> openContext(char const* providerName, DWORD type,
                                             std::string const& container, DWORD flags) {
    auto context = findContext(providerName, type, container, flags);
    if (!context && (flags & CRYPT_DELETEKEYSET) == 0)
        fail(NTE_BAD_KEYSET);
    return context;
}

void releaseContext(HCRYPTPROV handle) { takeObject<ProviderContext>(handle)->releaseChildren(); }

} // namespace wincrypt
