#pragma once

#include <tvkcore/kry/tvkkryalgorithmfactory.h>

#if defined(_WIN32)
#if defined(TVKSOFT_BUILD)
#define TVKSOFT_API __declspec(dllexport)
#else
#define TVKSOFT_API __declspec(dllimport)
#endif
#else
#define TVKSOFT_API __attribute__((visibility("default")))
#endif

// Codes of the failures that the software algorithms raise as a TVKException.
enum TVKSoftError : int {
    TVKSOFT_NOT_STARTED = 571501,       // an Update or Final that no Init came before
    TVKSOFT_TOO_LONG = 571502,          // more than one block of the key holds
    TVKSOFT_DECRYPTION_FAILED = 571503, // the block doesn't decrypt, for whatever reason
    TVKSOFT_LIBRARY_FAILURE = 571504    // libcrypto failed; the text says with what reason
};

// The algorithms on libcrypto, for keys that are given as material. A host makes them the toolkit's default
// by
//
//   TVKKRYUtility::setDefaultAlgorithmFactory(TVKSoftAlgorithmFactory());
//
// The operations with a key take one of algorithm RSA that is
//   - of format PrivateKeyInfo and type Private (RFC 5208), for all operations, or
//   - of format SubjectPublicKeyInfo and type Public (RFC 5280, 4.1.2.7), to verify and to encrypt,
// with a modulus of 512 to 16384 bits. The key is decoded at once; the object keeps what it needs of it.
// Every other key gives null: references to a provider's keys too, which are for the factory of their key
// store. That the numbers of a private key belong together isn't checked then; a signature that its public
// part doesn't verify is not given out.
//
// A digest that libcrypto doesn't offer as it is set up (MD5 under FIPS rules) gives null for all that is
// built on it. Operations not named here give the null of the base.
//
// Of the objects made: Init begins a new run, whatever went before; Final ends it, also when it fails. The
// one-step form is a run of its own and ends one that was going on. An Update that throws leaves the run as
// it was. Besides the codes named below all throw TVKSOFT_NOT_STARTED and TVKSOFT_LIBRARY_FAILURE. The
// calling thread's error queue of libcrypto is as it was before.
class TVKSOFT_API TVKSoftAlgorithmFactory : public TVKKRYAlgorithmFactory {
public:
    TVKSoftAlgorithmFactory();
    ~TVKSoftAlgorithmFactory() override;

    TVKKRYAlgorithmFactory* duplicate() const override;

    // libcrypto's generator, which seeds itself from the operating system. `seed`, which may be null, and
    // that of updateSeed are mixed in and counted as no entropy.
    TVKKRYRandomDataGenAlgorithm*
    make_Default_RandomDataGenAlgorithm(TVKASNCBuffer const* seed) const override;

    // Pairs of the public exponent 65537 as material: SubjectPublicKeyInfo and PrivateKeyInfo. Null unless
    // the size is a multiple of 8 from 512 to 16384.
    TVKKRYPublicKeyGenAlgorithm* make_RSA_PublicKeyGenAlgorithm(unsigned int keySizeBits) const override;

    // RFC 1321 and FIPS 180-4.
    TVKKRYDigestAlgorithm* make_MD5_DigestAlgorithm() const override;
    TVKKRYDigestAlgorithm* make_SHA1_DigestAlgorithm() const override;
    TVKKRYDigestAlgorithm* make_SHA256_DigestAlgorithm() const override;
    TVKKRYDigestAlgorithm* make_SHA384_DigestAlgorithm() const override;
    TVKKRYDigestAlgorithm* make_SHA512_DigestAlgorithm() const override;
    TVKKRYDigestAlgorithm* make_SHA224_DigestAlgorithm() const override;

    // HMAC, RFC 2104, with a key of any length, 0 included.
    TVKKRYDigestAlgorithm* make_MD5_KeyedDigestAlgorithm(TVKASNCBuffer const& key) const override;
    TVKKRYDigestAlgorithm* make_SHA1_KeyedDigestAlgorithm(TVKASNCBuffer const& key) const override;
    TVKKRYDigestAlgorithm* make_SHA256_KeyedDigestAlgorithm(TVKASNCBuffer const& key) const override;
    TVKKRYDigestAlgorithm* make_SHA384_KeyedDigestAlgorithm(TVKASNCBuffer const& key) const override;
    TVKKRYDigestAlgorithm* make_SHA512_KeyedDigestAlgorithm(TVKASNCBuffer const& key) const override;
    TVKKRYDigestAlgorithm* make_SHA224_KeyedDigestAlgorithm(TVKASNCBuffer const& key) const override;

    // RSASSA-PKCS1-v1_5, RFC 8017, 8.2.1. Final throws TVKSOFT_TOO_LONG when the digest doesn't fit the key
    // (SHA384 needs 624 bits, SHA512 752).
    TVKKRYSignatureAlgorithm* make_MD5WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const override;
    TVKKRYSignatureAlgorithm* make_SHA1WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const override;
    TVKKRYSignatureAlgorithm* make_SHA256WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const override;
    TVKKRYSignatureAlgorithm* make_SHA384WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const override;
    TVKKRYSignatureAlgorithm* make_SHA512WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const override;
    TVKKRYSignatureAlgorithm* make_SHA224WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const override;

    // RSASSA-PKCS1-v1_5, RFC 8017, 8.2.2. A signature that doesn't fit, whatever is wrong with it, is false.
    TVKKRYVerificationAlgorithm* make_MD5WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const override;
    TVKKRYVerificationAlgorithm* make_SHA1WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const override;
    TVKKRYVerificationAlgorithm*
    make_SHA256WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const override;
    TVKKRYVerificationAlgorithm*
    make_SHA384WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const override;
    TVKKRYVerificationAlgorithm*
    make_SHA512WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const override;
    TVKKRYVerificationAlgorithm*
    make_SHA224WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const override;

    // RSAES-PKCS1-v1_5, RFC 8017, 7.2.1. One block a run: Update collects and gives an empty buffer. Update
    // and the one-step form throw TVKSOFT_TOO_LONG beyond the length of the modulus less 11 bytes. There is
    // no key recovery block.
    TVKKRYEncryptionAlgorithm* make_RSAPKCS_EncryptionAlgorithm(TVKKRYKey const& key) const override;

    // RSAES-PKCS1-v1_5, RFC 8017, 7.2.2. One block a run, as above; longer than the modulus is
    // TVKSOFT_TOO_LONG. Every other block that doesn't decrypt is TVKSOFT_DECRYPTION_FAILED with one text.
    // That a block fails is told nevertheless, and whoever can send blocks and see it can decrypt by asking:
    // for protocols that let strangers do so this isn't the scheme. `keyRecoveryBlock` isn't looked at.
    TVKKRYDecryptionAlgorithm*
    make_RSAPKCS_DecryptionAlgorithm(TVKKRYKey const& key,
                                     TVKASNCBuffer const* keyRecoveryBlock) const override;

    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() const override;
};
