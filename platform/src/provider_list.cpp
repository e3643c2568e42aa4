#include "provider.h"
#include "software_provider.h"

namespace wincrypt {

std::vector<std::shared_ptr<Provider>> allProviders() { return {softwareProvider()}; }

std::shared_ptr<Provider> findProvider(char const* name, DWORD type) {
    constexpr DWORD highestType = 999;
    if (type == 0 || type > highestType)
        fail(NTE_BAD_PROV_TYPE);
    std::vector<std::shared_ptr<Provider>> const providers = allProviders();
    if (name == nullptr || *name == '\0') {
        for (auto const& provider : providers)
            if (provider->type() == type)
                return provider;
        fail(NTE_PROV_TYPE_NOT_DEF);
    }
    for (auto const& provider : providers) {
        if (provider->name() != name)
            continue;
        if (provider->type() != type)
            fail(NTE_PROV_TYPE_NO_MATCH);
        return provider;
    }
    fail(NTE_KEYSET_NOT_DEF);
}

} // namespace wincrypt
