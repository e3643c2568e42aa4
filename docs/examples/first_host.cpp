#include <tvkcore/tvkcore.h>

#include <iostream>
#include <memory>

int main() try {
    TVKLibraryManager::loadLibrary("tvkbridge");
    TVKLibraryManager::LibraryFunction const start = TVKLibraryManager::getLibEntry("tvkbridge");
    if (start == nullptr) {
        std::cerr << "the module doesn't offer tvkbridge\n";
        return 1;
    }
    {
        std::unique_ptr<TVKCAPIManager> const module(static_cast<TVKCAPIManager*>(start(nullptr)));
        // No name stands for the default provider, 3 for the store "ROOT".
        std::unique_ptr<TVKCspManager> const store(module->getCspManager("", 3));
        std::unique_ptr<TVKCspManager::Iterator> const iterator(store->getCertIterator());
        unsigned int count = 0;
        while (std::unique_ptr<TVKCertItem> const item{store->getNextCertItem(*iterator)}) {
            std::cout << item->getLabelAsString().view() << '\n';
            ++count;
        }
        std::cout << count << " certificates\n";
    }
    // All that came from the module is gone by now.
    TVKLibraryManager::unloadLibrary("tvkbridge");
    return std::cout.flush() ? 0 : 1;
} catch (TVKException const& failure) {
    std::cerr << failure.what() << " (code " << failure.getCode() << ")\n";
    return 1;
}
