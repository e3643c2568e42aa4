#include <tvkcore/kry/tvkkryalgorithmfactory.h>

TVKKRYAlgorithmFactory::TVKKRYAlgorithmFactory() = default;

TVKKRYAlgorithmFactory::~TVKKRYAlgorithmFactory() = default;

TVKKRYRandomDataGenAlgorithm*
TVKKRYAlgorithmFactory::make_Default_RandomDataGenAlgorithm(TVKASNCBuffer const* /*seed*/) const {
    return nullptr;
}

TVKKRYPublicKeyComputeAlgorithm*
TVKKRYAlgorithmFactory::make_ECDH_PublicKeyComputeAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYPublicKeyGenAlgorithm*
TVKKRYAlgorithmFactory::make_RSA_PublicKeyGenAlgorithm(unsigned int /*keySizeBits*/) const {
    return nullptr;
}

TVKKRYPublicKeyGenAlgorithm*
TVKKRYAlgorithmFactory::make_DSA_PublicKeyGenAlgorithm(unsigned int /*keySizeBits*/) const {
    return nullptr;
}

TVKKRYPublicKeyGenAlgorithm*
TVKKRYAlgorithmFactory::make_ECDSA_PublicKeyGenAlgorithm(TVKASNECParameters const& /*parameters*/) const {
    return nullptr;
}

TVKKRYPublicKeyGenAlgorithm*
TVKKRYAlgorithmFactory::make_ECDSA_PublicKeyGenAlgorithm(unsigned int /*keySizeBits*/) const {
    return nullptr;
}

TVKKRYSecretKeyGenAlgorithm* TVKKRYAlgorithmFactory::make_DES_SecretKeyGenAlgorithm() const {
    return nullptr;
}

TVKKRYSecretKeyGenAlgorithm* TVKKRYAlgorithmFactory::make_DES2KEY_SecretKeyGenAlgorithm() const {
    return nullptr;
}

TVKKRYSecretKeyGenAlgorithm* TVKKRYAlgorithmFactory::make_DES3KEY_SecretKeyGenAlgorithm() const {
    return nullptr;
}

TVKKRYSecretKeyGenAlgorithm*
TVKKRYAlgorithmFactory::make_RC2_SecretKeyGenAlgorithm(unsigned int /*keySizeBits*/) const {
    return nullptr;
}

TVKKRYSecretKeyGenAlgorithm*
TVKKRYAlgorithmFactory::make_RC4_SecretKeyGenAlgorithm(unsigned int /*keySizeBits*/) const {
    return nullptr;
}

TVKKRYSecretKeyGenAlgorithm* TVKKRYAlgorithmFactory::make_PBEDESWithMD2_SecretKeyGenAlgorithm(
    TVKASNCBuffer const& /*password*/, TVKASNCBuffer const& /*salt*/, unsigned int /*iterations*/) const {
    return nullptr;
}

TVKKRYSecretKeyGenAlgorithm* TVKKRYAlgorithmFactory::make_PBEDESWithMD5_SecretKeyGenAlgorithm(
    TVKASNCBuffer const& /*password*/, TVKASNCBuffer const& /*salt*/, unsigned int /*iterations*/) const {
    return nullptr;
}

TVKKRYSecretKeyGenAlgorithm* TVKKRYAlgorithmFactory::make_PBEDESWithSHA1_SecretKeyGenAlgorithm(
    TVKASNCBuffer const& /*password*/, TVKASNCBuffer const& /*salt*/, unsigned int /*iterations*/) const {
    return nullptr;
}

TVKKRYSecretKeyGenAlgorithm* TVKKRYAlgorithmFactory::make_PFXDES3KEYWithSHA1_SecretKeyGenAlgorithm(
    TVKASNCBuffer const& /*password*/, TVKASNCBuffer const& /*salt*/, unsigned int /*iterations*/) const {
    return nullptr;
}

TVKKRYSecretKeyGenAlgorithm* TVKKRYAlgorithmFactory::make_PFXRC2WithSHA1_SecretKeyGenAlgorithm(
    unsigned int /*keySizeBits*/, TVKASNCBuffer const& /*password*/, TVKASNCBuffer const& /*salt*/,
    unsigned int /*iterations*/) const {
    return nullptr;
}

TVKKRYSecretKeyGenAlgorithm* TVKKRYAlgorithmFactory::make_PFXRC4WithSHA1_SecretKeyGenAlgorithm(
    unsigned int /*keySizeBits*/, TVKASNCBuffer const& /*password*/, TVKASNCBuffer const& /*salt*/,
    unsigned int /*iterations*/) const {
    return nullptr;
}

