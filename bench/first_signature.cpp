// A host program that signs once, with the first key of "MY", and writes the signature.

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
    std::unique_ptr<TVKCspManager::Iterator> const iterator(store->getKeyCertIterator());
    std::unique_ptr<TVKKeyCertItem> const item(store->getNextKeyCertItem(*iterator));
    if (item == nullptr) {
        return 1;
    }
    std::unique_ptr<TVKKRYAlgorithmFactory> const factory(store->getTVKKRYAlgorithmFactory());
    std::unique_ptr<TVKKRYSignatureAlgorithm> const signer(
        factory->make_SHA1WithRSA_SignatureAlgorithm(item->getKey()));
    unsigned char const message[] = "first";
    TVKBuffer const signature = signer->signData(TVKASNCBuffer(message, sizeof message));
    return ::write(STDOUT_FILENO, signature.getValue(), signature.getLength()) ==
                   static_cast<ssize_t>(signature.getLength())
               ? 0
               : 1;
} catch (TVKException const& failure) {
    std::cerr << failure.what() << " (code " << failure.getCode() << ")\n";
    return 1;
}
