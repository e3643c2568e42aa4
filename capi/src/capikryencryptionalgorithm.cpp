#include "capikryencryptionalgorithm.h"

#include "capikrysignaturealgorithm.h"
#include "capimanagerutility.h"
#include "cspmanagerutility.h"
#include "keyreference.h"
#include "platformhandle.h"
#include "tracing.h"

#include <memory>
#include <utility>

namespace {

constexpr SourceFile kSource{"./capi/src/capikryencryptionalgorithm", 2048};

// An MD5 and a SHA-1 digest.
constexpr unsigned long kFinishedDigestLength = 36;

} // namespace

CAPIKRYEncryptionAlgorithm::CAPIKRYEncryptionAlgorithm(int algorithmValue, CSPManager const& manager,
                                                       TVKKRYKey const& referredKey)
    : algorithm(algorithmValue), key(referredKey) {
    OperationTrace const trace(kSource, "CAPIKRYEncryptionAlgorithm::ctor");
    std::unique_ptr<CSPManager> own(duplicateManager(manager));
    requireKeyRecord(key);
    cspManager = own.release();
}

CAPIKRYEncryptionAlgorithm::~CAPIKRYEncryptionAlgorithm() {
    OperationTrace const trace(kSource, "CAPIKRYEncryptionAlgorithm::dtor");
    delete cspManager;
    releaseHandles();
}

bool CAPIKRYEncryptionAlgorithm::isKindOf(TVKString const& name) const {
    return name.compare(getClassName()) == 0 || TVKKRYEncryptionAlgorithm::isKindOf(name);
}

TVKString CAPIKRYEncryptionAlgorithm::getInstanceName() const { return getClassName(); }

TVKBuffer CAPIKRYEncryptionAlgorithm::encryptData(TVKASNCBuffer const& data) {
    OperationTrace const trace(kSource, "CAPIKRYEncryptionAlgorithm::encryptData");
    if (data.length == kFinishedDigestLength) {
        CAPIKRYSignatureAlgorithm signature(CAPIKRYSignatureAlgorithm::finishedDigest, *cspManager, key);
        return signature.signData(data);
    }
    encryptDataInit();
    return CspManagerUtility::reverseEndian(encryptDataFinal(TVKBuffer(data)));
}

void CAPIKRYEncryptionAlgorithm::encryptDataInit() {
    OperationTrace const trace(kSource, "CAPIKRYEncryptionAlgorithm::encryptDataInit");
    releaseHandles();
    openReferredKey(key, *cspManager, &hCryptProv, &hCryptKey);
}

TVKBuffer CAPIKRYEncryptionAlgorithm::encryptDataUpdate(TVKASNCBuffer const& data) {
    OperationTrace const trace(kSource, "CAPIKRYEncryptionAlgorithm::encryptDataUpdate");
    TVKBuffer result;
    CapiManagerUtility::encryptUpdate(hCryptKey, TVKBuffer(data), result, false);
    return result;
}

TVKBuffer CAPIKRYEncryptionAlgorithm::encryptDataFinal() {
    OperationTrace const trace(kSource, "CAPIKRYEncryptionAlgorithm::encryptDataFinal");
    return encryptDataFinal(TVKBuffer());
}

TVKKRYKeyRecoveryBlock* CAPIKRYEncryptionAlgorithm::getKeyRecoveryBlock() {
    OperationTrace const trace(kSource, "CAPIKRYEncryptionAlgorithm::getKeyRecoveryBlock");
    return nullptr;
}

TVKBuffer CAPIKRYEncryptionAlgorithm::encryptDataFinal(TVKBuffer const& data) {
    OperationTrace const trace(kSource, "CAPIKRYEncryptionAlgorithm::encryptDataFinal");
    TVKBuffer result;
    CapiManagerUtility::encryptFinal(hCryptKey, data, result);
    return result;
}

TVKString CAPIKRYEncryptionAlgorithm::getClassName() const { return "CAPIKRYEncryptionAlgorithm"; }

void CAPIKRYEncryptionAlgorithm::releaseHandles() noexcept {
    OwnedProvider const provider(std::exchange(hCryptProv, 0));
    OwnedKey const keyHandle(std::exchange(hCryptKey, 0));
}