TVKKRYSecretKeyGenAlgorithm*
TVKKRYAlgorithmFactory::make_AES_SecretKeyGenAlgorithm(unsigned int /*keySizeBits*/) const {
    return nullptr;
}

TVKKRYDigestAlgorithm* TVKKRYAlgorithmFactory::make_MD2_DigestAlgorithm() const { return nullptr; }

TVKKRYDigestAlgorithm* TVKKRYAlgorithmFactory::make_MD5_DigestAlgorithm() const { return nullptr; }

TVKKRYDigestAlgorithm* TVKKRYAlgorithmFactory::make_SHA1_DigestAlgorithm() const { return nullptr; }

TVKKRYDigestAlgorithm* TVKKRYAlgorithmFactory::make_SHA256_DigestAlgorithm() const { return nullptr; }

TVKKRYDigestAlgorithm* TVKKRYAlgorithmFactory::make_SHA384_DigestAlgorithm() const { return nullptr; }

TVKKRYDigestAlgorithm* TVKKRYAlgorithmFactory::make_SHA512_DigestAlgorithm() const { return nullptr; }

TVKKRYDigestAlgorithm* TVKKRYAlgorithmFactory::make_SHA224_DigestAlgorithm() const { return nullptr; }

TVKKRYDigestAlgorithm*
TVKKRYAlgorithmFactory::make_MD2_KeyedDigestAlgorithm(TVKASNCBuffer const& /*key*/) const {
    return nullptr;
}

TVKKRYDigestAlgorithm*
TVKKRYAlgorithmFactory::make_MD5_KeyedDigestAlgorithm(TVKASNCBuffer const& /*key*/) const {
    return nullptr;
}

TVKKRYDigestAlgorithm*
TVKKRYAlgorithmFactory::make_SHA1_KeyedDigestAlgorithm(TVKASNCBuffer const& /*key*/) const {
    return nullptr;
}

TVKKRYDigestAlgorithm*
TVKKRYAlgorithmFactory::make_SHA256_KeyedDigestAlgorithm(TVKASNCBuffer const& /*key*/) const {
    return nullptr;
}

TVKKRYDigestAlgorithm*
TVKKRYAlgorithmFactory::make_SHA384_KeyedDigestAlgorithm(TVKASNCBuffer const& /*key*/) const {
    return nullptr;
}

TVKKRYDigestAlgorithm*
TVKKRYAlgorithmFactory::make_SHA512_KeyedDigestAlgorithm(TVKASNCBuffer const& /*key*/) const {
    return nullptr;
}

TVKKRYDigestAlgorithm*
TVKKRYAlgorithmFactory::make_SHA224_KeyedDigestAlgorithm(TVKASNCBuffer const& /*key*/) const {
    return nullptr;
}

