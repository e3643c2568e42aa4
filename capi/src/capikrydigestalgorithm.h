#pragma once

#include "cspmanager.h"

#include <tvkcore/kry/tvkkryalgorithm.h>

// Digests aren't offered by the module: this class stands in the hierarchy, reaches no provider, and every
// result is an empty buffer. The digests that a signature needs are made inside the provider.
class CAPIKRYDigestAlgorithm : public TVKKRYDigestAlgorithm {
public:
    CAPIKRYDigestAlgorithm(int algorithmValue, CSPManager const& manager);
    CAPIKRYDigestAlgorithm(CAPIKRYDigestAlgorithm const&) = delete;
    CAPIKRYDigestAlgorithm& operator=(CAPIKRYDigestAlgorithm const&) = delete;
    ~CAPIKRYDigestAlgorithm() override;
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() const override;

    TVKBuffer digestData(TVKASNCBuffer const& data) override;
    void digestDataInit() override;
    void digestDataUpdate(TVKASNCBuffer const& data) override;
    TVKBuffer digestDataFinal() override;

    TVKBuffer digestData(TVKBuffer const& data);
    TVKString getClassName() const;

private:
    [[maybe_unused]] int algorithm;
    CSPManager* cspManager = nullptr;
};
