#pragma once

#include <tvkcore/kry/tvkkryalgorithm.h>

// Result types that stand in the factory's interface and have no operations in this library.
class TVKKRYSecretKeyGenAlgorithm;
class TVKKRYPublicKeyComputeAlgorithm;
class TVKKRYAEADEncryptionAlgorithm;
class TVKKRYAEADDecryptionAlgorithm;
class TVKKRYCompressionAlgorithm;
class TVKKRYDecompressionAlgorithm;
class TVKKRYEncodeAlgorithm;
class TVKKRYDecodeAlgorithm;

// The domain parameters of an elliptic curve.
class TVKASNECParameters;

// Makes algorithm objects. Every result is a new object that the caller owns and deletes, or null when the
// factory doesn't offer the algorithm or not with this key; the operations of this class all give null. A
// null result leaves the factory as it was. Sizes are in bits. A factory may be used from several threads at
// once.
class TVK_API TVKKRYAlgorithmFactory {
public:
    TVKKRYAlgorithmFactory();
    virtual ~TVKKRYAlgorithmFactory();

    // A new factory like this one, owned by the caller.
    virtual TVKKRYAlgorithmFactory* duplicate() const = 0;

    virtual TVKKRYRandomDataGenAlgorithm*
    make_Default_RandomDataGenAlgorithm(TVKASNCBuffer const* seed) const;

    virtual TVKKRYPublicKeyComputeAlgorithm* make_ECDH_PublicKeyComputeAlgorithm(TVKKRYKey const& key) const;

    virtual TVKKRYPublicKeyGenAlgorithm* make_RSA_PublicKeyGenAlgorithm(unsigned int keySizeBits) const;
    virtual TVKKRYPublicKeyGenAlgorithm* make_DSA_PublicKeyGenAlgorithm(unsigned int keySizeBits) const;

    virtual TVKKRYPublicKeyGenAlgorithm*
    make_ECDSA_PublicKeyGenAlgorithm(TVKASNECParameters const& parameters) const;

    virtual TVKKRYPublicKeyGenAlgorithm* make_ECDSA_PublicKeyGenAlgorithm(unsigned int keySizeBits) const;

    virtual TVKKRYSecretKeyGenAlgorithm* make_DES_SecretKeyGenAlgorithm() const;
    virtual TVKKRYSecretKeyGenAlgorithm* make_DES2KEY_SecretKeyGenAlgorithm() const;
    virtual TVKKRYSecretKeyGenAlgorithm* make_DES3KEY_SecretKeyGenAlgorithm() const;

    virtual TVKKRYSecretKeyGenAlgorithm* make_RC2_SecretKeyGenAlgorithm(unsigned int keySizeBits) const;
    virtual TVKKRYSecretKeyGenAlgorithm* make_RC4_SecretKeyGenAlgorithm(unsigned int keySizeBits) const;

    virtual TVKKRYSecretKeyGenAlgorithm*
    make_PBEDESWithMD2_SecretKeyGenAlgorithm(TVKASNCBuffer const& password, TVKASNCBuffer const& salt,
                                             unsigned int iterations) const;
    virtual TVKKRYSecretKeyGenAlgorithm*
    make_PBEDESWithMD5_SecretKeyGenAlgorithm(TVKASNCBuffer const& password, TVKASNCBuffer const& salt,
                                             unsigned int iterations) const;
    virtual TVKKRYSecretKeyGenAlgorithm*
    make_PBEDESWithSHA1_SecretKeyGenAlgorithm(TVKASNCBuffer const& password, TVKASNCBuffer const& salt,
                                              unsigned int iterations) const;
    virtual TVKKRYSecretKeyGenAlgorithm*
    make_PFXDES3KEYWithSHA1_SecretKeyGenAlgorithm(TVKASNCBuffer const& password, TVKASNCBuffer const& salt,
                                                  unsigned int iterations) const;

    virtual TVKKRYSecretKeyGenAlgorithm*
    make_PFXRC2WithSHA1_SecretKeyGenAlgorithm(unsigned int keySizeBits, TVKASNCBuffer const& password,
                                              TVKASNCBuffer const& salt, unsigned int iterations) const;
    virtual TVKKRYSecretKeyGenAlgorithm*
    make_PFXRC4WithSHA1_SecretKeyGenAlgorithm(unsigned int keySizeBits, TVKASNCBuffer const& password,
                                              TVKASNCBuffer const& salt, unsigned int iterations) const;

