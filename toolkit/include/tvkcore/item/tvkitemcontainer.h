#pragma once

#include <tvkcore/base/tvkglobal.h>
#include <tvkcore/item/tvkstoreitem.h>

#include <deque>

// A first-in-first-out list of items. With ownership it deletes the items that it still holds when it goes.
template <typename Item>
class TVKItemContainer {
public:
    explicit TVKItemContainer(TVKOwnership const& ownership) : ownership_(ownership) {}

    virtual ~TVKItemContainer() {
        if (ownership_ == TVKOwnershipOwned) {
            for (Item* item : items_) {
                delete item;
            }
        }
    }

    TVKItemContainer(TVKItemContainer const&) = delete;
    TVKItemContainer& operator=(TVKItemContainer const&) = delete;

    unsigned int size() const { return static_cast<unsigned int>(items_.size()); }

    // Removes the oldest item and hands it to the caller; null when there is none.
    Item* pop_front() {
        if (items_.empty()) {
            return nullptr;
        }
        Item* item = items_.front();
        items_.pop_front();
        return item;
    }

    // Appends an item, which is the container's from then on. False, and nothing appended, for null. On
    // std::bad_alloc the item stays the caller's.
    bool push_back(Item* item) {
        if (item == nullptr) {
            return false;
        }
        items_.push_back(item);
        return true;
    }

private:
    TVKOwnership ownership_;
    std::deque<Item*> items_;
};

using TVKKeyItemContainer = TVKItemContainer<TVKKeyItem>;
using TVKCertItemContainer = TVKItemContainer<TVKCertItem>;
using TVKKeyCertItemContainer = TVKItemContainer<TVKKeyCertItem>;
using TVKKeyCertReqItemContainer = TVKItemContainer<TVKKeyCertReqItem>;
