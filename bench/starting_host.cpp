// A host program that does one thing with the store "MY" and writes what it got: `item` takes the first item
// and writes its label, `signature` signs once with the first key.

#include <tvkcore/tvkcore.h>

#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string_view>

namespace {

bool write(void const* data, std::size_t size) {
    return ::write(STDOUT_FILENO, data, size) == static_cast<ssize_t>(size);
}

bool writeLabel(TVKCspManager& store) {
    std::unique_ptr<TVKCspManager::Iterator> const iterator(store.getCertIterator());
    std::unique_ptr<TVKCertItem> const item(store.getNextCertItem(*iterator));
    if (item == nullptr) {
        return false;
    }
    TVKString const label = item->getLabelAsString();
    return write(label.c_str(), label.length());
}

bool writeSignature(TVKCspManager& store) {
    std::unique_ptr<TVKCspManager::Iterator> const iterator(store.getKeyCertIterator());
    std::unique_ptr<TVKKeyCertItem> const item(store.getNextKeyCertItem(*iterator));
    if (item == nullptr) {
        return false;
    }
    std::unique_ptr<TVKKRYAlgorithmFactory> const factory(store.getTVKKRYAlgorithmFactory());
    std::unique_ptr<TVKKRYSignatureAlgorithm> const signer(
        factory->make_SHA1WithRSA_SignatureAlgorithm(item->getKey()));
    unsigned char const message[] = "first";
    TVKBuffer const signature = signer->signData(TVKASNCBuffer(message, sizeof message));
    return write(signature.getValue(), signature.getLength());
}

} // namespace

int main(int argc, char** argv) try {
    std::string_view const wanted = argc == 2 ? argv[1] : "";
    TVKLibraryManager::loadLibrary("tvkbridge");
    TVKLibraryManager::LibraryFunction const start = TVKLibraryManager::getLibEntry("tvkbridge");
    if (start == nullptr) {
        return 1;
    }
    std::unique_ptr<TVKCAPIManager> const module(static_cast<TVKCAPIManager*>(start(nullptr)));
    std::unique_ptr<TVKCspManager> const store(module->getCspManager("", 1));
    bool const written = wanted == "item"        ? writeLabel(*store)
                         : wanted == "signature" ? writeSignature(*store)
                                                 : false;
    return written ? 0 : 1;
} catch (TVKException const& failure) {
    std::fprintf(stderr, "%s (code %d)\n", failure.what(), failure.getCode());
    return 1;
}
