#pragma once

#include "cspmanager.h"

#include <tvkcore/kry/tvkkryalgorithm.h>

// Makes RSA key pairs inside the provider of the key store, each in a new key container that stays.
class CAPIKRYPublicKeyGenAlgorithm : public TVKKRYPublicKeyGenAlgorithm {
public:
    // `keySizeBits` 512 and 1024 are served; any other gives the provider's default length.
    CAPIKRYPublicKeyGenAlgorithm(int algorithmValue, CSPManager const& manager, unsigned int keySize);
    CAPIKRYPublicKeyGenAlgorithm(CAPIKRYPublicKeyGenAlgorithm const&) = delete;
    CAPIKRYPublicKeyGenAlgorithm& operator=(CAPIKRYPublicKeyGenAlgorithm const&) = delete;
    ~CAPIKRYPublicKeyGenAlgorithm() override;
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() const override;

    // The public key in DER and a reference to the private key, which is an exportable exchange key. A
    // failure after the container was made leaves it behind, empty. Throws 578012.
    TVKKRYKeyPair generateKeyPair() override;

    TVKString getClassName() const;

private:
    [[maybe_unused]] int algorithm;
    CSPManager* cspManager = nullptr;
    unsigned int keySizeBits;
};
