#include "argument_checks.h"
#include "certificate_json.h"
#include "commands/commands.h"
#include "failure.h"
#include "key_reference.h"
#include "module_failure.h"
#include "provider_name.h"
#include "stored_items.h"

#include <memory>

namespace tvkstore {

namespace {

struct UpdateArguments {
    ItemName item;
    std::string label;
};

// With a key the whole item is written anew, and the reference ties it to the key that is there. The key in
// clear would be imported again, into another container.
unsigned int relabel(TVKCspManager& store, StoredItem const& item, std::string const& label) {
    if (item.key) {
        TVKKeyCertItem changed = keyItem(item.view.encoding, *item.key, label);
        return store.updateItem(changed, 0);
    }
    TVKCertItem changed = certificateItem(item.view.encoding, label);
    return store.updateItem(changed, 0);
}

// What an update of the machine's certificate does is to give the user a copy, which then hides behind it.
// Those of the trust bundle have no friendly name, while whatever a user imported has one, be it empty.
bool isLikelyTheMachines(StoredItem const& item, std::string const& store) {
    bool const isJoined = store == "CA" || store == "ROOT";
    return isJoined && item.view.name.starts_with("cn=");
}

// The module ties the certificate to the exchange key of the container in the store's own provider. A key
// elsewhere would be lost to it.
bool staysReachable(TVKKRYKey const& key, TVKCspManager& store) {
    std::optional<KeyReference> const reference = readKeyReference(key);
    return reference && reference->isExchangeKey && reference->provider == store.getCSPName().view();
}

// The certificate will name its key's provider as the store does: not in a way that only the layer
// understands.
std::unique_ptr<TVKCspManager> underOwnName(Session& session, std::unique_ptr<TVKCspManager> store,
                                            StoredItem const& item) {
    std::optional<KeyReference> const reference =
        item.key && isMatchedByLayer(session.options().provider) ? readKeyReference(*item.key) : std::nullopt;
    return reference ? session.openStore(session.options().store, reference->provider) : std::move(store);
}

ExitCode update(Session& session, UpdateArguments& arguments) {
    arguments.item.check();
    std::unique_ptr<TVKCspManager> store = session.openStore();
    StoredItem const item = findOneItem(session, *store, arguments.item);
    if (!item.isKeyKnown) {
        throw Failure(ExitCode::damaged,
                      "can't update " + item.view.name +
                          ": whether it has a private key, which it would lose, can't be told");
    }
    store = underOwnName(session, std::move(store), item);
    std::string const& name = session.options().store;
    std::string const what = "can't update " + item.view.name;
    if (item.key && name != kKeyStore) {
        throw Failure(ExitCode::failed, what + ": items with a private key are written to store " +
                                            std::string(kKeyStore) + ", and this one is in " + name);
    }
    if (item.key && !staysReachable(*item.key, *store)) {
        throw Failure(ExitCode::failed, what +
                                            ": its private key is in another provider or only signs, and the "
                                            "update would lose it");
    }
    if (isLikelyTheMachines(item, name)) {
        throw Failure(ExitCode::refused,
                      what + ": it is the machine's, or has no label that could be changed",
                      {"one of the user's own can be deleted, and imported again with --label"});
    }
    unsigned int const changed = attempt(what, [&] {
        try {
            return relabel(*store, item, arguments.label);
        } catch (TVKException const& failure) {
            // No PIN is tried twice, and what isn't allowed has changed nothing.
            if (moduleFailure(what, failure).exitCode() == ExitCode::refused) {
                throw;
            }
        } catch (std::bad_alloc const&) {}
        // Between its steps it leaves the certificate without its name or its key, and later nobody knows
        // which key that was. The same update again sets both.
        return relabel(*store, item, arguments.label);
    });
    if (changed == 0) {
        throw Failure(session.relayLayerLog() ? ExitCode::damaged : ExitCode::no,
                      what + ": it is gone from store " + name);
    }
    // Opened anew: what is open of a card doesn't follow its changes.
    std::unique_ptr<TVKCspManager> const reopened = session.openStore();
    StoredItems const now = findItems(
        session, *reopened, [&](CertificateView const& view) { return view.encoding == item.view.encoding; });
    if (now.items.size() != 1 || now.items.front().view.name != arguments.label) {
        throw Failure(ExitCode::refused,
                      what +
                          ": it is the machine's and stays as it is; a copy with the new label stands beside "
                          "it");
    }
    if (session.options().json) {
        writeJson(session.output(), toJson(now.items.front().view));
    } else {
        session.output().write(printable(item.view.name + " is now " + arguments.label) + '\n');
    }
    return ExitCode::done;
}

} // namespace

Work defineUpdate(CLI::App& command) {
    auto const arguments = std::make_shared<UpdateArguments>();
    arguments->item.define(command);
    command.add_option("--new-label", arguments->label, "the item's new name")
        ->required()
        ->type_name("TEXT")
        ->check(checkLabel);
    return [arguments](Session& session) { return update(session, *arguments); };
}

} // namespace tvkstore
