#pragma once

#include "cspmanager.h"

#include <tvkcore/kry/tvkkryalgorithm.h>

// Checks signatures (RFC 8017, 8.2) with the public half of a key pair that a provider holds. Signatures run
// from the most significant byte to the least.
class CAPIKRYVerificationAlgorithm : public TVKKRYVerificationAlgorithm {
public:
    enum Algorithm { md5 = 0, sha1 = 1 };

    // Throws the toolkit's exception when the key isn't a key record. No provider is touched.
    CAPIKRYVerificationAlgorithm(int algorithmValue, CSPManager const& manager,
                                 TVKKRYKey const& verifyingKey);
    CAPIKRYVerificationAlgorithm(CAPIKRYVerificationAlgorithm const&) = delete;
    CAPIKRYVerificationAlgorithm& operator=(CAPIKRYVerificationAlgorithm const&) = delete;
    ~CAPIKRYVerificationAlgorithm() override;
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() const override;

    // Init opens the key and a hash anew and releases what an earlier one opened. The result is true or an
    // exception: a signature that doesn't match is 578016 like any other failure of the check. Throws 578012,
    // 578016.
    bool verifyData(TVKASNCBuffer const& data, TVKASNCBuffer const& signature) override;
    void verifyDataInit() override;
    void verifyDataUpdate(TVKASNCBuffer const& data) override;
    bool verifyDataFinal(TVKASNCBuffer const& signature) override;

    TVKString getClassName() const;

private:
    void releaseHandles() noexcept;

    int algorithm;
    CSPManager* cspManager = nullptr;
    TVKKRYKey key;
    HCRYPTPROV hCryptProv = 0;
    HCRYPTKEY hCryptKey = 0;
    HCRYPTHASH hCryptHash = 0;
};
