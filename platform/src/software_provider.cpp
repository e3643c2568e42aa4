#include "software_provider.h"

#include "boundary.h"
#include "database.h"
#include "key_cache.h"
#include "key_containers.h"
#include "libcrypto.h"
#include "login_name.h"
#include "software_key.h"

#include <openssl/rand.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <limits>
#include <mutex>

namespace wincrypt {
namespace {

class StoredKeyContainer final : public Container {
public:
    // The default container's name may be left out, and is the user's. Asking the system for it costs a good
    // part of a short program's time, so it is asked where it matters.
    StoredKeyContainer(Scope scope, std::string name) : scope_(scope), name_(std::move(name)) {}

    std::string const& name() const override {
        std::call_once(named_, [&] {
            if (name_.empty())
                name_ = loginName();
        });
        return name_;
    }

    // False when there is no such container. A damaged key doesn't hide the other; the error of the last one
    // is thrown when no key of the container opens.
    bool load() {
        std::shared_ptr<Database> const database = databaseInUse();
        auto next = std::make_shared<State>();
        next->stamp = database->stamp(); // before the query, so that it is never newer than what was read
        auto const stored = loadContainer(*database, name());
        bool anyOpened = false;
        DWORD failure = ERROR_SUCCESS;
        for (std::size_t place = 0; stored && place < std::size(stored->keys); ++place) {
            std::optional<StoredKey> const& key = stored->keys[place];
            if (!key)
                continue;
            DWORD const error = outcome([&] {
                next->keys[place] = std::make_shared<SoftwareKey>(
                    openCached(*database, sealingContext(name(), key->slot, key->flags), key->sealed),
                    (key->flags & CRYPT_EXPORTABLE) != 0);
            });
            next->failures[place] = error;
            if (error == ERROR_SUCCESS) {
                anyOpened = true;
            } else {
                failure = error;
                next->stamp.known =
                    false; // what failed is tried again: the cause may lie outside the database
            }
        }
        if (failure != ERROR_SUCCESS && !anyOpened)
            fail(failure);
        state_.store(std::move(next));
        return stored.has_value();
    }

    std::shared_ptr<Key> key(DWORD slot) override {
        auto state = state_.load();
        if (!state || !state->stamp.sameAs(databaseInUse()->stamp())) {
            if (!load() && name() != loginName())
                fail(NTE_BAD_KEYSET);
            state = state_.load();
        }
        std::size_t const place = StoredContainer::placeOf(slot);
        if (state->failures[place] != ERROR_SUCCESS)
            fail(state->failures[place]);
        return state->keys[place];
    }

    std::shared_ptr<Key> generate(DWORD slot, unsigned bits, bool exportable) override {
        RsaPrivateKey::Encoded made = RsaPrivateKey::generate(bits);
        return keep(slot, std::move(made.key), made.encoding, exportable);
    }

    std::shared_ptr<Key> import(DWORD slot, ByteView encoding, bool exportable) override {
        RsaPrivateKey key = RsaPrivateKey::fromEncoding(encoding);
        SecureBytes const written = key.encoding(); // what was given may be longer than it need be
        return keep(slot, std::move(key), written, exportable);
    }

    std::optional<Bytes> certificate(DWORD slot) override {
        return storedCertificate(*databaseInUse(), name(), slot);
    }

    void setCertificate(DWORD slot, ByteView encoding) override {
        if (!storeCertificate(*databaseInUse(), name(), slot, encoding))
            fail(NTE_NO_KEY);
    }

private:
    struct State {
        std::shared_ptr<Key> keys[2];
        DWORD failures[2] = {ERROR_SUCCESS, ERROR_SUCCESS};
        Stamp stamp;
    };

    // The database is named by the environment, and found when it is first needed.
    std::shared_ptr<Database> databaseInUse() {
        auto database = database_.load();
        if (!database) {
            database = Database::of(scope_);
            database_.store(database);
        }
        return database;
    }

    // What can fail comes before the change: a call that fails has stored nothing.
    std::shared_ptr<Key> keep(DWORD slot, RsaPrivateKey&& made, ByteView encoding, bool exportable) {
        std::shared_ptr<Database> const database = databaseInUse();
        auto const key = std::make_shared<RsaPrivateKey const>(std::move(made));
        auto result = std::make_shared<SoftwareKey>(key, exportable);
        DWORD const flags = exportable ? CRYPT_EXPORTABLE : 0;
        Bytes const context = sealingContext(name(), slot, flags);
        StoredKey const stored{slot, flags, sealKey(*database, context, encoding)};
        storeKey(*database, name(), stored, name() == loginName());
        outcome([&] { keepOpened(context, stored.sealed, key); }); // without it, it is opened at its next use
        state_.store(nullptr);
        return result;
    }

