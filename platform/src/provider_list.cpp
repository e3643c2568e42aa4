#include "provider.h"
#include "software_provider.h"
#include "token_provider.h"
#include "token_uri.h"

namespace wincrypt {

std::vector<std::shared_ptr<Provider>> allProviders() {
    std::vector<std::shared_ptr<Provider>> all = {softwareProvider()};
    for (NamedToken& token : knownTokens())
        all.push_back(tokenProvider(std::move(token)));
    return all;
}

std::shared_ptr<Provider> findProvider(char const* name, DWORD type) {
    constexpr DWORD highestType = 999;
    if (type == 0 || type > highestType)
        fail(NTE_BAD_PROV_TYPE);
    std::shared_ptr<Provider> provider = softwareProvider();
    bool const isFirst = name == nullptr || *name == '\0';
    if (!isFirst && provider->name() != name) {
        // Nothing that names the software provider waits for a token.
        auto token = findToken(name);
        // A name without a default container passes for a card without keys, which a mistyped URI isn't.
        if (!token)
            fail(isTokenUri(name) ? SCARD_E_NO_SMARTCARD : NTE_KEYSET_NOT_DEF);
        provider = tokenProvider(std::move(*token));
    }
    if (provider->type() != type)
        fail(isFirst ? NTE_PROV_TYPE_NOT_DEF : NTE_PROV_TYPE_NO_MATCH);
    return provider;
}

} // namespace wincrypt
