#pragma once

#include "cspmanager.h"

#include <tvkcore/kry/tvkkryalgorithm.h>

// Signs with a private key that stays in a provider: RFC 8017, 8.2, with the digest that the provider makes,
// or over a finished digest of 36 bytes, MD5 and SHA-1 side by side, without a DigestInfo. The provider signs
// with the container's exchange key. Signatures run from the most significant byte to the least.
class CAPIKRYSignatureAlgorithm : public TVKKRYSignatureAlgorithm {
public:
    // Which hash runs over the data.
    enum Algorithm { md5 = 0, sha1 = 1, finishedDigest = 2 };

    // Throws the toolkit's exception when the key isn't a key record. No provider is touched.
    CAPIKRYSignatureAlgorithm(int algorithmValue, CSPManager const& manager, TVKKRYKey const& signingKey);
    CAPIKRYSignatureAlgorithm(CAPIKRYSignatureAlgorithm const&) = delete;
    CAPIKRYSignatureAlgorithm& operator=(CAPIKRYSignatureAlgorithm const&) = delete;
    ~CAPIKRYSignatureAlgorithm() override;
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() const override;

    // Init opens the key and a hash anew and releases what an earlier one opened; a certificate identifier
    // that finds nothing leaves no provider, so that the hash can't be made. Throws 578012, 578015.
    TVKBuffer signData(TVKASNCBuffer const& data) override;
    void signDataInit() override;
    void signDataUpdate(TVKASNCBuffer const& data) override;
    TVKBuffer signDataFinal() override;

    TVKString getClassName() const;

private:
    void releaseHandles() noexcept;

    int algorithm;
    CSPManager* cspManager = nullptr;
    TVKKRYKey key;
    bool hashData = false;
    HCRYPTPROV hCryptProv = 0;
    HCRYPTHASH hCryptHash = 0;
};
