#include "hex.h"

#include "support/libcrypto.h"
#include "support/test_certificates.h"

#include <tvksoft/tvksoftalgorithmfactory.h>

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/rsa.h>

#include <array>

namespace {

using Factory = TVKSoftAlgorithmFactory;
Factory const factory;

#define NAMED(name)                                                                        \
    &Factory::make_##name##_DigestAlgorithm, &Factory::make_##name##_KeyedDigestAlgorithm, \
        &Factory::make_##name##WithRSA_SignatureAlgorithm,                                 \
        &Factory::make_##name##WithRSA_VerificationAlgorithm, #name

struct Algorithm {
    TVKKRYDigestAlgorithm* (Factory::*digest)() const;
    TVKKRYDigestAlgorithm* (Factory::*keyedDigest)(TVKASNCBuffer const&) const;
    TVKKRYSignatureAlgorithm* (Factory::*signature)(TVKKRYKey const&) const;
    TVKKRYVerificationAlgorithm* (Factory::*verification)(TVKKRYKey const&) const;
    char const* name;       // libcrypto's
    char const* ofAbc;      // RFC 1321, 3174, 6234: the digest of "abc"
    char const* ofQuestion; // RFC 2202, 4231: case 2 of the keyed digest
} const algorithms[] = {
    {NAMED(MD5), "900150983cd24fb0d6963f7d28e17f72", "750c783e6ab0b503eaa86e310a5db738"},
    {NAMED(SHA1), "a9993e364706816aba3e25717850c26c9cd0d89d", "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79"},
    {NAMED(SHA224), "23097d223405d8228642a477bda255b32aadbce4bda0b3f7e36c9da7",
     "a30e01098bc6dbbf45690f3a7e9e6d0f8bbea2a39e6148008fd05e44"},
    {NAMED(SHA256), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad",
     "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843"},
    {NAMED(SHA384),
     "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7",
     "af45d2e376484031617f78d2b58a6b1b9c7ef464f5a01b47e42ec3736322445e8e2240ca5e69e2c78b3239ecfab21649"},
    {NAMED(SHA512),
     "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
     "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f",
     "164b7a7bfcf819e2e395fbe73b56e0a387bd64222e831fd610270cd7ea250554"
     "9758bf75c05a994a6d034f65f8f0e6fdcaeab1a34d4a6b4b636e070a38bce737"}};

template <class T>
std::unique_ptr<T> owned(T* object) {
    return std::unique_ptr<T>(object);
}

Bytes bytes(TVKBuffer const& data) { return {data.getValue(), data.getValue() + data.getLength()}; }

TVKKRYKey keyOf(int format, int type, Bytes const& blob, int algorithm = TVKKRYKey::RSA) {
    TVKKRYKey key;
    key.setFormat(static_cast<TVKKRYKey::Format>(format));
    key.setType(static_cast<TVKKRYKey::Type>(type));
    key.setAlgorithm(static_cast<TVKKRYKey::Algorithm>(algorithm));
    key.setKeyBlob(TVKBuffer(viewOf(blob)));
    return key;
}

TVKKRYKey publicOf(TestKey const& key) { return keyOf(2, 1, key.publicKeyInfo()); }
TVKKRYKey privateOf(TestKey const& key) { return keyOf(3, 2, key.privateKeyInfo()); }

} // namespace

