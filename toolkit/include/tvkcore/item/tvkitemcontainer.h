#pragma once

#include <tvkcore/base/tvkglobal.h>
#include <tvkcore/item/tvkstoreitem.h>

#include <deque>

// A first-in-first-out list of items. With ownership it deletes the items that it still holds when it goes.
template <typename Item>
class TVKItemContainer {
public:
    explicit TVKItemContainer(TVKOwnership const& ownership) : m_ownership(ownership) {}

    virtual ~TVKItemContainer() {
        if (m_ownership == TVKOwnershipOwned) {
            for (Item* item : m_items) {
                delete item;
            }
        }
    }

    TVKItemContainer(TVKItemContainer const&) = delete;
    TVKItemContainer& operator=(TVKItemContainer const&) = delete;

    unsigned int size() const { return static_cast<unsigned int>(m_items.size()); }

    // Removes the oldest item and hands it to the caller; null when there is none.
    Item* pop_front() {
        if (m_items.empty()) {
            return nullptr;
        }
        Item* item = m_items.front();
        m_items.pop_front();
        return item;
    }

    // Appends an item, which is the container's from then on. False, and nothing appended, for null. On
    // std::bad_alloc the item stays the caller's.
    bool push_back(Item* item) {
        if (item == nullptr) {
            return false;
        }
        m_items.push_back(item);
        return true;
    }

private:
    TVKOwnership m_ownership;
    std::deque<Item*> m_items;
};

using TVKKeyItemContainer = TVKItemContainer<TVKKeyItem>;
using TVKCertItemContainer = TVKItemContainer<TVKCertItem>;
using TVKKeyCertItemContainer = TVKItemContainer<TVKKeyCertItem>;
using TVKKeyCertReqItemContainer = TVKItemContainer<TVKKeyCertReqItem>;
