#include "support/module.h"

#include <stdexcept>

namespace bench {

namespace {

class Module {
public:
    Module() {
        TVKLibraryManager::loadLibrary("tvkbridge");
        TVKLibraryManager::LibraryFunction const start = TVKLibraryManager::getLibEntry("tvkbridge");
        if (start == nullptr) {
            throw std::runtime_error("the module doesn't offer tvkbridge");
        }
        manager_.reset(static_cast<TVKCAPIManager*>(start(nullptr)));
    }

    TVKCAPIManager& manager() { return *manager_; }

private:
    std::unique_ptr<TVKCAPIManager> manager_;
};

} // namespace

TVKCAPIManager& module() {
    // Never destroyed: the module stays loaded for whatever the process still holds of it.
    static auto* const loaded = new Module;
    return loaded->manager();
}

std::unique_ptr<TVKCspManager> openStore() {
    constexpr unsigned long personal = 1;
    return std::unique_ptr<TVKCspManager>(module().getCspManager("", personal));
}

TVKKRYKey firstKey(TVKCspManager& store) {
    std::unique_ptr<TVKCspManager::Iterator> const iterator(store.getKeyCertIterator());
    std::unique_ptr<TVKKeyCertItem> const item(store.getNextKeyCertItem(*iterator));
    if (item == nullptr) {
        throw std::runtime_error("the store holds no key");
    }
    return item->getKey();
}

} // namespace bench
