// A host program that takes the first item of "MY" and writes its label.

#include <tvkcore/tvkcore.h>

#include <unistd.h>

#include <iostream>
#include <memory>

int main() try {
    TVKLibraryManager::loadLibrary("tvkbridge");
    TVKLibraryManager::LibraryFunction const start = TVKLibraryManager::getLibEntry("tvkbridge");
    if (start == nullptr) {
        return 1;
    }
    std::unique_ptr<TVKCAPIManager> const module(static_cast<TVKCAPIManager*>(start(nullptr)));
    std::unique_ptr<TVKCspManager> const store(module->getCspManager("", 1));
    std::unique_ptr<TVKCspManager::Iterator> const iterator(store->getCertIterator());
    std::unique_ptr<TVKCertItem> const item(store->getNextCertItem(*iterator));
    if (item == nullptr) {
        return 1;
    }
    TVKString const label = item->getLabelAsString();
    return ::write(STDOUT_FILENO, label.c_str(), label.length()) == static_cast<ssize_t>(label.length()) ? 0
                                                                                                         : 1;
} catch (TVKException const& failure) {
    std::cerr << failure.what() << " (code " << failure.getCode() << ")\n";
    return 1;
}
