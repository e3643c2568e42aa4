#include "boundary.h"
#include "bundle_store.h"
#include "database_store.h"
#include "store_object.h"

#include <sys/stat.h>

#include <algorithm>
#include <iterator>
#include <strings.h>

namespace wincrypt {
namespace {

constexpr DWORD systemStore = CERT_ACCESS_STATE_SYSTEM_STORE_FLAG;
constexpr DWORD machineStore = systemStore | CERT_ACCESS_STATE_LM_SYSTEM_STORE_FLAG;

// Names compare without regard to case, as the platform's do.
bool isNamed(std::string const& name, char const* known) { return ::strcasecmp(name.c_str(), known) == 0; }

bool bundleExists() {
    struct stat status {};
    return ::stat(bundlePath().c_str(), &status) == 0;
}

std::shared_ptr<DatabaseStoreView> databaseView(Scope scope, std::string const& name, bool writable,
                                                DWORD state) {
    return std::make_shared<DatabaseStoreView>(
        Database::of(scope), name, writable,
        state | (writable ? DWORD{CERT_ACCESS_STATE_WRITE_PERSIST_FLAG} : 0));
}

bool isSystemName(std::string const& name) {
    static constexpr char const* names[] = {"MY", "CA", "ROOT", "UserDS"};
    return std::any_of(std::begin(names), std::end(names),
                       [&](char const* known) { return isNamed(name, known); });
}

// The user's part of a store; null where there is nothing to keep it in, when it isn't the only part.
std::shared_ptr<DatabaseStoreView> userView(std::string const& name, bool writable, bool isJoined) {
    std::shared_ptr<DatabaseStoreView> view;
    DWORD const error = outcome([&] { view = databaseView(Scope::user, name, writable, systemStore); });
    // Without a home, which the log has told, a user has no certificates but the machine's.
    if (error != ERROR_SUCCESS && !(isJoined && error == ERROR_PATH_NOT_FOUND))
        fail(error);
    return view;
}

std::shared_ptr<StoreObject> openUserStore(std::string const& name, bool mustExist, bool readOnly) {
    bool const isRoot = isNamed(name, "ROOT");
    bool const isJoined = isRoot || isNamed(name, "CA");
    // The write bit is the handle's alone. A user's certificates that can't be written just now must not look
    // like the machine's, which have the system store bit and no other.
    auto const own = userView(name, !readOnly, isJoined);
    std::vector<StoreObject::Member> members;
    if (own) {
        if (!mustExist || isSystemName(name))
            Database::of(Scope::user)->probe();
        else if (!own->exists())
            fail(ERROR_FILE_NOT_FOUND);
        members.push_back({own, !readOnly, false});
    }
    if (isRoot)
        members.push_back({std::make_shared<BundleStoreView>(systemStore), false, true});
    if (isJoined)
        members.push_back({databaseView(Scope::machine, name, false, systemStore), false, true});
    return std::make_shared<StoreObject>(std::move(members), true);
}

std::shared_ptr<StoreObject> openMachineStore(std::string const& name, bool mustExist, bool readOnly) {
    bool const hasBundle = isNamed(name, "ROOT") && bundleExists();
    auto const own = databaseView(Scope::machine, name, !readOnly, machineStore);
    bool exists = false;
    DWORD const error = outcome([&] { exists = own->exists(); });
    if (error != ERROR_SUCCESS && !hasBundle)
        fail(error);
    // Opening for a change makes the machine's system stores, and no others.
    if ((mustExist || !isSystemName(name)) && !exists && !hasBundle)
        fail(ERROR_FILE_NOT_FOUND);
    std::vector<StoreObject::Member> members;
    if (hasBundle)
        members.push_back({std::make_shared<BundleStoreView>(machineStore), false, true});
    members.push_back({own, !readOnly, hasBundle});
    return std::make_shared<StoreObject>(std::move(members), true);
}

} // namespace

std::shared_ptr<StoreObject> openSystemStore(Scope scope, std::string const& name, bool mustExist,
                                             bool readOnly) {
    return scope == Scope::user ? openUserStore(name, mustExist, readOnly)
                                : openMachineStore(name, mustExist, readOnly);
}

} // namespace wincrypt
