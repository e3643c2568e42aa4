#include "capikrysignaturealgorithm.h"

#include "capimanagerutility.h"
#include "cspmanagerutility.h"
#include "keyreference.h"
#include "platformhandle.h"
#include "tracing.h"

#include <memory>
#include <utility>

namespace {

constexpr SourceFile kSource{"./capi/src/capikrysignaturealgorithm", 2048};

ALG_ID hashOf(int algorithm) {
    switch (algorithm) {
    case CAPIKRYSignatureAlgorithm::md5:
        return CALG_MD5;
    case CAPIKRYSignatureAlgorithm::sha1:
        return CALG_SHA1;
    default:
        return CALG_SSL3_SHAMD5;
    }
}

} // namespace

CAPIKRYSignatureAlgorithm::CAPIKRYSignatureAlgorithm(int algorithmValue, CSPManager const& manager,
                                                     TVKKRYKey const& signingKey)
    : algorithm(algorithmValue), key(signingKey) {
    OperationTrace const trace(kSource, "CAPIKRYSignatureAlgorithm::ctor");
    std::unique_ptr<CSPManager> own(duplicateManager(manager));
    requireKeyRecord(key);
    cspManager = own.release();
}

CAPIKRYSignatureAlgorithm::~CAPIKRYSignatureAlgorithm() {
    OperationTrace const trace(kSource, "CAPIKRYSignatureAlgorithm::dtor");
    delete cspManager;
    releaseHandles();
}

bool CAPIKRYSignatureAlgorithm::isKindOf(TVKString const& name) const {
    return name.compare(getClassName()) == 0 || TVKKRYSignatureAlgorithm::isKindOf(name);
}

TVKString CAPIKRYSignatureAlgorithm::getInstanceName() const { return getClassName(); }

TVKBuffer CAPIKRYSignatureAlgorithm::signData(TVKASNCBuffer const& data) {
    OperationTrace const trace(kSource, "CAPIKRYSignatureAlgorithm::signData");
    signDataInit();
    signDataUpdate(data);
    return signDataFinal();
}

void CAPIKRYSignatureAlgorithm::signDataInit() {
    OperationTrace const trace(kSource, "CAPIKRYSignatureAlgorithm::signDataInit");
    releaseHandles();
    // The provider signs by key specification: the key handle has done its work when the key was found.
    OwnedKey keyHandle;
    openReferredKey(key, *cspManager, &hCryptProv, keyHandle.receive());
    CapiManagerUtility::signInit(hCryptProv, hashOf(algorithm), &hCryptHash);
    hashData = algorithm != finishedDigest;
}

void CAPIKRYSignatureAlgorithm::signDataUpdate(TVKASNCBuffer const& data) {
    OperationTrace const trace(kSource, "CAPIKRYSignatureAlgorithm::signDataUpdate");
    CapiManagerUtility::signUpdate(hCryptHash, TVKBuffer(data), hashData);
}

TVKBuffer CAPIKRYSignatureAlgorithm::signDataFinal() {
    OperationTrace const trace(kSource, "CAPIKRYSignatureAlgorithm::signDataFinal");
    TVKBuffer signature;
    CapiManagerUtility::signFinal(hCryptHash, signature, AT_KEYEXCHANGE);
    return CspManagerUtility::reverseEndian(signature);
}

TVKString CAPIKRYSignatureAlgorithm::getClassName() const { return "CAPIKRYSignatureAlgorithm"; }

void CAPIKRYSignatureAlgorithm::releaseHandles() noexcept {
    OwnedProvider const provider(std::exchange(hCryptProv, 0));
    OwnedHash const hash(std::exchange(hCryptHash, 0));
}
