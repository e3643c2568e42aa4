#include "capikryverificationalgorithm.h"

#include "capimanagerutility.h"
#include "cspmanagerutility.h"
#include "keyreference.h"
#include "tracing.h"

namespace {

constexpr SourceFile kSource{"./capi/src/capikryverificationalgorithm", 2048};

} // namespace

CAPIKRYVerificationAlgorithm::CAPIKRYVerificationAlgorithm(int algorithmValue, CSPManager const& manager,
                                                           TVKKRYKey const& verifyingKey)
    : algorithm(algorithmValue), key(verifyingKey) {
    OperationTrace const trace(kSource, "CAPIKRYVerificationAlgorithm::ctor");
    cspManager.reset(duplicateManager(manager));
    requireKeyRecord(key);
}

CAPIKRYVerificationAlgorithm::~CAPIKRYVerificationAlgorithm() {
    OperationTrace const trace(kSource, "CAPIKRYVerificationAlgorithm::dtor");
    cspManager.reset();
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
    openReferredKey(key, *cspManager, hCryptProv.receive(), hCryptKey.receive());
    CapiManagerUtility::verifyInit(hCryptProv.get(), algorithm == md5 ? CALG_MD5 : CALG_SHA1,
                                   hCryptHash.receive());
}

void CAPIKRYVerificationAlgorithm::verifyDataUpdate(TVKASNCBuffer const& data) {
    OperationTrace const trace(kSource, "CAPIKRYVerificationAlgorithm::verifyDataUpdate");
    CapiManagerUtility::verifyUpdate(hCryptHash.get(), TVKBuffer(data));
}

bool CAPIKRYVerificationAlgorithm::verifyDataFinal(TVKASNCBuffer const& signature) {
    OperationTrace const trace(kSource, "CAPIKRYVerificationAlgorithm::verifyDataFinal");
    return CapiManagerUtility::verifyFinal(
        hCryptHash.get(), CspManagerUtility::reverseEndian(TVKBuffer(signature)), hCryptKey.get());
}

TVKString CAPIKRYVerificationAlgorithm::getClassName() const { return "CAPIKRYVerificationAlgorithm"; }

void CAPIKRYVerificationAlgorithm::releaseHandles() noexcept {
    hCryptHash.reset();
    hCryptKey.reset();
    hCryptProv.reset();
}
