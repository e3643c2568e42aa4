#include "capikrypublickeygenalgorithm.h"

#include "capimanagerutility.h"
#include "cspmanagerutility.h"
#include "keyreference.h"
#include "platformhandle.h"
#include "tracing.h"

#include <memory>

namespace {

constexpr SourceFile kSource{"./capi/src/capikrypublickeygenalgorithm", 4};

// The provider takes a key length in the upper half of the flags; other lengths than these aren't asked of
// it.
unsigned long flagsOf(unsigned int keySizeBits) {
    bool const isServed = keySizeBits == 512 || keySizeBits == 1024;
    return CRYPT_EXPORTABLE | (isServed ? static_cast<unsigned long>(keySizeBits) << 16 : 0);
}

TVKKRYKey keyOf(HCRYPTPROV provider, bool isPrivate) {
    std::unique_ptr<TVKKeyItem> const item(
        CspManagerUtility::makeKeyItem(provider, AT_KEYEXCHANGE, isPrivate, nullptr));
    return item->getKey();
}

} // namespace

CAPIKRYPublicKeyGenAlgorithm::CAPIKRYPublicKeyGenAlgorithm(int algorithmValue, CSPManager const& manager,
                                                           unsigned int keySize)
    : algorithm(algorithmValue), keySizeBits(keySize) {
    OperationTrace const trace(kSource, "CAPIKRYPublicKeyGenAlgorithm::ctor");
    cspManager = duplicateManager(manager);
}

CAPIKRYPublicKeyGenAlgorithm::~CAPIKRYPublicKeyGenAlgorithm() {
    OperationTrace const trace(kSource, "CAPIKRYPublicKeyGenAlgorithm::dtor");
    delete cspManager;
}

bool CAPIKRYPublicKeyGenAlgorithm::isKindOf(TVKString const& name) const {
    return name.compare(getClassName()) == 0 || TVKKRYPublicKeyGenAlgorithm::isKindOf(name);
}

TVKString CAPIKRYPublicKeyGenAlgorithm::getInstanceName() const { return getClassName(); }

TVKKRYKeyPair CAPIKRYPublicKeyGenAlgorithm::generateKeyPair() {
    OperationTrace const trace(kSource, "CAPIKRYPublicKeyGenAlgorithm::generateKeyPair");
    TVKString const container =
        CspManagerUtility::makeDefaultLabel(cspManager->getKeyContainerName(cspManager->gethCryptProv()));
    TVKString const providerName = cspManager->getCSPName();
    OwnedProvider provider;
    // Without a container the handle stays unset, and the key can't be made.
    CapiManagerUtility::getCSPHandle(provider.receive(), container.c_str(), providerName.c_str(),
                                     PROV_RSA_FULL, 0);
    TVKBuffer handleBytes;
    CapiManagerUtility::generateKeyPair(provider.get(), AT_KEYEXCHANGE, flagsOf(keySizeBits), handleBytes);
    // The handle itself goes with the provider handle that it was made from.
    TVKKRYKey const publicKey = keyOf(provider.get(), false);
    TVKKRYKey const privateKey = keyOf(provider.get(), true);
    return {publicKey, privateKey};
}

TVKString CAPIKRYPublicKeyGenAlgorithm::getClassName() const { return "CAPIKRYPublicKeyGenAlgorithm"; }