TVKKRYSignatureAlgorithm*
TVKKRYAlgorithmFactory::make_MD2WithRSA_SignatureAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYSignatureAlgorithm*
TVKKRYAlgorithmFactory::make_MD5WithRSA_SignatureAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYSignatureAlgorithm*
TVKKRYAlgorithmFactory::make_SHA1WithRSA_SignatureAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYSignatureAlgorithm*
TVKKRYAlgorithmFactory::make_SHA1WithDSA_SignatureAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYSignatureAlgorithm*
TVKKRYAlgorithmFactory::make_SHA256WithRSA_SignatureAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYSignatureAlgorithm*
TVKKRYAlgorithmFactory::make_SHA256WithDSA_SignatureAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYSignatureAlgorithm*
TVKKRYAlgorithmFactory::make_SHA384WithRSA_SignatureAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYSignatureAlgorithm*
TVKKRYAlgorithmFactory::make_SHA384WithDSA_SignatureAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYSignatureAlgorithm*
TVKKRYAlgorithmFactory::make_SHA512WithRSA_SignatureAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYSignatureAlgorithm*
TVKKRYAlgorithmFactory::make_SHA512WithDSA_SignatureAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYSignatureAlgorithm*
TVKKRYAlgorithmFactory::make_SHA224WithRSA_SignatureAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYSignatureAlgorithm*
TVKKRYAlgorithmFactory::make_SHA224WithDSA_SignatureAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYSignatureAlgorithm*
TVKKRYAlgorithmFactory::make_ECDSAWithSHA1_SignatureAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYSignatureAlgorithm*
TVKKRYAlgorithmFactory::make_ECDSAWithSHA256_SignatureAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYSignatureAlgorithm*
TVKKRYAlgorithmFactory::make_ECDSAWithSHA384_SignatureAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYSignatureAlgorithm*
TVKKRYAlgorithmFactory::make_ECDSAWithSHA512_SignatureAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYSignatureAlgorithm*
TVKKRYAlgorithmFactory::make_ECDSAWithSHA224_SignatureAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYVerificationAlgorithm*
TVKKRYAlgorithmFactory::make_MD2WithRSA_VerificationAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYVerificationAlgorithm*
TVKKRYAlgorithmFactory::make_MD5WithRSA_VerificationAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYVerificationAlgorithm*
TVKKRYAlgorithmFactory::make_SHA1WithRSA_VerificationAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYVerificationAlgorithm*
TVKKRYAlgorithmFactory::make_SHA1WithDSA_VerificationAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYVerificationAlgorithm*
TVKKRYAlgorithmFactory::make_SHA256WithRSA_VerificationAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYVerificationAlgorithm*
TVKKRYAlgorithmFactory::make_SHA256WithDSA_VerificationAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYVerificationAlgorithm*
TVKKRYAlgorithmFactory::make_SHA384WithRSA_VerificationAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYVerificationAlgorithm*
TVKKRYAlgorithmFactory::make_SHA384WithDSA_VerificationAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYVerificationAlgorithm*
TVKKRYAlgorithmFactory::make_SHA512WithRSA_VerificationAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYVerificationAlgorithm*
TVKKRYAlgorithmFactory::make_SHA512WithDSA_VerificationAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYVerificationAlgorithm*
TVKKRYAlgorithmFactory::make_SHA224WithRSA_VerificationAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYVerificationAlgorithm*
TVKKRYAlgorithmFactory::make_SHA224WithDSA_VerificationAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYVerificationAlgorithm*
TVKKRYAlgorithmFactory::make_ECDSAWithSHA1_VerificationAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYVerificationAlgorithm*
TVKKRYAlgorithmFactory::make_ECDSAWithSHA256_VerificationAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYVerificationAlgorithm*
TVKKRYAlgorithmFactory::make_ECDSAWithSHA384_VerificationAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYVerificationAlgorithm*
TVKKRYAlgorithmFactory::make_ECDSAWithSHA512_VerificationAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYVerificationAlgorithm*
TVKKRYAlgorithmFactory::make_ECDSAWithSHA224_VerificationAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYEncryptionAlgorithm*
TVKKRYAlgorithmFactory::make_RSAPKCS_EncryptionAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYEncryptionAlgorithm*
TVKKRYAlgorithmFactory::make_RSA_EncryptionAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYEncryptionAlgorithm* TVKKRYAlgorithmFactory::make_DESCBCIV8_EncryptionAlgorithm(
    TVKKRYKey const& /*key*/, TVKASNCBuffer const& /*iv*/, bool /*padding*/) const {
    return nullptr;
}

TVKKRYEncryptionAlgorithm* TVKKRYAlgorithmFactory::make_DES2KEYEDECBCIV8_EncryptionAlgorithm(
    TVKKRYKey const& /*key*/, TVKASNCBuffer const& /*iv*/, bool /*padding*/) const {
    return nullptr;
}

TVKKRYEncryptionAlgorithm* TVKKRYAlgorithmFactory::make_DES3KEYEDECBCIV8_EncryptionAlgorithm(
    TVKKRYKey const& /*key*/, TVKASNCBuffer const& /*iv*/, bool /*padding*/) const {
    return nullptr;
}

TVKKRYEncryptionAlgorithm* TVKKRYAlgorithmFactory::make_RC2CBCIV8_EncryptionAlgorithm(
    TVKKRYKey const& /*key*/, TVKASNCBuffer const& /*iv*/, bool /*padding*/) const {
    return nullptr;
}

TVKKRYEncryptionAlgorithm*
TVKKRYAlgorithmFactory::make_RC4_EncryptionAlgorithm(TVKKRYKey const& /*key*/) const {
    return nullptr;
}

TVKKRYEncryptionAlgorithm*
TVKKRYAlgorithmFactory::make_AESCBC_EncryptionAlgorithm(TVKKRYKey const& /*key*/, TVKASNCBuffer const& /*iv*/,
                                                        bool /*padding*/) const {
    return nullptr;
}

