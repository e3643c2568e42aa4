#pragma once

#include "cspmanager.h"

#include <tvkcore/kry/tvkkryalgorithmfactory.h>

struct CAPIKRYAlgorithmFactoryData {
    CSPManager* cspManager = nullptr; // owned
};

// Makes algorithm objects that work with keys of a key store: random data, RSA key pairs, and for keys that
// are references into a provider RSA signatures over MD5 and SHA-1, their verification, and RSA PKCS#1
// encryption and decryption. Everything else, keys given as material and digests among it, is null, and so is
// every failure. The factory and its objects have handles of their own on the store's state.
class CAPIKRYAlgorithmFactory : public TVKKRYAlgorithmFactory {
public:
    explicit CAPIKRYAlgorithmFactory(CSPManager const& manager);
    CAPIKRYAlgorithmFactory(CAPIKRYAlgorithmFactory const& other);
    CAPIKRYAlgorithmFactory& operator=(CAPIKRYAlgorithmFactory const&) = delete;
    ~CAPIKRYAlgorithmFactory() override;

    TVKKRYAlgorithmFactory* duplicate() const override;
    TVKKRYRandomDataGenAlgorithm*
    make_Default_RandomDataGenAlgorithm(TVKASNCBuffer const* seed) const override;
    TVKKRYPublicKeyGenAlgorithm* make_RSA_PublicKeyGenAlgorithm(unsigned int keySizeBits) const override;
    TVKKRYDigestAlgorithm* make_MD5_DigestAlgorithm() const override;
    TVKKRYDigestAlgorithm* make_SHA1_DigestAlgorithm() const override;
    TVKKRYSignatureAlgorithm* make_MD5WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const override;
    TVKKRYSignatureAlgorithm* make_SHA1WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const override;
    TVKKRYVerificationAlgorithm* make_MD5WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const override;
    TVKKRYVerificationAlgorithm* make_SHA1WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const override;
    TVKKRYEncryptionAlgorithm* make_RSAPKCS_EncryptionAlgorithm(TVKKRYKey const& key) const override;
    TVKKRYDecryptionAlgorithm*
    make_RSAPKCS_DecryptionAlgorithm(TVKKRYKey const& key,
                                     TVKASNCBuffer const* keyRecoveryBlock) const override;
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() const override;

    TVKString getClassName() const;

private:
    CAPIKRYAlgorithmFactoryData* factoryData;
};
