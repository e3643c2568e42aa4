#pragma once

#include <tvkcore/kry/tvkkrykey.h>

#include <optional>
#include <string>
#include <tuple>

namespace tvkstore {

// Where a private key is, in UTF-8.
struct KeyReference {
    std::string provider;
    std::string container;
    bool isExchangeKey; // the other place of a container is for a key that only signs

    friend bool operator<(KeyReference const& a, KeyReference const& b) {
        return std::tie(a.provider, a.container, a.isExchangeKey) <
               std::tie(b.provider, b.container, b.isExchangeKey);
    }
};

// What a key that an item of a store carries refers to. Empty for a reference of another kind.
std::optional<KeyReference> readKeyReference(TVKKRYKey const& key);

} // namespace tvkstore
