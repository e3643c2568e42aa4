#pragma once

#include <tvkcore/base/tvkglobal.h>
#include <tvkcore/store/tvkcapimanager.h>

// What the copies of a CAPIManager share.
struct CAPIManagerData {
    long count = 1;
    TVKMutex mutex;
};

// The root of the module: its providers, and the key stores over them.
class CAPIManager : public TVKCAPIManager {
public:
    // Enumerates the providers. Throws TVKCAPIException 578001 when there is none, 578002 when one can't be
    // read.
    CAPIManager();
    CAPIManager(CAPIManager const& other);
    CAPIManager& operator=(CAPIManager const&) = delete;
    ~CAPIManager() override;

    TVKCAPIManager* duplicate() override;
    TVKCspManager* getCspManager(TVKString const& cspName, unsigned long storeKind) override;
    unsigned int getCspCount() override;
    CSPEntryContainer* getCspNameList() override;
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() override;

private:
    CAPIManagerData* block = nullptr;
    CSPEntryContainer* providers = nullptr;
};