TEST(SoftDigests, GiveThePublishedValues) {
    auto const check = [](TVKKRYDigestAlgorithm* made, TVKString const& text, char const* expected) {
        auto const digest = owned(made);
        TVKBuffer const message(text);
        EXPECT_EQ(failureOf([&] { digest->digestDataUpdate({}); }).getCode(), TVKSOFT_NOT_STARTED);
        EXPECT_EQ(toHex(digest->digestData(message.get())), expected);
        digest->digestDataInit();
        for (std::uint8_t const& each : bytes(message))
            digest->digestDataUpdate(TVKASNCBuffer(&each, 1));
        EXPECT_EQ(toHex(digest->digestDataFinal()), expected);
        EXPECT_EQ(failureOf([&] { digest->digestDataFinal(); }).getCode(), TVKSOFT_NOT_STARTED);
    };
    TVKBuffer const key(TVKString("Jefe")), longKey(viewOf(Bytes(131, 0xAA)));
    for (Algorithm const& each : algorithms) {
        SCOPED_TRACE(each.name);
        check((factory.*each.digest)(), "abc", each.ofAbc);
        check((factory.*each.keyedDigest)(key.get()), "what do ya want for nothing?", each.ofQuestion);
    }
    check(factory.make_MD5_DigestAlgorithm(), "", "d41d8cd98f00b204e9800998ecf8427e");
    check(factory.make_MD5_KeyedDigestAlgorithm({}), "", "74e6f7298a9c2d168935f58c001bad88");
    check(factory.make_SHA256_KeyedDigestAlgorithm(longKey.get()), // RFC 4231, case 6
          "Test Using Larger Than Block-Size Key - Hash Key First",
          "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54");
}

TEST(SoftSignatures, AreThoseOfLibcryptoAndNoOthers) {
    TVKBuffer const data(TVKString("what is signed"));
    for (std::size_t i = 0; i < 4 * std::size(algorithms); ++i) {
        Algorithm const& algorithm = algorithms[i / 4];
        unsigned const bits = std::array{512U, 600U, 1024U, 2048U}[i % 4];
        SCOPED_TRACE(std::string(algorithm.name) + " with " + std::to_string(bits) + " bits");
        TestKey const& key = TestKey::shared(bits);
        auto const signer = owned((factory.*algorithm.signature)(privateOf(key)));
        auto const verifier = owned((factory.*algorithm.verification)(publicOf(key)));
        auto const verifies = [&](Bytes const& each) {
            return verifier->verifyData(data.get(), viewOf(each));
        };
        Bytes const digest = bytes(owned((factory.*algorithm.digest)())->digestData(data.get()));
        if (bits < 1024 && digest.size() > 32) {
            EXPECT_EQ(failureOf([&] { signer->signData(data.get()); }).getCode(), TVKSOFT_TOO_LONG);
            EXPECT_FALSE(verifies(Bytes(bits / 8, 1)));
            continue;
        }
        Bytes const good = signatureOf(key.get(), EVP_get_digestbyname(algorithm.name), bytes(data));
        EXPECT_EQ(bytes(signer->signData(data.get())), good);
        EXPECT_TRUE(verifies(good));
        EXPECT_FALSE(verifier->verifyData({}, viewOf(good))) << "of other data";
        Bytes longer = good,
              bare = rsa(key.get(), EVP_PKEY_sign_init, EVP_PKEY_sign, RSA_PKCS1_PADDING, digest);
        longer.insert(longer.begin(), 0);
        for (Bytes const& bad : {Bytes(), Bytes(good.size()), Bytes(good.size(), 0xFF), longer, bare})
            EXPECT_FALSE(verifies(bad)) << toHex(bad);
        for (std::size_t at = 0; at < good.size(); ++at) {
            Bytes bad = good;
            bad[at] ^= static_cast<std::uint8_t>(1U << at % 8);
            EXPECT_FALSE(verifies(bad)) << "octet " << at;
        }
    }
}

TEST(SoftSignatures, AreNotGivenOutWhenTheKeyIsDamaged) {
    Bytes blob = TestKey::shared(1024).privateKeyInfo();
    blob[60] ^= 0x10; // within the modulus
    auto const signer = owned(factory.make_SHA256WithRSA_SignatureAlgorithm(keyOf(3, 2, blob)));
    ERR_raise(ERR_LIB_USER, 7);
    EXPECT_EQ(failureOf([&] { signer->signData({}); }).getCode(), TVKSOFT_LIBRARY_FAILURE);
    EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 7) << "the host's error stays";
    EXPECT_EQ(ERR_get_error(), 0U) << "and no other is added";
}

