#include "key_cache.h"

#include "log.h"
#include "process_locks.h"

#include <unordered_map>

namespace wincrypt {
namespace {

constexpr std::size_t capacity = 256;

struct Entry {
    Bytes context;
    Bytes sealed;
    std::shared_ptr<RsaPrivateKey const> key;
    std::uint64_t lastUse = 0;
};

// By nonce, which is random. Guarded by ProcessLock::keyCache; never destroyed, as keys may be in use at the
// end.
struct Cache {
    std::unordered_map<std::string, Entry> entries;
    std::uint64_t uses = 0;
};

Cache& cache() {
    static Cache* const instance = new Cache;
    return *instance;
}

std::string nameOf(SealedKey const& sealed) { return {sealed.nonce.begin(), sealed.nonce.end()}; }

} // namespace

std::shared_ptr<RsaPrivateKey const> openCached(Database const& database, ByteView context,
                                                SealedKey const& sealed) {
    {
        std::lock_guard const lock(processLock(ProcessLock::keyCache));
        Cache& known = cache();
        auto const found = known.entries.find(nameOf(sealed));
        if (found != known.entries.end() && equal(found->second.context, context) &&
            equal(found->second.sealed, sealed.sealed)) {
            found->second.lastUse = ++known.uses;
            return found->second.key;
        }
    }
    SecureBytes const clear = openKey(database, context, sealed);
    std::shared_ptr<RsaPrivateKey const> key;
    try {
        key = std::make_shared<RsaPrivateKey const>(RsaPrivateKey::fromEncoding(clear));
    } catch (Failure const&) {
        logLine(database.path(), "a private key opened to something else");
        fail(NTE_KEYSET_ENTRY_BAD);
    }
    keepOpened(context, sealed, key);
    return key;
}

void keepOpened(ByteView context, SealedKey const& sealed, std::shared_ptr<RsaPrivateKey const> key) {
    Entry entry{Bytes(context.begin(), context.end()), sealed.sealed, std::move(key), 0};
    Entry former; // let go after the lock
    std::lock_guard const lock(processLock(ProcessLock::keyCache));
    Cache& known = cache();
    entry.lastUse = ++known.uses;
    if (known.entries.size() >= capacity) {
        auto oldest = known.entries.begin();
        for (auto each = known.entries.begin(); each != known.entries.end(); ++each)
            if (each->second.lastUse < oldest->second.lastUse)
                oldest = each;
        former = std::move(oldest->second);
        known.entries.erase(oldest);
    }
    known.entries.insert_or_assign(nameOf(sealed), std::move(entry));
}

void forgetOpened() noexcept {
    std::unordered_map<std::string, Entry> former; // let go after the lock
    std::lock_guard const lock(processLock(ProcessLock::keyCache));
    former.swap(cache().entries);
}

} // namespace wincrypt
