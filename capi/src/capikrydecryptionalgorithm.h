#pragma once

#include "cspmanager.h"

#include <tvkcore/kry/tvkkryalgorithm.h>

// RSA PKCS#1 decryption (RFC 8017, 7.2) with a private key that a provider holds.
class CAPIKRYDecryptionAlgorithm : public TVKKRYDecryptionAlgorithm {
public:
    // Throws the toolkit's exception when the key isn't a key record. No provider is touched.
    CAPIKRYDecryptionAlgorithm(int algorithmValue, CSPManager const& manager, TVKKRYKey const& referredKey);
    CAPIKRYDecryptionAlgorithm(CAPIKRYDecryptionAlgorithm const&) = delete;
    CAPIKRYDecryptionAlgorithm& operator=(CAPIKRYDecryptionAlgorithm const&) = delete;
    ~CAPIKRYDecryptionAlgorithm() override;
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() const override;

    // One block, from the most significant byte to the least; the caller's bytes stay as they are. Throws
    // 578012, 578014.
    TVKBuffer decryptData(TVKASNCBuffer const& data) override;

    // In the provider's byte order, from the least significant byte to the most. Init opens the key anew and
    // releases what an earlier one opened.
    void decryptDataInit() override;
    TVKBuffer decryptDataUpdate(TVKASNCBuffer const& data) override;
    TVKBuffer decryptDataFinal() override;

    TVKBuffer decryptData(TVKBuffer const& data);
    TVKString getClassName() const;

private:
    void releaseHandles() noexcept;

    [[maybe_unused]] int algorithm;
    CSPManager* cspManager = nullptr;
    TVKKRYKey key;
    HCRYPTKEY hCryptKey = 0;
    HCRYPTPROV hCryptProv = 0;
};
