#include "capimanager.h"

#include "capimanagerutility.h"
#include "cspmanager.h"
#include "failure.h"
#include "tracing.h"

#include <memory>

namespace {

constexpr SourceFile kSource{"./capi/src/capimanager", 2048};

} // namespace

CAPIManager::CAPIManager() {
    auto data = std::make_unique<CAPIManagerData>();
    std::unique_ptr<CSPEntryContainer> list(CapiManagerUtility::enumProviders());
    if (list->size() == 0) {
        raise(kSource, errorProviderNotAvailable, "No Cryptographic Service Provider registered");
    }
    providers = list.release();
    block = data.release();
}

CAPIManager::CAPIManager(CAPIManager const& other) : TVKCAPIManager() {
    tvk_atomic_swap(&other.block->count, 1);
    block = other.block;
    providers = const_cast<CAPIManager&>(other).getCspNameList();
}

CAPIManager::~CAPIManager() {
    if (tvk_atomic_swap(&block->count, -1) == 1) {
        delete block;
        delete providers;
    }
}

TVKCAPIManager* CAPIManager::duplicate() {
    OperationTrace const trace(kSource, "duplicate");
    return new CAPIManager(*this);
}

TVKCspManager* CAPIManager::getCspManager(TVKString const& cspName, unsigned long storeKind) {
    OperationTrace const trace(kSource, "CAPIManager::getCspManager()");
    return new CSPManager(cspName, storeKind);
}

unsigned int CAPIManager::getCspCount() {
    OperationTrace const trace(kSource, "CAPIManager::getCspCount()");
    return getCspNameList()->size();
}

CSPEntryContainer* CAPIManager::getCspNameList() {
    OperationTrace const trace(kSource, "CAPIManager::getCspNameList()");
    return providers;
}

bool CAPIManager::isKindOf(TVKString const& name) const {
    return name.compare("CAPIManager") == 0 || TVKCAPIManager::isKindOf(name);
}

TVKString CAPIManager::getInstanceName() { return "CAPIManager"; }
