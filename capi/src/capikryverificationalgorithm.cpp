#include "capikryverificationalgorithm.h"

#include "capimanagerutility.h"
#include "cspmanagerutility.h"
#include "keyreference.h"
#include "platformhandle.h"
#include "tracing.h"

#include <memory>
#include <utility>

namespace {

constexpr SourceFile kSource{"./capi/src/capikryverificationalgorithm", 2048};

} // namespace

CAPIKRYVerificationAlgorithm::CAPIKRYVerificationAlgorithm(int algorithmValue, CSPManager const& manager,
                                                           TVKKRYKey const& verifyingKey)
    : algorithm(algorithmValue), key(verifyingKey) {
    OperationTrace const trace(kSource, "CAPIKRYVerificationAlgorithm::ctor");
    std::unique_ptr<CSPManager> own(duplicateManager(manager));
    requireKeyRecord(key);
    cspManager = own.release();
}

CAPIKRYVerificationAlgorithm::~CAPIKRYVerificationAlgorithm() {
    OperationTrace const trace(kSource, "CAPIKRYVerificationAlgorithm::dtor");
    delete cspManager;
    releaseHandles();
}

bool CAPIKRYVerificationAlgorithm::isKindOf(TVKString const& name) const {
    return name.compare(getClassName()) == 0 || TVKKRYVerificationAlgorithm::isKindOf(name);
}

TVKString CAPIKRYVerificationAlgorithm::getInstanceName() const { return getClassName(); }

bool CAPIKRYVerificationAlgorithm::verifyData(TVKASNCBuffer const& data, TVKASNCBuffer const& signature) {
    OperationTrace const trace(kSource, "CAPIKRYVerificationAlgorithm::verifyData");
    verifyDataInit();
    verifyDataUpdate(data);
    return verifyDataFinal(signature);
}

void CAPIKRYVerificationAlgorithm::verifyDataInit() {
    OperationTrace const trace(kSource, "CAPIKRYVerificationAlgorithm::verifyDataInit");
    releaseHandles();
    openReferredKey(key, *cspManager, &hCryptProv, &hCryptKey);
    CapiManagerUtility::verifyInit(hCryptProv, algorithm == md5 ? CALG_MD5 : CALG_SHA1, &hCryptHash);
}

void CAPIKRYVerificationAlgorithm::verifyDataUpdate(TVKASNCBuffer const& data) {
    OperationTrace const trace(kSource, "CAPIKRYVerificationAlgorithm::verifyDataUpdate");
    CapiManagerUtility::verifyUpdate(hCryptHash, TVKBuffer(data));
}

bool CAPIKRYVerificationAlgorithm::verifyDataFinal(TVKASNCBuffer const& signature) {
    OperationTrace const trace(kSource, "CAPIKRYVerificationAlgorithm::verifyDataFinal");
    return CapiManagerUtility::verifyFinal(hCryptHash, CspManagerUtility::reverseEndian(TVKBuffer(signature)),
                                           hCryptKey);
}

TVKString CAPIKRYVerificationAlgorithm::getClassName() const { return "CAPIKRYVerificationAlgorithm"; }

void CAPIKRYVerificationAlgorithm::releaseHandles() noexcept {
    OwnedProvider const provider(std::exchange(hCryptProv, 0));
    OwnedKey const keyHandle(std::exchange(hCryptKey, 0));
    OwnedHash const hash(std::exchange(hCryptHash, 0));
}
