// Which containers of the software provider the key references of certificates lead to.
#pragma once

#include "content.h"

#include <optional>
#include <set>
#include <string>
#include <tuple>

namespace wincryptctl {

struct Target {
    wincrypt::Scope scope;
    std::string container;

    bool operator<(Target const& other) const {
        return std::tie(scope, container) < std::tie(other.scope, other.container);
    }
};

// Nothing for a reference to another provider. A reference without a name leads to the default container.
std::optional<Target> targetOf(wincrypt::KeyReference const& reference);

// True where this user may not read the scope's database, so that none of his programs finds a key through
// it.
bool isHidden(wincrypt::Scope scope);

// All that certificates of both scopes name; of a hidden database nothing. The scope whose connection is
// given is read through that. Error: ERROR_FILE_CORRUPT when it can't be known for a damaged certificate.
std::set<Target> namedContainers(wincrypt::Scope scope, wincrypt::Connection& connection);

} // namespace wincryptctl
