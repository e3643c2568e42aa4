#include "store_object.h"

#include "boundary.h"

#include <algorithm>

namespace wincrypt {

StoreObject::StoreObject(std::vector<Member> own, bool canBeCollection)
    : own_(std::move(own)), canBeCollection_(canBeCollection),
      siblings_(std::make_shared<std::vector<Sibling> const>()) {}

bool StoreObject::reaches(StoreObject const* store) const {
    if (this == store)
        return true;
    auto const siblings = siblings_.load();
    return std::any_of(siblings->begin(), siblings->end(),
                       [&](Sibling const& sibling) { return sibling.store->reaches(store); });
}

void StoreObject::addSibling(std::shared_ptr<StoreObject> const& sibling, bool takesAdditions,
                             DWORD priority) {
    // One at a time in the process, so that two calls can't close a circle together.
    std::lock_guard const lock(processLock(ProcessLock::memoryStores));
    if (!canBeCollection_ || sibling->reaches(this))
        fail(ERROR_INVALID_PARAMETER);
    auto changed = std::make_shared<std::vector<Sibling>>(*siblings_.load());
    changed->push_back({sibling, takesAdditions, priority});
    std::stable_sort(changed->begin(), changed->end(),
                     [](Sibling const& a, Sibling const& b) { return a.priority > b.priority; });
    siblings_.store(std::move(changed));
}

void StoreObject::collect(std::vector<Member>& into, bool takesAdditions) const {
    auto const siblings = siblings_.load();
    auto const collectSiblings = [&](bool before) {
        for (Sibling const& sibling : *siblings)
            if ((sibling.priority > 0) == before)
                sibling.store->collect(into, takesAdditions && sibling.takesAdditions);
    };
    collectSiblings(true);
    for (Member const& member : own_) {
        // A view that is reached twice would send a walk round in a circle.
        if (std::any_of(into.begin(), into.end(),
                        [&](Member const& known) { return known.view == member.view; }))
            continue;
        into.push_back(member);
        into.back().takesAdditions = member.takesAdditions && takesAdditions;
    }
    collectSiblings(false);
}

std::vector<StoreObject::Member> StoreObject::members() const {
    std::vector<Member> all;
    collect(all, true);
    return all;
}

CertificateContext* StoreObject::next(HCERTSTORE self, CertificateContext const* previous,
                                      Selection const& selection) const {
    std::vector<Member> const all = members();
    auto member = all.begin();
    if (previous != nullptr) {
        member = std::find_if(all.begin(), all.end(),
                              [&](Member const& each) { return each.view == previous->view; });
        if (member == all.end())
            fail(E_INVALIDARG);
    }
    for (; member != all.end(); ++member, previous = nullptr) {
        CertificateContext* found = nullptr;
        DWORD const error = outcome([&] { found = member->view->next(self, previous, selection); });
        if (error != ERROR_SUCCESS && !member->isOptional)
            fail(error);
        if (found != nullptr)
            return found;
    }
    return nullptr;
}

CertificateContext* StoreObject::add(HCERTSTORE self, CertificateFields const& fields,
                                     PropertySet const& properties, DWORD disposition) const {
    for (Member const& member : members()) {
        if (!member.takesAdditions)
            continue;
        CertificateContext* added = nullptr;
        DWORD const error = outcome([&] { added = member.view->add(self, fields, properties, disposition); });
        if (error == ERROR_SUCCESS)
            return added;
        if (error != errorValue(E_ACCESSDENIED))
            fail(error);
    }
    fail(E_ACCESSDENIED);
}

bool StoreObject::hasLivingContexts() const {
    return std::any_of(own_.begin(), own_.end(),
                       [](Member const& member) { return member.view->contexts.load() > 0; });
}

} // namespace wincrypt