    Scope const scope_;
    mutable std::once_flag named_;
    mutable std::string name_;
    std::atomic<std::shared_ptr<Database>> database_;
    std::atomic<std::shared_ptr<State const>> state_;
};

class TemporaryContainer final : public Container {
public:
    std::string const& name() const override { return name_; }
    std::shared_ptr<Key> key(DWORD slot) override { return keys_[StoredContainer::placeOf(slot)].load(); }
    std::shared_ptr<Key> generate(DWORD slot, unsigned bits, bool exportable) override {
        return keep(slot, RsaPrivateKey::generate(bits).key, exportable);
    }
    std::shared_ptr<Key> import(DWORD slot, ByteView encoding, bool exportable) override {
        return keep(slot, RsaPrivateKey::fromEncoding(encoding), exportable);
    }
    std::optional<Bytes> certificate(DWORD) override { return std::nullopt; }
    void setCertificate(DWORD, ByteView) override { fail(NTE_PERM); }

private:
    std::shared_ptr<Key> keep(DWORD slot, RsaPrivateKey key, bool exportable) {
        std::shared_ptr<Key> made =
            std::make_shared<SoftwareKey>(std::make_shared<RsaPrivateKey const>(std::move(key)), exportable);
        keys_[StoredContainer::placeOf(slot)].store(made);
        return made;
    }

    std::string name_;
    std::atomic<std::shared_ptr<Key>> keys_[2];
};

class SoftwareProvider final : public Provider {
public:
    std::string const& name() const override { return name_; }
    DWORD type() const override { return PROV_RSA_FULL; }
    DWORD implementation() const override { return CRYPT_IMPL_SOFTWARE; }

    std::shared_ptr<Container> open(Scope scope, std::string const& name, Asking) override {
        auto container = std::make_shared<StoredKeyContainer>(scope, name);
        // The default container needn't be there, and isn't looked at before its first use.
        if (!name.empty() && !container->load() && !isDefault(name))
            return nullptr;
        return container;
    }

    std::shared_ptr<Container> create(Scope scope, std::string const& name, Asking) override {
        if (isDefault(name))
            fail(NTE_EXISTS);
        storeContainer(*Database::of(scope), name);
        return std::make_shared<StoredKeyContainer>(scope, name);
    }

    void remove(Scope scope, std::string const& name, Asking) override {
        bool const found = removeContainer(*Database::of(scope), name.empty() ? loginName() : name);
        if (!found && !isDefault(name))
            fail(NTE_BAD_KEYSET);
    }

    std::shared_ptr<Container> temporary() override { return temporaryContainer(); }

    std::optional<std::string> containerAfter(Scope scope, std::string const& name, Asking) override {
        return storedContainerAfter(*Database::of(scope), name);
    }

    std::size_t longestContainerName(Scope scope, Asking) override {
        return longestStoredName(*Database::of(scope));
    }

    void fillRandom(std::span<std::uint8_t> octets) override { fillWithRandom(octets); }

private:
    static bool isDefault(std::string const& name) { return name.empty() || name == loginName(); }

    std::string const name_ = MS_ENHANCED_PROV_A;
};

} // namespace

std::shared_ptr<Provider> softwareProvider() {
    // Never destroyed: a thread may still be signing while the process ends.
    static auto const* const provider = new std::shared_ptr<Provider>(std::make_shared<SoftwareProvider>());
    return *provider;
}

std::shared_ptr<Container> temporaryContainer() { return std::make_shared<TemporaryContainer>(); }

void fillWithRandom(std::span<std::uint8_t> octets) {
    ErrorQueueGuard const errors;
    constexpr std::size_t longest = std::numeric_limits<int>::max();
    while (!octets.empty()) {
        std::size_t const part = std::min(octets.size(), longest);
        if (RAND_bytes(octets.data(), static_cast<int>(part)) != 1)
            failLibcrypto(NTE_FAIL);
        octets = octets.subspan(part);
    }
}

} // namespace wincrypt
