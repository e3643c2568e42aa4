#pragma once

#include "cspmanager.h"

#include <tvkcore/kry/tvkkryalgorithm.h>

// Random bytes from the key store's provider, which seeds itself: seeds have no effect.
class CAPIKRYRandomDataGenAlgorithm : public TVKKRYRandomDataGenAlgorithm {
public:
    CAPIKRYRandomDataGenAlgorithm(CSPManager const& manager, TVKASNCBuffer const* seed);
    CAPIKRYRandomDataGenAlgorithm(CAPIKRYRandomDataGenAlgorithm const&) = delete;
    CAPIKRYRandomDataGenAlgorithm& operator=(CAPIKRYRandomDataGenAlgorithm const&) = delete;
    ~CAPIKRYRandomDataGenAlgorithm() override;
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() const override;

    // Throws 578011.
    TVKBuffer generateRandomData(unsigned int length) override;
    void updateSeed(TVKASNCBuffer const& seed) override;

    TVKString getClassName() const;

private:
    CSPManager* cspManager = nullptr;
};
