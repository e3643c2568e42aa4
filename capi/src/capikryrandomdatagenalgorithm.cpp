#include "capikryrandomdatagenalgorithm.h"

#include "capimanagerutility.h"
#include "keyreference.h"
#include "tracing.h"

namespace {

constexpr SourceFile kSource{"./capi/src/capikryrandomdatagenalgorithm", 4};

} // namespace

CAPIKRYRandomDataGenAlgorithm::CAPIKRYRandomDataGenAlgorithm(CSPManager const& manager,
                                                             TVKASNCBuffer const* /*seed*/) {
    OperationTrace const trace(kSource, "CAPIKRYRandomDataGenAlgorithm::ctor");
    cspManager = duplicateManager(manager);
}

CAPIKRYRandomDataGenAlgorithm::~CAPIKRYRandomDataGenAlgorithm() {
    OperationTrace const trace(kSource, "CAPIKRYRandomDataGenAlgorithm::dtor");
    delete cspManager;
}

bool CAPIKRYRandomDataGenAlgorithm::isKindOf(TVKString const& name) const {
    return name.compare(getClassName()) == 0 || TVKKRYRandomDataGenAlgorithm::isKindOf(name);
}

TVKString CAPIKRYRandomDataGenAlgorithm::getInstanceName() const { return getClassName(); }

TVKBuffer CAPIKRYRandomDataGenAlgorithm::generateRandomData(unsigned int length) {
    OperationTrace const trace(kSource, "CAPIKRYRandomDataGenAlgorithm::generateRandomData");
    if (length == 0) {
        return {};
    }
    TVKBuffer data(length, nullptr);
    CapiManagerUtility::generateRandomData(cspManager->gethCryptProv(), data);
    return data;
}

void CAPIKRYRandomDataGenAlgorithm::updateSeed(TVKASNCBuffer const& /*seed*/) {
    OperationTrace const trace(kSource, "CAPIKRYRandomDataGenAlgorithm::updateSeed");
}

TVKString CAPIKRYRandomDataGenAlgorithm::getClassName() const { return "CAPIKRYRandomDataGenAlgorithm"; }