TEST(SoftEncryption, GoesBothWaysWithLibcryptoAndFailsInOneWay) {
    TestKey const& key = TestKey::shared(1024);
    auto const encryption = owned(factory.make_RSAPKCS_EncryptionAlgorithm(publicOf(key)));
    auto const decryption = owned(factory.make_RSAPKCS_DecryptionAlgorithm(privateOf(key), nullptr));
    EXPECT_TRUE(encryption->isKindOf("TVKKRYEncryptionAlgorithm") && encryption->isKindOf("TVKKRYAlgorithm"));
    EXPECT_FALSE(encryption->isKindOf("TVKKRYDecryptionAlgorithm") || encryption->isKindOf(""));
    for (unsigned const size : {0U, 36U, 117U}) {
        Bytes const text(size, 0x5A), tooMuch(118 - size);
        encryption->encryptDataInit();
        for (std::uint8_t const& each : text)
            EXPECT_EQ(encryption->encryptDataUpdate(TVKASNCBuffer(&each, 1)).getLength(), 0U);
        EXPECT_EQ(failureOf([&] { encryption->encryptDataUpdate(viewOf(tooMuch)); }).getCode(),
                  TVKSOFT_TOO_LONG);
        Bytes const block = bytes(encryption->encryptDataFinal());
        EXPECT_EQ(rsa(key.get(), EVP_PKEY_decrypt_init, EVP_PKEY_decrypt, RSA_PKCS1_PADDING, block), text);
        Bytes const other = rsa(key.get(), EVP_PKEY_encrypt_init, EVP_PKEY_encrypt, RSA_PKCS1_PADDING, text);
        EXPECT_EQ(bytes(decryption->decryptData(viewOf(other))), text);
        EXPECT_EQ(failureOf([&] { decryption->decryptDataFinal(); }).getCode(), TVKSOFT_NOT_STARTED);
    }
    auto const padded = [&](std::string const& start, std::string const& end) {
        return rsa(key.get(), EVP_PKEY_encrypt_init, EVP_PKEY_encrypt, RSA_NO_PADDING,
                   fromHex(start + std::string(256 - start.size() - end.size(), '1') + end));
    };
    for (auto const& [why, block] : std::vector<std::pair<char const*, Bytes>>{
             {"nothing", Bytes()},
             {"too short", Bytes(127, 1)},
             {"beyond the modulus", Bytes(128, 0xFF)},
             {"a block for signatures", padded("0001", "00ABCD")},
             {"no separator", padded("0002", "ABCD")},
             {"seven octets of padding", padded("00020102030405060700", "00ABCD")},
             {"a first octet that isn't 0", padded("0102", "00ABCD")}}) {
        TVKException const failure = failureOf([&, &each = block] { decryption->decryptData(viewOf(each)); });
        EXPECT_EQ(failure.getCode(), TVKSOFT_DECRYPTION_FAILED) << why;
        EXPECT_STREQ(failure.what(), "the block can't be decrypted") << why;
    }
    EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST(SoftFactory, GivesNullForWhatItCannotUse) {
    TestKey const curve(
        std::shared_ptr<evp_pkey_st>(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"), EVP_PKEY_free));
    Bytes const open = TestKey::shared(512).publicKeyInfo(), secret = TestKey::shared(512).privateKeyInfo();
    Bytes evenExponent = open, evenModulus = open, longer = open;
    evenExponent.back() = 0;
    evenModulus[open.size() - 6] ^= 1;
    longer.push_back(0);
    Bytes const tiny = fromHex("301C300D06092A864886F70D0101010500030B003008020301000D020103");
    // Usable as: 0 nothing, 1 a public key, 2 a private key, which is a public one too.
    for (auto const& [why, usable, key] : std::vector<std::tuple<char const*, int, TVKKRYKey>>{
             {"a public key", 1, keyOf(2, 1, open)},
             {"a private key", 2, keyOf(3, 2, secret)},
             {"public material called private", 0, keyOf(2, 2, open)},
             {"private material called public", 0, keyOf(3, 1, secret)},
             {"public material of the private format", 0, keyOf(3, 2, open)},
             {"private material of the public format", 0, keyOf(2, 1, secret)},
             {"a reference to a provider's key", 0, keyOf(5, 2, secret)},
             {"no algorithm", 0, keyOf(2, 1, open, 0)},
             {"a public key of a curve", 0, keyOf(2, 1, curve.publicKeyInfo())},
             {"a private key of a curve", 0, keyOf(3, 2, curve.privateKeyInfo())},
             {"no material", 0, keyOf(2, 1, Bytes())},
             {"a cut key", 0, keyOf(3, 2, Bytes(secret.begin(), secret.end() - 1))},
             {"an octet behind a key", 0, keyOf(2, 1, longer)},
             {"an even exponent", 0, keyOf(2, 1, evenExponent)},
             {"an even modulus", 0, keyOf(2, 1, evenModulus)},
             {"a modulus of 17 bits", 0, keyOf(2, 1, tiny)}}) {
        SCOPED_TRACE(why);
        EXPECT_EQ(owned(factory.make_SHA1WithRSA_SignatureAlgorithm(key)) != nullptr, usable == 2);
        EXPECT_EQ(owned(factory.make_RSAPKCS_DecryptionAlgorithm(key, nullptr)) != nullptr, usable == 2);
        EXPECT_EQ(owned(factory.make_SHA1WithRSA_VerificationAlgorithm(key)) != nullptr, usable != 0);
        EXPECT_EQ(owned(factory.make_RSAPKCS_EncryptionAlgorithm(key)) != nullptr, usable != 0);
    }
    EVP_set_default_properties(nullptr, "fips=yes"); // which no algorithm here has
    EXPECT_EQ(factory.make_MD5_DigestAlgorithm(), nullptr);
    EXPECT_EQ(factory.make_MD5_KeyedDigestAlgorithm({}), nullptr);
    EXPECT_EQ(factory.make_MD5WithRSA_VerificationAlgorithm(keyOf(2, 1, open)), nullptr);
    EVP_set_default_properties(nullptr, "");
    EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST(SoftFactory, MakesKeyPairsOfTheSizeAskedFor) {
    for (unsigned const bits : {0U, 504U, 513U, 16392U})
        EXPECT_EQ(factory.make_RSA_PublicKeyGenAlgorithm(bits), nullptr) << bits;
    TVKKRYKeyPair const pair = owned(factory.make_RSA_PublicKeyGenAlgorithm(1032))->generateKeyPair();
    auto const signer = owned(factory.make_MD5WithRSA_SignatureAlgorithm(pair.getPrivateKey()));
    auto const verifier = owned(factory.make_MD5WithRSA_VerificationAlgorithm(pair.getPublicKey()));
    TVKBuffer const signature = signer->signData({});
    EXPECT_EQ(signature.getLength(), 129U);
    EXPECT_TRUE(verifier->verifyData({}, signature.get()));
}

TEST(SoftFactory, CanBeTheDefault) {
    TVKKRYUtility::setDefaultAlgorithmFactory(factory);
    EXPECT_TRUE(TVKKRYUtility::getDefaultAlgorithmFactory().isKindOf("TVKSoftAlgorithmFactory"));
    TVKBuffer const seed(TVKString("seed")),
        random = TVKKRYUtility::generateRandomData(32, &seed.get(), nullptr);
    EXPECT_NE(random.compare(TVKKRYUtility::generateRandomData(32, &seed.get(), nullptr)), 0);
    auto const digest = owned(factory.make_SHA1_KeyedDigestAlgorithm({}));
    EXPECT_EQ(digest->getInstanceName(), TVKString("TVKSoftKeyedDigestAlgorithm"));
    EXPECT_TRUE(digest->isKindOf(digest->getInstanceName()) && digest->isKindOf("TVKKRYDigestAlgorithm"));
    EXPECT_FALSE(digest->isKindOf("TVKSoftDigestAlgorithm"));
}