    virtual TVKKRYSecretKeyGenAlgorithm* make_AES_SecretKeyGenAlgorithm(unsigned int keySizeBits) const;

    virtual TVKKRYDigestAlgorithm* make_MD2_DigestAlgorithm() const;
    virtual TVKKRYDigestAlgorithm* make_MD5_DigestAlgorithm() const;
    virtual TVKKRYDigestAlgorithm* make_SHA1_DigestAlgorithm() const;
    virtual TVKKRYDigestAlgorithm* make_SHA256_DigestAlgorithm() const;
    virtual TVKKRYDigestAlgorithm* make_SHA384_DigestAlgorithm() const;
    virtual TVKKRYDigestAlgorithm* make_SHA512_DigestAlgorithm() const;
    virtual TVKKRYDigestAlgorithm* make_SHA224_DigestAlgorithm() const;

    virtual TVKKRYDigestAlgorithm* make_MD2_KeyedDigestAlgorithm(TVKASNCBuffer const& key) const;
    virtual TVKKRYDigestAlgorithm* make_MD5_KeyedDigestAlgorithm(TVKASNCBuffer const& key) const;
    virtual TVKKRYDigestAlgorithm* make_SHA1_KeyedDigestAlgorithm(TVKASNCBuffer const& key) const;
    virtual TVKKRYDigestAlgorithm* make_SHA256_KeyedDigestAlgorithm(TVKASNCBuffer const& key) const;
    virtual TVKKRYDigestAlgorithm* make_SHA384_KeyedDigestAlgorithm(TVKASNCBuffer const& key) const;
    virtual TVKKRYDigestAlgorithm* make_SHA512_KeyedDigestAlgorithm(TVKASNCBuffer const& key) const;
    virtual TVKKRYDigestAlgorithm* make_SHA224_KeyedDigestAlgorithm(TVKASNCBuffer const& key) const;

    virtual TVKKRYSignatureAlgorithm* make_MD2WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYSignatureAlgorithm* make_MD5WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYSignatureAlgorithm* make_SHA1WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYSignatureAlgorithm* make_SHA1WithDSA_SignatureAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYSignatureAlgorithm* make_SHA256WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYSignatureAlgorithm* make_SHA256WithDSA_SignatureAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYSignatureAlgorithm* make_SHA384WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYSignatureAlgorithm* make_SHA384WithDSA_SignatureAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYSignatureAlgorithm* make_SHA512WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYSignatureAlgorithm* make_SHA512WithDSA_SignatureAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYSignatureAlgorithm* make_SHA224WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYSignatureAlgorithm* make_SHA224WithDSA_SignatureAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYSignatureAlgorithm* make_ECDSAWithSHA1_SignatureAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYSignatureAlgorithm* make_ECDSAWithSHA256_SignatureAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYSignatureAlgorithm* make_ECDSAWithSHA384_SignatureAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYSignatureAlgorithm* make_ECDSAWithSHA512_SignatureAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYSignatureAlgorithm* make_ECDSAWithSHA224_SignatureAlgorithm(TVKKRYKey const& key) const;

    virtual TVKKRYVerificationAlgorithm* make_MD2WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYVerificationAlgorithm* make_MD5WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYVerificationAlgorithm* make_SHA1WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYVerificationAlgorithm* make_SHA1WithDSA_VerificationAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYVerificationAlgorithm* make_SHA256WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYVerificationAlgorithm* make_SHA256WithDSA_VerificationAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYVerificationAlgorithm* make_SHA384WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYVerificationAlgorithm* make_SHA384WithDSA_VerificationAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYVerificationAlgorithm* make_SHA512WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYVerificationAlgorithm* make_SHA512WithDSA_VerificationAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYVerificationAlgorithm* make_SHA224WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYVerificationAlgorithm* make_SHA224WithDSA_VerificationAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYVerificationAlgorithm* make_ECDSAWithSHA1_VerificationAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYVerificationAlgorithm*
    make_ECDSAWithSHA256_VerificationAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYVerificationAlgorithm*
    make_ECDSAWithSHA384_VerificationAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYVerificationAlgorithm*
    make_ECDSAWithSHA512_VerificationAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYVerificationAlgorithm*
    make_ECDSAWithSHA224_VerificationAlgorithm(TVKKRYKey const& key) const;

    virtual TVKKRYEncryptionAlgorithm* make_RSAPKCS_EncryptionAlgorithm(TVKKRYKey const& key) const;
    virtual TVKKRYEncryptionAlgorithm* make_RSA_EncryptionAlgorithm(TVKKRYKey const& key) const;

