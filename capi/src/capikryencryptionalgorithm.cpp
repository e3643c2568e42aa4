#include "capikryencryptionalgorithm.h"

#include "capikrysignaturealgorithm.h"
#include "capimanagerutility.h"
#include "cspmanagerutility.h"
#include "keyreference.h"
#include "tracing.h"

namespace {

constexpr SourceFile kSource{"./capi/src/capikryencryptionalgorithm", 2048};

// An MD5 and a SHA-1 digest.
constexpr unsigned long kFinishedDigestLength = 36;

} // namespace

CAPIKRYEncryptionAlgorithm::CAPIKRYEncryptionAlgorithm(int algorithmValue, CSPManager const& manager,
                                                       TVKKRYKey const& referredKey)
    : algorithm(algorithmValue), key(referredKey) {
    OperationTrace const trace(kSource, "CAPIKRYEncryptionAlgorithm::ctor");
    cspManager.reset(duplicateManager(manager));
    requireKeyRecord(key);
}

CAPIKRYEncryptionAlgorithm::~CAPIKRYEncryptionAlgorithm() {
    OperationTrace const trace(kSource, "CAPIKRYEncryptionAlgorithm::dtor");
    cspManager.reset();
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
    openReferredKey(key, *cspManager, hCryptProv.receive(), hCryptKey.receive());
}

TVKBuffer CAPIKRYEncryptionAlgorithm::encryptDataUpdate(TVKASNCBuffer const& data) {
    OperationTrace const trace(kSource, "CAPIKRYEncryptionAlgorithm::encryptDataUpdate");
    TVKBuffer result;
    CapiManagerUtility::encryptUpdate(hCryptKey.get(), TVKBuffer(data), result, false);
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
    CapiManagerUtility::encryptFinal(hCryptKey.get(), data, result);
    return result;
}

TVKString CAPIKRYEncryptionAlgorithm::getClassName() const { return "CAPIKRYEncryptionAlgorithm"; }

void CAPIKRYEncryptionAlgorithm::releaseHandles() noexcept {
    hCryptKey.reset();
    hCryptProv.reset();
}
