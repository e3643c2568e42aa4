#pragma once

#include <tvkcore/base/tvkglobal.h>

#include <algorithm>
#include <deque>

// A set that keeps the order in which its elements were inserted.
template <typename T, typename Predicate>
class TVKPrioritySet {
public:
    using const_iterator = typename std::deque<T>::const_iterator;

    // Adds `value` at the back, unless an element compares equal to it. Tells whether it was added.
    bool insert(T const& value) {
        Predicate const equal{};
        bool const known = std::any_of(values_.begin(), values_.end(),
                                       [&](T const& element) { return equal(element, value); });
        if (!known) {
            values_.push_back(value);
        }
        return !known;
    }

    unsigned int size() const { return static_cast<unsigned int>(values_.size()); }

    // From front to back.
    const_iterator begin() const { return values_.begin(); }
    const_iterator end() const { return values_.end(); }

private:
    std::deque<T> values_;
};

// A set of pointers that can own what it holds. What it owns it destroys by `tvkDestroyElement`, from front
// to back.
template <typename Set>
class TVKPtrContainer {
public:
    explicit TVKPtrContainer(TVKOwnership const& ownershipOfElements) : ownership(ownershipOfElements) {}

    virtual ~TVKPtrContainer() {
        if (ownership == TVKOwnershipOwned) {
            for (auto* element : set) {
                if (element != nullptr) {
                    tvkDestroyElement(element);
                }
            }
        }
    }

    TVKPtrContainer(TVKPtrContainer const&) = delete;
    TVKPtrContainer& operator=(TVKPtrContainer const&) = delete;

    unsigned int size() const { return set.size(); }
    auto begin() const { return set.begin(); }
    auto end() const { return set.end(); }

    Set set;
    TVKOwnership ownership;
};