    virtual TVKKRYEncryptionAlgorithm*
    make_DESCBCIV8_EncryptionAlgorithm(TVKKRYKey const& key, TVKASNCBuffer const& iv, bool padding) const;
    virtual TVKKRYEncryptionAlgorithm* make_DES2KEYEDECBCIV8_EncryptionAlgorithm(TVKKRYKey const& key,
                                                                                 TVKASNCBuffer const& iv,
                                                                                 bool padding) const;
    virtual TVKKRYEncryptionAlgorithm* make_DES3KEYEDECBCIV8_EncryptionAlgorithm(TVKKRYKey const& key,
                                                                                 TVKASNCBuffer const& iv,
                                                                                 bool padding) const;
    virtual TVKKRYEncryptionAlgorithm*
    make_RC2CBCIV8_EncryptionAlgorithm(TVKKRYKey const& key, TVKASNCBuffer const& iv, bool padding) const;

    virtual TVKKRYEncryptionAlgorithm* make_RC4_EncryptionAlgorithm(TVKKRYKey const& key) const;

    virtual TVKKRYEncryptionAlgorithm*
    make_AESCBC_EncryptionAlgorithm(TVKKRYKey const& key, TVKASNCBuffer const& iv, bool padding) const;

    virtual TVKKRYAEADEncryptionAlgorithm*
    make_AESGCM_EncryptionAlgorithm(TVKKRYKey const& key, TVKASNCBuffer const& iv, bool padding) const;

    virtual TVKKRYDecryptionAlgorithm*
    make_RSAPKCS_DecryptionAlgorithm(TVKKRYKey const& key, TVKASNCBuffer const* keyRecoveryBlock) const;
    virtual TVKKRYDecryptionAlgorithm*
    make_RSA_DecryptionAlgorithm(TVKKRYKey const& key, TVKASNCBuffer const* keyRecoveryBlock) const;

    virtual TVKKRYDecryptionAlgorithm*
    make_DESCBCIV8_DecryptionAlgorithm(TVKKRYKey const& key, TVKASNCBuffer const& iv, bool padding,
                                       TVKASNCBuffer const* keyRecoveryBlock) const;
    virtual TVKKRYDecryptionAlgorithm*
    make_DES2KEYEDECBCIV8_DecryptionAlgorithm(TVKKRYKey const& key, TVKASNCBuffer const& iv, bool padding,
                                              TVKASNCBuffer const* keyRecoveryBlock) const;
    virtual TVKKRYDecryptionAlgorithm*
    make_DES3KEYEDECBCIV8_DecryptionAlgorithm(TVKKRYKey const& key, TVKASNCBuffer const& iv, bool padding,
                                              TVKASNCBuffer const* keyRecoveryBlock) const;
    virtual TVKKRYDecryptionAlgorithm*
    make_RC2CBCIV8_DecryptionAlgorithm(TVKKRYKey const& key, TVKASNCBuffer const& iv, bool padding,
                                       TVKASNCBuffer const* keyRecoveryBlock) const;

    virtual TVKKRYDecryptionAlgorithm*
    make_RC4_DecryptionAlgorithm(TVKKRYKey const& key, TVKASNCBuffer const* keyRecoveryBlock) const;

    virtual TVKKRYDecryptionAlgorithm*
    make_AESCBC_DecryptionAlgorithm(TVKKRYKey const& key, TVKASNCBuffer const& iv, bool padding,
                                    TVKASNCBuffer const* keyRecoveryBlock) const;

    virtual TVKKRYAEADDecryptionAlgorithm*
    make_AESGCM_DecryptionAlgorithm(TVKKRYKey const& key, TVKASNCBuffer const& iv, bool padding,
                                    TVKASNCBuffer const* keyRecoveryBlock) const;

    virtual TVKKRYCompressionAlgorithm* make_deflate_CompressionAlgorithm() const;

    virtual TVKKRYDecompressionAlgorithm* make_deflate_DecompressionAlgorithm() const;

    virtual TVKKRYEncodeAlgorithm* make_BASE64_EncodeAlgorithm() const;

    virtual TVKKRYDecodeAlgorithm* make_BASE64_DecodeAlgorithm() const;

    // True when `name` is this class's name or that of a base.
    virtual bool isKindOf(TVKString const& name) const;

    // The class name of the object.
    virtual TVKString getInstanceName() const;
};
