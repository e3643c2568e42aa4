#include "stored_items.h"

#include "failure.h"
#include "toolkit_bytes.h"

#include <algorithm>

namespace tvkstore {

StoredItems findItems(Session& session, TVKCspManager& store,
                      std::function<bool(CertificateView const&)> const& isWanted) {
    StoredItems found;
    found.complete = walkCertificates(session, store, Certificates::all, [&](CertificateView const& view) {
        if (isWanted(view)) {
            found.items.push_back({view, std::nullopt, true});
        }
    });
    bool const anyKey = std::any_of(found.items.begin(), found.items.end(),
                                    [](StoredItem const& item) { return item.view.hasKey; });
    // A walk that was cut short showed certificates without their keys.
    KeysByCertificate const known =
        anyKey || !found.complete ? keysByCertificate(store) : KeysByCertificate();
    bool const areKeysKnown = known.failures == 0 && !session.relayLayerLog();
    for (StoredItem& item : found.items) {
        if (auto const key = known.keys.find(item.view.encoding); key != known.keys.end()) {
            item.key = key->second;
            item.view.hasKey = true;
        } else if (item.view.hasKey) {
            throw Failure(ExitCode::failed, "the private key of " + item.view.name + " can't be read");
        } else {
            item.isKeyKnown = areKeysKnown;
        }
    }
    return found;
}

StoredItem findOneItem(Session& session, TVKCspManager& store, ItemName const& name) {
    StoredItems found =
        findItems(session, store, [&](CertificateView const& view) { return name.names(view); });
    requireOne(found.items.size(), found.complete, "certificate", name, session);
    return std::move(found.items.front());
}

void requireOne(std::size_t count, bool complete, std::string const& what, ItemName const& name,
                Session const& session) {
    std::string const where = ' ' + name.description() + " in store " + session.options().store;
    if (count == 0) {
        throw Failure(complete ? ExitCode::no : ExitCode::damaged, "no " + what + where);
    }
    if (count > 1) {
        throw Failure(ExitCode::usage, std::to_string(count) + " items" + where,
                      {"--serial with --issuer names one of them"});
    }
}

TVKCertItem certificateItem(std::string const& encoding, std::string const& label) {
    return {TVKBuffer(viewOf(encoding)), TVKBuffer(viewOf(label))};
}

TVKKeyCertItem keyItem(std::string const& encoding, TVKKRYKey const& key, std::string const& label) {
    return {TVKKeyItem(key, TVKBuffer(viewOf(label))), certificateItem(encoding, label)};
}

} // namespace tvkstore
