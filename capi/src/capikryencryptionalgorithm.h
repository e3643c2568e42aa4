#pragma once

#include "cspmanager.h"

#include <tvkcore/kry/tvkkryalgorithm.h>

// RSA PKCS#1 encryption (RFC 8017, 7.2) with a key that a provider holds. An input of exactly 36 bytes to
// encryptData is taken for a finished digest, MD5 and SHA-1 side by side, and is signed instead.
class CAPIKRYEncryptionAlgorithm : public TVKKRYEncryptionAlgorithm {
public:
    // Throws the toolkit's exception when the key isn't a key record. No provider is touched.
    CAPIKRYEncryptionAlgorithm(int algorithmValue, CSPManager const& manager, TVKKRYKey const& referredKey);
    CAPIKRYEncryptionAlgorithm(CAPIKRYEncryptionAlgorithm const&) = delete;
    CAPIKRYEncryptionAlgorithm& operator=(CAPIKRYEncryptionAlgorithm const&) = delete;
    ~CAPIKRYEncryptionAlgorithm() override;
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() const override;

    // One block, from the most significant byte to the least. Throws 578012, 578013; for 36 bytes 578012,
    // 578015.
    TVKBuffer encryptData(TVKASNCBuffer const& data) override;

    // In the provider's byte order, from the least significant byte to the most. Init opens the key anew and
    // releases what an earlier one opened.
    void encryptDataInit() override;
    TVKBuffer encryptDataUpdate(TVKASNCBuffer const& data) override;
    TVKBuffer encryptDataFinal() override;

    // Null: there is no key recovery here.
    TVKKRYKeyRecoveryBlock* getKeyRecoveryBlock() override;

    TVKBuffer encryptDataFinal(TVKBuffer const& data);
    TVKString getClassName() const;

private:
    void releaseHandles() noexcept;

    [[maybe_unused]] int algorithm;
    CSPManager* cspManager = nullptr;
    TVKKRYKey key;
    HCRYPTKEY hCryptKey = 0;
    HCRYPTPROV hCryptProv = 0;
};
