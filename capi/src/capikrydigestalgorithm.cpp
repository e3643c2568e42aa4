#include "capikrydigestalgorithm.h"

#include "tracing.h"

namespace {

constexpr SourceFile kSource{"./capi/src/capikrydigestalgorithm", 2048};

} // namespace

CAPIKRYDigestAlgorithm::CAPIKRYDigestAlgorithm(int algorithmValue, CSPManager const& /*manager*/)
    : algorithm(algorithmValue) {
    OperationTrace const trace(kSource, "CAPIKRYDigestAlgorithm::ctor");
}

CAPIKRYDigestAlgorithm::~CAPIKRYDigestAlgorithm() {
    OperationTrace const trace(kSource, "CAPIKRYDigestAlgorithm::dtor");
    delete cspManager;
}

bool CAPIKRYDigestAlgorithm::isKindOf(TVKString const& name) const {
    return name.compare(getClassName()) == 0 || TVKKRYDigestAlgorithm::isKindOf(name);
}

TVKString CAPIKRYDigestAlgorithm::getInstanceName() const { return getClassName(); }

TVKBuffer CAPIKRYDigestAlgorithm::digestData(TVKASNCBuffer const& data) {
    OperationTrace const trace(kSource, "CAPIKRYDigestAlgorithm::digestData");
    digestDataInit();
    return digestData(TVKBuffer(data));
}

void CAPIKRYDigestAlgorithm::digestDataInit() {
    OperationTrace const trace(kSource, "CAPIKRYDigestAlgorithm::digestDataInit");
}

void CAPIKRYDigestAlgorithm::digestDataUpdate(TVKASNCBuffer const& data) {
    OperationTrace const trace(kSource, "CAPIKRYDigestAlgorithm::digestDataUpdate");
    TVKBuffer const copy(data);
}

TVKBuffer CAPIKRYDigestAlgorithm::digestDataFinal() {
    OperationTrace const trace(kSource, "CAPIKRYDigestAlgorithm::digestDataFinal");
    return {};
}

TVKBuffer CAPIKRYDigestAlgorithm::digestData(TVKBuffer const& /*data*/) {
    OperationTrace const trace(kSource, "CAPIKRYDigestAlgorithm::digestData");
    return {};
}

TVKString CAPIKRYDigestAlgorithm::getClassName() const { return "CAPIKRYDigestAlgorithm"; }