TVKKRYAEADEncryptionAlgorithm*
TVKKRYAlgorithmFactory::make_AESGCM_EncryptionAlgorithm(TVKKRYKey const& /*key*/, TVKASNCBuffer const& /*iv*/,
                                                        bool /*padding*/) const {
    return nullptr;
}

TVKKRYDecryptionAlgorithm*
TVKKRYAlgorithmFactory::make_RSAPKCS_DecryptionAlgorithm(TVKKRYKey const& /*key*/,
                                                         TVKASNCBuffer const* /*keyRecoveryBlock*/) const {
    return nullptr;
}

TVKKRYDecryptionAlgorithm*
TVKKRYAlgorithmFactory::make_RSA_DecryptionAlgorithm(TVKKRYKey const& /*key*/,
                                                     TVKASNCBuffer const* /*keyRecoveryBlock*/) const {
    return nullptr;
}

TVKKRYDecryptionAlgorithm*
TVKKRYAlgorithmFactory::make_DESCBCIV8_DecryptionAlgorithm(TVKKRYKey const& /*key*/,
                                                           TVKASNCBuffer const& /*iv*/, bool /*padding*/,
                                                           TVKASNCBuffer const* /*keyRecoveryBlock*/) const {
    return nullptr;
}

TVKKRYDecryptionAlgorithm* TVKKRYAlgorithmFactory::make_DES2KEYEDECBCIV8_DecryptionAlgorithm(
    TVKKRYKey const& /*key*/, TVKASNCBuffer const& /*iv*/, bool /*padding*/,
    TVKASNCBuffer const* /*keyRecoveryBlock*/) const {
    return nullptr;
}

TVKKRYDecryptionAlgorithm* TVKKRYAlgorithmFactory::make_DES3KEYEDECBCIV8_DecryptionAlgorithm(
    TVKKRYKey const& /*key*/, TVKASNCBuffer const& /*iv*/, bool /*padding*/,
    TVKASNCBuffer const* /*keyRecoveryBlock*/) const {
    return nullptr;
}

TVKKRYDecryptionAlgorithm*
TVKKRYAlgorithmFactory::make_RC2CBCIV8_DecryptionAlgorithm(TVKKRYKey const& /*key*/,
                                                           TVKASNCBuffer const& /*iv*/, bool /*padding*/,
                                                           TVKASNCBuffer const* /*keyRecoveryBlock*/) const {
    return nullptr;
}

TVKKRYDecryptionAlgorithm*
TVKKRYAlgorithmFactory::make_RC4_DecryptionAlgorithm(TVKKRYKey const& /*key*/,
                                                     TVKASNCBuffer const* /*keyRecoveryBlock*/) const {
    return nullptr;
}

TVKKRYDecryptionAlgorithm*
TVKKRYAlgorithmFactory::make_AESCBC_DecryptionAlgorithm(TVKKRYKey const& /*key*/, TVKASNCBuffer const& /*iv*/,
                                                        bool /*padding*/,
                                                        TVKASNCBuffer const* /*keyRecoveryBlock*/) const {
    return nullptr;
}

TVKKRYAEADDecryptionAlgorithm*
TVKKRYAlgorithmFactory::make_AESGCM_DecryptionAlgorithm(TVKKRYKey const& /*key*/, TVKASNCBuffer const& /*iv*/,
                                                        bool /*padding*/,
                                                        TVKASNCBuffer const* /*keyRecoveryBlock*/) const {
    return nullptr;
}

TVKKRYCompressionAlgorithm* TVKKRYAlgorithmFactory::make_deflate_CompressionAlgorithm() const {
    return nullptr;
}

TVKKRYDecompressionAlgorithm* TVKKRYAlgorithmFactory::make_deflate_DecompressionAlgorithm() const {
    return nullptr;
}

TVKKRYEncodeAlgorithm* TVKKRYAlgorithmFactory::make_BASE64_EncodeAlgorithm() const { return nullptr; }

TVKKRYDecodeAlgorithm* TVKKRYAlgorithmFactory::make_BASE64_DecodeAlgorithm() const { return nullptr; }

bool TVKKRYAlgorithmFactory::isKindOf(TVKString const& name) const {
    return name.compare("TVKKRYAlgorithmFactory") == 0;
}

TVKString TVKKRYAlgorithmFactory::getInstanceName() const { return "TVKKRYAlgorithmFactory"; }
