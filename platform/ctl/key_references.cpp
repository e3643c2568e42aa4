#include "key_references.h"

#include "database_files.h"
#include "login_name.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace wincryptctl {

using namespace wincrypt;

namespace {

void collect(Connection& connection, std::set<Target>& targets) {
    Statement query = connection.prepare(Query::everyKeyInfo);
    while (query.step())
        if (auto target = targetOf(readKeyReference(query.bytes(0))))
            targets.insert(std::move(*target));
}

} // namespace

std::optional<Target> targetOf(KeyReference const& reference) {
    if (!reference.provider.empty() && reference.provider != MS_ENHANCED_PROV_A)
        return std::nullopt;
    return Target{(reference.flags & CRYPT_MACHINE_KEYSET) != 0 ? Scope::machine : Scope::user,
                  reference.container.empty() ? loginName() : reference.container};
}

bool isHidden(Scope scope) {
    return ::faccessat(AT_FDCWD, databasePath(scope).c_str(), R_OK, AT_EACCESS) != 0 && errno == EACCES;
}

std::set<Target> namedContainers(Scope scope, Connection& connection) {
    std::set<Target> targets;
    collect(connection, targets);
    Scope const other = scope == Scope::user ? Scope::machine : Scope::user;
    if (!isHidden(other))
        if (auto use = Database::of(other)->reader())
            collect(*use->operator->(), targets);
    return targets;
}

} // namespace wincryptctl
