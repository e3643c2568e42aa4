// What a store handle stands for: views of its own, and the stores that were added to it.
#pragma once

#include "handle_table.h"
#include "store_view.h"

#include <vector>

namespace wincrypt {

class StoreObject {
public:
    static constexpr HandleKind handleKind = HandleKind::store;

    struct Member {
        std::shared_ptr<StoreView> view;
        bool takesAdditions = true;
        bool isOptional = false; // what it can't read is logged and hides nothing of the others
    };

    StoreObject(std::vector<Member> own, bool canBeCollection);

    // Error: ERROR_INVALID_PARAMETER for a store that can't be a collection, or for a circle.
    void addSibling(std::shared_ptr<StoreObject> const& sibling, bool takesAdditions, DWORD priority);

    // The certificate behind `previous` (null: the first) that the selection wants; null at the end.
    // Error: E_INVALIDARG when the previous context isn't of this store.
    CertificateContext* next(HCERTSTORE self, CertificateContext const* previous,
                             Selection const& selection) const;

    // Adds to the first member that accepts it.
    CertificateContext* add(HCERTSTORE self, CertificateFields const& fields, PropertySet const& properties,
                            DWORD disposition) const;

    bool hasLivingContexts() const;

private:
    struct Sibling {
        std::shared_ptr<StoreObject> store;
        bool takesAdditions;
        DWORD priority;
    };

    std::vector<Member> members() const; // in the order in which they are walked, each view once
    void collect(std::vector<Member>& into, bool takesAdditions) const;
    bool reaches(StoreObject const* store) const;

    std::vector<Member> const own_;
    bool const canBeCollection_;
    std::atomic<std::shared_ptr<std::vector<Sibling> const>> siblings_;
};

// Opens a system store by name. Error: ERROR_FILE_NOT_FOUND, and those of the database.
std::shared_ptr<StoreObject> openSystemStore(Scope scope, std::string const& name, bool mustExist,
                                             bool readOnly);

} // namespace wincrypt
