// The calls on providers and key containers.
#include "boundary.h"
#include "provider_objects.h"

#include <algorithm>
#include <memory>
#include <new>
#include <pthread.h>

using namespace wincrypt;

BOOL WINAPI CryptAcquireContextA(HCRYPTPROV* phProv, LPCSTR szContainer, LPCSTR szProvider, DWORD dwProvType,
                                 DWORD dwFlags) {
    return boundary([&]() -> DWORD {
        if (phProv == nullptr)
            return ERROR_INVALID_PARAMETER;
        auto context =
            findContext(szProvider, dwProvType, szContainer != nullptr ? szContainer : "", dwFlags);
        if (!context && (dwFlags & CRYPT_DELETEKEYSET) == 0)
            return errorValue(NTE_BAD_KEYSET);
        *phProv = context ? makeHandle(std::move(context)) : 0;
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI CryptReleaseContext(HCRYPTPROV hProv, DWORD dwFlags) {
    return boundary([&] {
        releaseContext(hProv); // flags or not, as published
        if (dwFlags != 0)
            fail(NTE_BAD_FLAGS);
    });
}

namespace {

using ProviderList = std::vector<std::shared_ptr<Provider>>;

// The providers as the thread's walk found them. Not a thread_local object: where there is no memory to
// register the destructor of one, the C library ends the process.
ProviderList& snapshotOfThread() {
    static pthread_key_t const key = [] {
        pthread_key_t made{};
        if (::pthread_key_create(&made, [](void* list) { delete static_cast<ProviderList*>(list); }) != 0)
            throw std::bad_alloc();
        return made;
    }();
    if (auto* const known = static_cast<ProviderList*>(::pthread_getspecific(key)))
        return *known;
    auto made = std::make_unique<ProviderList>();
    if (::pthread_setspecific(key, made.get()) != 0)
        throw std::bad_alloc();
    return *made.release();
}

} // namespace

BOOL WINAPI CryptEnumProvidersA(DWORD dwIndex, DWORD* pdwReserved, DWORD dwFlags, DWORD* pdwProvType,
                                LPSTR szProvName, DWORD* pcbProvName) {
    return boundary([&]() -> DWORD {
        if (pdwReserved != nullptr || pdwProvType == nullptr || pcbProvName == nullptr)
            return ERROR_INVALID_PARAMETER;
        if (dwFlags != 0)
            return errorValue(NTE_BAD_FLAGS);
        ProviderList& snapshot = snapshotOfThread();
        if (dwIndex == 0 || snapshot.empty())
            snapshot = allProviders();
        if (dwIndex >= snapshot.size())
            return ERROR_NO_MORE_ITEMS;
        *pdwProvType = snapshot[dwIndex]->type();
        return deliverText(snapshot[dwIndex]->name(), szProvName, pcbProvName);
    });
}

namespace {

DWORD enumerateContainers(ProviderContext& context, BYTE* buffer, DWORD* length, DWORD flags) {
    if ((flags & ~DWORD{CRYPT_FIRST | CRYPT_NEXT}) != 0)
        return errorValue(NTE_BAD_FLAGS);
    std::string former;
    if (std::lock_guard const lock(context.enumerationLock); flags != CRYPT_FIRST)
        former = context.enumerated.value_or("");
    auto const next = context.provider->containerAfter(context.scope, former, context.asking);
    bool const fits = next && buffer != nullptr && *length > next->size();
    {
        std::lock_guard const lock(context.enumerationLock);
        context.enumerated = fits ? *next : former;
    }
    if (!next)
        return ERROR_NO_MORE_ITEMS;
    // A size is room enough for every name, and a name given leaves it alone: one buffer serves the whole
    // walk.
    if (!fits) {
        std::size_t const longest = context.provider->longestContainerName(context.scope, context.asking);
        *length = lengthOf(std::max(longest, next->size()) + 1);
        return buffer == nullptr ? DWORD{ERROR_SUCCESS} : DWORD{ERROR_MORE_DATA};
    }
    std::memcpy(buffer, next->c_str(), next->size() + 1);
    return ERROR_SUCCESS;
}

} // namespace

BOOL WINAPI CryptGetProvParam(HCRYPTPROV hProv, DWORD dwParam, BYTE* pbData, DWORD* pdwDataLen,
                              DWORD dwFlags) {
    return boundary([&]() -> DWORD {
        const auto context = objectOf<ProviderContext>(hProv);
        if (pdwDataLen == nullptr)
            return ERROR_INVALID_PARAMETER;
        if (dwParam == PP_ENUMCONTAINERS)
            return enumerateContainers(*context, pbData, pdwDataLen, dwFlags);
        if (dwFlags != 0)
            return errorValue(NTE_BAD_FLAGS);
        constexpr DWORD version = 0x200;
        switch (dwParam) {
        case PP_NAME:
            return deliverText(context->provider->name(), pbData, pdwDataLen);
        case PP_CONTAINER:
        case PP_UNIQUE_CONTAINER:
            return deliverText(context->container->name(), pbData, pdwDataLen);
        case PP_PROVTYPE:
            return deliver(context->provider->type(), pbData, pdwDataLen);
        case PP_IMPTYPE:
            return deliver(context->provider->implementation(), pbData, pdwDataLen);
        case PP_VERSION:
            return deliver(version, pbData, pdwDataLen);
        default:
            return errorValue(NTE_BAD_TYPE);
        }
    });
}

BOOL WINAPI CryptGenRandom(HCRYPTPROV hProv, DWORD dwLen, BYTE* pbBuffer) {
    return boundary([&] {
        auto const context = objectOf<ProviderContext>(hProv);
        if (pbBuffer == nullptr && dwLen != 0)
            fail(ERROR_INVALID_PARAMETER);
        context->provider->fillRandom({pbBuffer, dwLen});
    });
}
