// Makes an RSA key pair in a container of its own, signs with the private key, which stays in its provider,
// and verifies with the public key alone, as somebody would who got it from us.

#include <tvkcore/tvkcore.h>
#include <tvksoft/tvksoftalgorithmfactory.h>

#include <iostream>
#include <memory>

namespace {

bool signAndVerify(TVKKRYAlgorithmFactory const& provider, TVKASNCBuffer const& data) {
    std::unique_ptr<TVKKRYPublicKeyGenAlgorithm> const generator(provider.make_RSA_PublicKeyGenAlgorithm(0));
    TVKKRYKeyPair const pair = generator->generateKeyPair();
    // The private key is a reference into the provider, good in this process. The public key is an encoded
    // SubjectPublicKeyInfo, which may go anywhere.
    std::unique_ptr<TVKKRYSignatureAlgorithm> const signer(
        provider.make_SHA1WithRSA_SignatureAlgorithm(pair.getPrivateKey()));
    TVKBuffer const signature = signer->signData(data);
    std::cout << signature.getLength() << " bytes of signature\n";

    // Keys that aren't references are for the toolkit's default factory.
    std::unique_ptr<TVKKRYVerificationAlgorithm> const verifier(
        TVKKRYUtility::getDefaultAlgorithmFactory().make_SHA1WithRSA_VerificationAlgorithm(
            pair.getPublicKey()));
    return verifier->verifyData(data, signature.get());
}

} // namespace

int main() try {
    TVKKRYUtility::setDefaultAlgorithmFactory(TVKSoftAlgorithmFactory());
    TVKLibraryManager::loadLibrary("tvkbridge");
    TVKLibraryManager::LibraryFunction const start = TVKLibraryManager::getLibEntry("tvkbridge");
    if (start == nullptr) {
        std::cerr << "the module doesn't offer tvkbridge\n";
        return 1;
    }
    bool verified = false;
    {
        std::unique_ptr<TVKCAPIManager> const module(static_cast<TVKCAPIManager*>(start(nullptr)));
        // The default provider, with the store "MY".
        std::unique_ptr<TVKCspManager> const store(module->getCspManager("", 1));
        std::unique_ptr<TVKKRYAlgorithmFactory> const provider(store->getTVKKRYAlgorithmFactory());
        unsigned char const text[] = {'h', 'e', 'l', 'l', 'o'};
        verified = signAndVerify(*provider, TVKASNCBuffer(text, sizeof text));
    }
    TVKLibraryManager::unloadLibrary("tvkbridge");
    std::cout << (verified ? "it verifies\n" : "it doesn't verify\n");
    return verified && std::cout.flush() ? 0 : 1;
} catch (TVKException const& failure) {
    std::cerr << failure.what() << " (code " << failure.getCode() << ")\n";
    return 1;
}
