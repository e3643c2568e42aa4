#pragma once

#include "certificate_walk.h"
#include "item_name.h"

#include <optional>
#include <vector>

namespace tvkstore {

// An item of a store, to be changed or taken out.
struct StoredItem {
    CertificateView view;
    std::optional<TVKKRYKey> key; // a reference
    bool isKeyKnown = true;       // false when there may be a key that couldn't be read
};

struct StoredItems {
    std::vector<StoredItem> items; // in store order
    bool complete = true;          // false when some couldn't be read
};

StoredItems findItems(Session& session, TVKCspManager& store,
                      std::function<bool(CertificateView const&)> const& isWanted);

// The one item that is named. Throws Failure as requireOne does.
StoredItem findOneItem(Session& session, TVKCspManager& store, ItemName const& name);

// Throws Failure unless the name fits one item of the chosen store: no when it fits none, damaged when some
// couldn't be read, as the one may be among them, usage for several. `what` is looked for, in the singular.
void requireOne(std::size_t count, bool complete, std::string const& what, ItemName const& name,
                Session const& session);

// The items that the toolkit takes, with another label than the store's. The certificate form has no key.
TVKCertItem certificateItem(std::string const& encoding, std::string const& label);
TVKKeyCertItem keyItem(std::string const& encoding, TVKKRYKey const& key, std::string const& label);

} // namespace tvkstore
