#include <tvksoft/tvksoftalgorithmfactory.h>

#include "softalgorithms.h"

namespace {

using namespace tvksoft;

TVKKRYDigestAlgorithm* digest(DigestName const& name) {
    std::optional<Digest> opened = Digest::open(name);
    return opened ? new DigestAlgorithm<Digest>(std::move(*opened)) : nullptr;
}

TVKKRYDigestAlgorithm* keyedDigest(DigestName const& name, TVKASNCBuffer const& key) {
    std::optional<Hmac> opened = Hmac::open(name, key);
    return opened ? new DigestAlgorithm<Hmac>(std::move(*opened)) : nullptr;
}

TVKKRYSignatureAlgorithm* signature(DigestName const& name, TVKKRYKey const& key) {
    std::optional<Digest> opened = Digest::open(name);
    std::optional<RsaKey> rsa = RsaKey::privateOf(key);
    return opened && rsa ? new SignatureAlgorithm(std::move(*opened), std::move(*rsa)) : nullptr;
}

TVKKRYVerificationAlgorithm* verification(DigestName const& name, TVKKRYKey const& key) {
    std::optional<Digest> opened = Digest::open(name);
    std::optional<RsaKey> rsa = RsaKey::of(key);
    return opened && rsa ? new VerificationAlgorithm(std::move(*opened), std::move(*rsa)) : nullptr;
}

constexpr char kClassName[] = "TVKSoftAlgorithmFactory";

} // namespace

TVKSoftAlgorithmFactory::TVKSoftAlgorithmFactory() = default;

TVKSoftAlgorithmFactory::~TVKSoftAlgorithmFactory() = default;

TVKKRYAlgorithmFactory* TVKSoftAlgorithmFactory::duplicate() const { return new TVKSoftAlgorithmFactory; }

TVKKRYRandomDataGenAlgorithm*
TVKSoftAlgorithmFactory::make_Default_RandomDataGenAlgorithm(TVKASNCBuffer const* seed) const {
    auto random = std::make_unique<RandomDataGenAlgorithm>();
    if (seed != nullptr) {
        random->updateSeed(*seed);
    }
    return random.release();
}

TVKKRYPublicKeyGenAlgorithm*
TVKSoftAlgorithmFactory::make_RSA_PublicKeyGenAlgorithm(unsigned int keySizeBits) const {
    bool const good = keySizeBits >= minimumKeyBits && keySizeBits <= maximumKeyBits && keySizeBits % 8 == 0;
    return good ? new PublicKeyGenAlgorithm(keySizeBits) : nullptr;
}

TVKKRYDigestAlgorithm* TVKSoftAlgorithmFactory::make_MD5_DigestAlgorithm() const { return digest(md5); }
TVKKRYDigestAlgorithm* TVKSoftAlgorithmFactory::make_SHA1_DigestAlgorithm() const { return digest(sha1); }
TVKKRYDigestAlgorithm* TVKSoftAlgorithmFactory::make_SHA256_DigestAlgorithm() const { return digest(sha256); }
TVKKRYDigestAlgorithm* TVKSoftAlgorithmFactory::make_SHA384_DigestAlgorithm() const { return digest(sha384); }
TVKKRYDigestAlgorithm* TVKSoftAlgorithmFactory::make_SHA512_DigestAlgorithm() const { return digest(sha512); }
TVKKRYDigestAlgorithm* TVKSoftAlgorithmFactory::make_SHA224_DigestAlgorithm() const { return digest(sha224); }

