#include "capikrydecryptionalgorithm.h"

#include "capimanagerutility.h"
#include "cspmanagerutility.h"
#include "keyreference.h"
#include "platformhandle.h"
#include "tracing.h"

#include <memory>
#include <utility>

namespace {

constexpr SourceFile kSource{"./capi/src/capikrydecryptionalgorithm", 2048};

} // namespace

CAPIKRYDecryptionAlgorithm::CAPIKRYDecryptionAlgorithm(int algorithmValue, CSPManager const& manager,
                                                       TVKKRYKey const& referredKey)
    : algorithm(algorithmValue), key(referredKey) {
    OperationTrace const trace(kSource, "CAPIKRYDecryptionAlgorithm::ctor");
    std::unique_ptr<CSPManager> own(duplicateManager(manager));
    requireKeyRecord(key);
    cspManager = own.release();
}

CAPIKRYDecryptionAlgorithm::~CAPIKRYDecryptionAlgorithm() {
    OperationTrace const trace(kSource, "CAPIKRYDecryptionAlgorithm::dtor");
    delete cspManager;
    releaseHandles();
}

bool CAPIKRYDecryptionAlgorithm::isKindOf(TVKString const& name) const {
    return name.compare(getClassName()) == 0 || TVKKRYDecryptionAlgorithm::isKindOf(name);
}

TVKString CAPIKRYDecryptionAlgorithm::getInstanceName() const { return getClassName(); }

TVKBuffer CAPIKRYDecryptionAlgorithm::decryptData(TVKASNCBuffer const& data) {
    OperationTrace const trace(kSource, "CAPIKRYDecryptionAlgorithm::decryptData");
    decryptDataInit();
    return decryptData(CspManagerUtility::reverseEndian(TVKBuffer(data)));
}

void CAPIKRYDecryptionAlgorithm::decryptDataInit() {
    OperationTrace const trace(kSource, "CAPIKRYDecryptionAlgorithm::decryptDataInit");
    releaseHandles();
    openReferredKey(key, *cspManager, &hCryptProv, &hCryptKey);
}

TVKBuffer CAPIKRYDecryptionAlgorithm::decryptDataUpdate(TVKASNCBuffer const& data) {
    OperationTrace const trace(kSource, "CAPIKRYDecryptionAlgorithm::decryptDataUpdate");
    TVKBuffer result;
    CapiManagerUtility::decryptUpdate(hCryptKey, TVKBuffer(data), result, false);
    return result;
}

TVKBuffer CAPIKRYDecryptionAlgorithm::decryptDataFinal() {
    OperationTrace const trace(kSource, "CAPIKRYDecryptionAlgorithm::decryptDataFinal");
    return decryptData(TVKBuffer());
}

// The provider works in the storage of what it is given: here a copy of the caller's bytes.
TVKBuffer CAPIKRYDecryptionAlgorithm::decryptData(TVKBuffer const& data) {
    OperationTrace const trace(kSource, "CAPIKRYDecryptionAlgorithm::decryptData");
    TVKBuffer const copy(data);
    TVKBuffer result;
    CapiManagerUtility::decryptFinal(hCryptKey, copy, result);
    return result;
}

TVKString CAPIKRYDecryptionAlgorithm::getClassName() const { return "CAPIKRYDecryptionAlgorithm"; }

void CAPIKRYDecryptionAlgorithm::releaseHandles() noexcept {
    OwnedProvider const provider(std::exchange(hCryptProv, 0));
    OwnedKey const keyHandle(std::exchange(hCryptKey, 0));
}