TVKKRYDigestAlgorithm*
TVKSoftAlgorithmFactory::make_MD5_KeyedDigestAlgorithm(TVKASNCBuffer const& key) const {
    return keyedDigest(md5, key);
}
TVKKRYDigestAlgorithm*
TVKSoftAlgorithmFactory::make_SHA1_KeyedDigestAlgorithm(TVKASNCBuffer const& key) const {
    return keyedDigest(sha1, key);
}
TVKKRYDigestAlgorithm*
TVKSoftAlgorithmFactory::make_SHA256_KeyedDigestAlgorithm(TVKASNCBuffer const& key) const {
    return keyedDigest(sha256, key);
}
TVKKRYDigestAlgorithm*
TVKSoftAlgorithmFactory::make_SHA384_KeyedDigestAlgorithm(TVKASNCBuffer const& key) const {
    return keyedDigest(sha384, key);
}
TVKKRYDigestAlgorithm*
TVKSoftAlgorithmFactory::make_SHA512_KeyedDigestAlgorithm(TVKASNCBuffer const& key) const {
    return keyedDigest(sha512, key);
}
TVKKRYDigestAlgorithm*
TVKSoftAlgorithmFactory::make_SHA224_KeyedDigestAlgorithm(TVKASNCBuffer const& key) const {
    return keyedDigest(sha224, key);
}

TVKKRYSignatureAlgorithm*
TVKSoftAlgorithmFactory::make_MD5WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const {
    return signature(md5, key);
}
TVKKRYSignatureAlgorithm*
TVKSoftAlgorithmFactory::make_SHA1WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const {
    return signature(sha1, key);
}
TVKKRYSignatureAlgorithm*
TVKSoftAlgorithmFactory::make_SHA256WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const {
    return signature(sha256, key);
}
TVKKRYSignatureAlgorithm*
TVKSoftAlgorithmFactory::make_SHA384WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const {
    return signature(sha384, key);
}
TVKKRYSignatureAlgorithm*
TVKSoftAlgorithmFactory::make_SHA512WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const {
    return signature(sha512, key);
}
TVKKRYSignatureAlgorithm*
TVKSoftAlgorithmFactory::make_SHA224WithRSA_SignatureAlgorithm(TVKKRYKey const& key) const {
    return signature(sha224, key);
}

TVKKRYVerificationAlgorithm*
TVKSoftAlgorithmFactory::make_MD5WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const {
    return verification(md5, key);
}
TVKKRYVerificationAlgorithm*
TVKSoftAlgorithmFactory::make_SHA1WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const {
    return verification(sha1, key);
}
TVKKRYVerificationAlgorithm*
TVKSoftAlgorithmFactory::make_SHA256WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const {
    return verification(sha256, key);
}
TVKKRYVerificationAlgorithm*
TVKSoftAlgorithmFactory::make_SHA384WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const {
    return verification(sha384, key);
}
TVKKRYVerificationAlgorithm*
TVKSoftAlgorithmFactory::make_SHA512WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const {
    return verification(sha512, key);
}
TVKKRYVerificationAlgorithm*
TVKSoftAlgorithmFactory::make_SHA224WithRSA_VerificationAlgorithm(TVKKRYKey const& key) const {
    return verification(sha224, key);
}

TVKKRYEncryptionAlgorithm*
TVKSoftAlgorithmFactory::make_RSAPKCS_EncryptionAlgorithm(TVKKRYKey const& key) const {
    std::optional<RsaKey> rsa = RsaKey::of(key);
    return rsa ? new EncryptionAlgorithm(std::move(*rsa)) : nullptr;
}

TVKKRYDecryptionAlgorithm*
TVKSoftAlgorithmFactory::make_RSAPKCS_DecryptionAlgorithm(TVKKRYKey const& key,
                                                          TVKASNCBuffer const* /*keyRecoveryBlock*/) const {
    std::optional<RsaKey> rsa = RsaKey::privateOf(key);
    return rsa ? new DecryptionAlgorithm(std::move(*rsa)) : nullptr;
}

bool TVKSoftAlgorithmFactory::isKindOf(TVKString const& name) const {
    return name.compare(kClassName) == 0 || TVKKRYAlgorithmFactory::isKindOf(name);
}

TVKString TVKSoftAlgorithmFactory::getInstanceName() const { return kClassName; }
