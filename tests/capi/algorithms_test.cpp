#include "capikrydigestalgorithm.h"
#include "cspmanager.h"
#include "cspmanagerutility.h"
#include "module_fixture.h"

#include <tvkcore/asn/tvkcapiasnkeyrecord.h>

#include <gtest/gtest.h>

#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <algorithm>
#include <memory>
#include <vector>

using namespace capi_tests;
using namespace test_support;

namespace {

using Pkey = std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)>;

TVKKRYKey keyWith(TVKKRYKey::Format format, TVKBuffer const& blob) {
    TVKKRYKey key;
    key.setType(TVKKRYKey::Private);
    key.setAlgorithm(TVKKRYKey::RSA);
    key.setFormat(format);
    key.setKeyBlob(blob);
    return key;
}

TVKKRYKey referenceWith(TVKBuffer const& objectId) {
    return keyWith(TVKKRYKey::KeyRecord, TVKCAPIASNKeyRecord("", objectId, 0, TVKBuffer()).getBuffer());
}

// Plain libcrypto's opinion of a signature, most significant byte first. A null digest: the value itself was
// signed.
bool verifies(EVP_PKEY* key, EVP_MD const* digest, std::string const& value, TVKBuffer const& signature) {
    Pkey const context(EVP_PKEY_CTX_new(key, nullptr), &EVP_PKEY_CTX_free);
    Bytes hash(value.begin(), value.end());
    if (digest != nullptr) {
        unsigned int size = EVP_MAX_MD_SIZE;
        hash.resize(size);
        EVP_Digest(value.data(), value.size(), hash.data(), &size, digest, nullptr);
        hash.resize(size);
    }
    return EVP_PKEY_verify_init(context.get()) == 1 &&
           EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) == 1 &&
           (digest == nullptr || EVP_PKEY_CTX_set_signature_md(context.get(), digest) == 1) &&
           EVP_PKEY_verify(context.get(), signature.getValue(), signature.getLength(), hash.data(),
                           hash.size()) == 1;
}

// A store manager with its factory, and a key of this size in a container that the reference names.
struct Factory {
    explicit Factory(unsigned bits = 1024)
        : provider(makeContainer(std::to_string(bits).c_str(), bits)),
          manager(std::make_unique<CSPManager>("", 1)), factory(manager->getTVKKRYAlgorithmFactory()) {
        std::unique_ptr<TVKKeyItem> const item(
            CspManagerUtility::makeKeyItem(provider.get(), AT_KEYEXCHANGE, true, nullptr));
        key = item->getKey();
    }

    std::unique_ptr<TVKKRYSignatureAlgorithm> signer(bool md5 = false) const {
        return std::unique_ptr<TVKKRYSignatureAlgorithm>(
            md5 ? factory->make_MD5WithRSA_SignatureAlgorithm(key)
                : factory->make_SHA1WithRSA_SignatureAlgorithm(key));
    }

    std::unique_ptr<TVKKRYVerificationAlgorithm> verifier() const {
        return std::unique_ptr<TVKKRYVerificationAlgorithm>(
            factory->make_SHA1WithRSA_VerificationAlgorithm(key));
    }

    std::unique_ptr<TVKKRYEncryptionAlgorithm> encryptor() const {
        return std::unique_ptr<TVKKRYEncryptionAlgorithm>(factory->make_RSAPKCS_EncryptionAlgorithm(key));
    }

    std::unique_ptr<TVKKRYDecryptionAlgorithm> decryptor() const {
        return std::unique_ptr<TVKKRYDecryptionAlgorithm>(
            factory->make_RSAPKCS_DecryptionAlgorithm(key, nullptr));
    }

    OwnedProvider provider;
    std::unique_ptr<CSPManager> manager;
    std::unique_ptr<TVKKRYAlgorithmFactory> factory;
    TVKKRYKey key;
};

using Algorithms = ModuleTest;

} // namespace

TEST_F(Algorithms, SignSoThatLibcryptoVerifies) {
    for (unsigned const bits : {512U, 1024U, 2048U, 4096U}) {
        Factory const world(bits);
        for (bool const md5 : {true, false}) {
            SCOPED_TRACE(std::to_string(bits) + (md5 ? " MD5" : " SHA-1"));
            TVKBuffer const signature = world.signer(md5)->signData(buffer("data").get());
            EXPECT_EQ(signature.getLength(), bits / 8);
            EXPECT_TRUE(
                verifies(TestKey::shared(bits).get(), md5 ? EVP_md5() : EVP_sha1(), "data", signature));
            auto const pieces = world.signer(md5);
            pieces->signDataInit();
            pieces->signDataUpdate(buffer("left over").get());
            pieces->signDataInit();
            pieces->signDataUpdate(buffer("da").get());
            pieces->signDataUpdate(buffer("ta").get());
            EXPECT_EQ(pieces->signDataFinal().compare(signature), 0) << "in pieces, after an earlier Init";
        }
    }
}

TEST_F(Algorithms, RefuseEveryWrongSignature) {
    Factory const world;
    TVKBuffer const signature = world.signer()->signData(buffer("data").get());
    EXPECT_TRUE(world.verifier()->verifyData(buffer("data").get(), signature.get()));
    Raised const mismatch = capi(kManagerUtility, 578016, "");
    for (unsigned long bit = 0; bit < signature.getLength() * 8; bit += 7) {
        Bytes wrong = bytesOf(signature);
        wrong[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
        EXPECT_EQ(raisedBy([&] { world.verifier()->verifyData(buffer("data").get(), buffer(wrong).get()); }),
                  mismatch)
            << "bit " << bit;
    }
    Bytes shorter = bytesOf(signature);
    shorter.pop_back();
    TVKBuffer const foreign = Factory(512).signer()->signData(buffer("data").get());
    struct {
        TVKBuffer data;
        TVKBuffer signature;
        char const* why;
    } const rows[] = {{buffer("datb"), signature, "other data"},
                      {buffer("data"), CspManagerUtility::reverseEndian(signature), "byte order"},
                      {buffer("data"), buffer(shorter), "a byte less"},
                      {buffer("data"), foreign, "another key's"},
                      {buffer("data"), TVKBuffer(), "nothing"}};
    for (auto const& row : rows) {
        EXPECT_EQ(raisedBy([&] { world.verifier()->verifyData(row.data.get(), row.signature.get()); }),
                  mismatch)
            << row.why;
    }
}

TEST_F(Algorithms, EncryptAndDecryptOneBlock) {
    Factory const world;
    auto const encryptor = world.encryptor();
    EXPECT_EQ(encryptor->getKeyRecoveryBlock(), nullptr);
    for (std::size_t const length : {0U, 1U, 35U, 37U, 117U}) {
        SCOPED_TRACE(length);
        TVKBuffer const plain = buffer(std::string(length, 'p'));
        TVKBuffer const cipher = encryptor->encryptData(plain.get());
        EXPECT_EQ(cipher.getLength(), 128U);
        EXPECT_EQ(world.decryptor()->decryptData(cipher.get()).compare(plain), 0);
        EXPECT_NE(encryptor->encryptData(plain.get()).compare(cipher), 0) << "the padding is random";
    }
    EXPECT_EQ(raisedBy([&] { encryptor->encryptData(buffer(std::string(118, 'p')).get()); }).code, 578013);

    // Ciphertext of plain libcrypto, of the length that the other direction signs.
    std::string const plain(36, 'x');
    Pkey const context(EVP_PKEY_CTX_new(TestKey::shared(1024).get(), nullptr), &EVP_PKEY_CTX_free);
    Bytes cipher(128);
    std::size_t size = cipher.size();
    ASSERT_EQ(EVP_PKEY_encrypt_init(context.get()), 1);
    EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING);
    ASSERT_EQ(EVP_PKEY_encrypt(context.get(), cipher.data(), &size,
                               reinterpret_cast<unsigned char const*>(plain.data()), plain.size()),
              1);
    Bytes const before = cipher;
    EXPECT_EQ(text(world.decryptor()->decryptData(buffer(cipher).get())), plain);
    EXPECT_EQ(cipher, before);

    // The three steps take and give the provider's byte order.
    auto const steps = world.decryptor();
    steps->decryptDataInit();
    EXPECT_EQ(text(steps->decryptDataUpdate(CspManagerUtility::reverseEndian(buffer(cipher)).get())), plain);

    // Whatever is wrong with a block, the failure is the same.
    Raised const damaged = raisedBy(
        [&] { world.decryptor()->decryptData(CspManagerUtility::reverseEndian(buffer(cipher)).get()); });
    EXPECT_EQ(damaged.code, 578014);
    for (std::size_t at = 0; at < cipher.size(); at += 9) {
        Bytes wrong = cipher;
        wrong[at] ^= 0x55;
        Raised const raised = raisedBy([&] { world.decryptor()->decryptData(buffer(wrong).get()); });
        EXPECT_EQ(raised, damaged) << at;
    }
}

TEST_F(Algorithms, SignAFinishedDigestOf36Bytes) {
    Factory const world;
    auto const encryptor = world.encryptor();
    std::string const digest(36, 'd');
    calls.forget();
    TVKBuffer const signature = encryptor->encryptData(buffer(digest).get());
    auto const& names = calls.names();
    EXPECT_EQ(std::count(names.begin(), names.end(), "CryptAcquireContextA"), 1) << "handles of its own";
    EXPECT_EQ(std::count(names.begin(), names.end(), "CryptEncrypt"), 0);
    EXPECT_TRUE(verifies(TestKey::shared(1024).get(), nullptr, digest, signature));
}

TEST_F(Algorithms, OutliveWhatMadeThem) {
    Factory world;
    auto const signer = world.signer();
    std::unique_ptr<TVKKRYAlgorithmFactory> const copy(world.factory->duplicate());
    world.manager.reset();
    world.factory.reset();
    EXPECT_EQ(signer->signData(buffer("x").get()).getLength(), 128U);
    std::unique_ptr<TVKKRYRandomDataGenAlgorithm> const random(
        copy->make_Default_RandomDataGenAlgorithm(nullptr));
    EXPECT_NE(random->generateRandomData(16).compare(random->generateRandomData(16)), 0);
    calls.forget();
    EXPECT_EQ(random->generateRandomData(0).getLength(), 0U);
    random->updateSeed(TVKASNCBuffer());
    EXPECT_TRUE(calls.names().empty());
    EXPECT_TRUE(copy->isKindOf("CAPIKRYAlgorithmFactory") && copy->isKindOf("TVKKRYAlgorithmFactory"));
}

TEST_F(Algorithms, AreNullForOtherKeys) {
    Factory const world;
    TVKBuffer const clear = buffer(TestKey::shared(1024).privateKeyInfo());
    struct {
        TVKKRYKey key;
        char const* why;
    } const rows[] = {
        {keyWith(TVKKRYKey::PrivateKeyInfo, clear), "material"},
        {keyWith(TVKKRYKey::SubjectPublicKeyInfo, buffer(TestKey::shared(1024).publicKeyInfo())), "public"},
        {keyWith(TVKKRYKey::KeyRecord, TVKBuffer()), "an empty blob"},
        {keyWith(TVKKRYKey::KeyRecord, clear), "no key record"}};
    for (auto const& row : rows) {
        SCOPED_TRACE(row.why);
        EXPECT_EQ(world.factory->make_MD5WithRSA_SignatureAlgorithm(row.key), nullptr);
        EXPECT_EQ(world.factory->make_SHA1WithRSA_VerificationAlgorithm(row.key), nullptr);
        EXPECT_EQ(world.factory->make_RSAPKCS_EncryptionAlgorithm(row.key), nullptr);
        EXPECT_EQ(world.factory->make_RSAPKCS_DecryptionAlgorithm(row.key, nullptr), nullptr);
    }
    EXPECT_EQ(world.factory->make_MD5_DigestAlgorithm(), nullptr);
    EXPECT_EQ(world.factory->make_SHA1_DigestAlgorithm(), nullptr);
    EXPECT_EQ(world.factory->make_SHA256WithRSA_SignatureAlgorithm(world.key), nullptr);
}

TEST_F(Algorithms, FollowOnlyReferencesOfThisProcess) {
    Factory const world;
    CRYPT_KEY_PROV_INFO foreign = {};
    wchar_t name[] = L"signer";
    foreign.pwszContainerName = name;
    foreign.pwszProvName = name;
    struct {
        TVKBuffer objectId;
        Raised raised;
        char const* why;
    } const rows[] = {
        {TVKBuffer(sizeof foreign, reinterpret_cast<unsigned char const*>(&foreign)),
         capi(kCspUtility, 578012, "CryptAcquireContext() return value rc=0x",
              DWORD{ERROR_INVALID_PARAMETER}),
         "pointers that were never handed out"},
        {buffer(std::string(sizeof(CRYPT_KEY_PROV_INFO) - 1, '\1')),
         capi(kCspUtility, 578012, "CryptAcquireContext() return value rc=0x",
              DWORD{ERROR_INVALID_PARAMETER}),
         "cut"},
        {buffer(std::string(sizeof(CERT_ID), '\xAA')), capi(kManagerUtility, 578015, ""),
         "an identifier of random bytes"},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.why);
        std::unique_ptr<TVKKRYSignatureAlgorithm> const signer(
            world.factory->make_SHA1WithRSA_SignatureAlgorithm(referenceWith(row.objectId)));
        ASSERT_NE(signer, nullptr);
        EXPECT_EQ(raisedBy([&] { signer->signData(TVKASNCBuffer()); }), row.raised);
    }
}

TEST_F(Algorithms, ReachAKeyThroughItsCertificate) {
    KeyWorld const world;
    CSPManager manager("", 1);
    std::unique_ptr<TVKKRYAlgorithmFactory> const factory(manager.getTVKKRYAlgorithmFactory());
    std::unique_ptr<TVKKeyItem> const item(CspManagerUtility::makeKeyItem(manager, world.cert.get()));
    std::unique_ptr<TVKKRYSignatureAlgorithm> const signer(
        factory->make_SHA1WithRSA_SignatureAlgorithm(item->getKey()));
    EXPECT_TRUE(verifies(TestKey::shared(1024).get(), EVP_sha1(), "x", signer->signData(buffer("x").get())));
}

TEST_F(Algorithms, MakeKeyPairsInContainersOfTheirOwn) {
    CSPManager manager("", 1);
    std::unique_ptr<TVKKRYAlgorithmFactory> const factory(manager.getTVKKRYAlgorithmFactory());
    struct {
        unsigned int asked;
        char const* flags;
        int bits;
    } const rows[] = {{512, "set, 1, 2000001, set", 512},
                      {1024, "set, 1, 4000001, set", 1024},
                      {768, "set, 1, 1, set", 2048}};
    for (auto const& row : rows) {
        SCOPED_TRACE(row.asked);
        std::unique_ptr<TVKKRYPublicKeyGenAlgorithm> const generator(
            factory->make_RSA_PublicKeyGenAlgorithm(row.asked));
        calls.forget();
        TVKKRYKeyPair const pair = generator->generateKeyPair();
        EXPECT_EQ(calls.arguments(CryptGenKey), std::vector<std::string>{row.flags});
        Bytes const der = bytesOf(pair.getPublicKey().getKeyBlob());
        unsigned char const* at = der.data();
        std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> const key(
            d2i_PUBKEY(nullptr, &at, static_cast<long>(der.size())), &EVP_PKEY_free);
        ASSERT_NE(key, nullptr);
        EXPECT_EQ(EVP_PKEY_get_bits(key.get()), row.bits);
        EXPECT_EQ(TVKCAPIASNKeyRecord(pair.getPrivateKey().getKeyBlob()).getKeySize(), 512U);
        std::unique_ptr<TVKKRYSignatureAlgorithm> const signer(
            factory->make_SHA1WithRSA_SignatureAlgorithm(pair.getPrivateKey()));
        EXPECT_TRUE(verifies(key.get(), EVP_sha1(), "x", signer->signData(buffer("x").get())));
    }
}

TEST_F(Algorithms, TheDigestDoesNothing) {
    CSPManager const manager("", 1);
    CAPIKRYDigestAlgorithm digest(1, manager);
    digest.digestDataInit();
    digest.digestDataUpdate(buffer("x").get());
    EXPECT_EQ(digest.digestDataFinal().getLength(), 0U);
    EXPECT_EQ(static_cast<TVKKRYDigestAlgorithm&>(digest).digestData(buffer("x").get()).getLength(), 0U);
    EXPECT_TRUE(digest.isKindOf("TVKKRYDigestAlgorithm"));
}

TEST_F(Algorithms, MakeTheirPlatformCallsInOrder) {
    Factory const world;
    std::unique_ptr<TVKKRYPublicKeyGenAlgorithm> const generator(
        world.factory->make_RSA_PublicKeyGenAlgorithm(512));
    TVKBuffer const data = buffer("data");
    auto const signer = world.signer();
    auto const verifier = world.verifier();
    auto const encryptor = world.encryptor();
    auto const decryptor = world.decryptor();
    TVKBuffer const signature = signer->signData(data.get());
    TVKBuffer const cipher = encryptor->encryptData(data.get());
    using Names = std::vector<std::string>;
    struct {
        char const* operation;
        std::function<void()> run;
        Names names;
    } const rows[] = {
        {"a second signature",
         [&] { signer->signData(data.get()); },
         {"CryptDestroyHash", "CryptReleaseContext", "CryptAcquireContextA", "CryptGetUserKey",
          "CryptCreateHash", "CryptDestroyKey", "CryptHashData", "CryptSignHashA", "CryptSignHashA"}},
        {"a verification",
         [&] { verifier->verifyData(data.get(), signature.get()); },
         {"CryptAcquireContextA", "CryptGetUserKey", "CryptCreateHash", "CryptHashData",
          "CryptVerifySignatureA"}},
        {"a second encryption",
         [&] { encryptor->encryptData(data.get()); },
         {"CryptDestroyKey", "CryptReleaseContext", "CryptAcquireContextA", "CryptGetUserKey", "CryptEncrypt",
          "CryptEncrypt"}},
        {"a decryption",
         [&] { decryptor->decryptData(cipher.get()); },
         {"CryptAcquireContextA", "CryptGetUserKey", "CryptDecrypt"}},
    };
    for (auto const& row : rows) {
        calls.forget();
        row.run();
        EXPECT_EQ(calls.names(), row.names) << row.operation;
    }
    calls.forget();
    generator->generateKeyPair();
    Names made = calls.names();
    std::erase(made, "CryptGetProvParam");
    made.resize(4);
    EXPECT_EQ(made, (Names{"CryptAcquireContextA", "CryptAcquireContextA", "CryptGenKey", "CryptGetUserKey"}))
        << "the container is made by the second try";
    EXPECT_EQ(calls.names().back(), "CryptReleaseContext");
}

TEST_F(Algorithms, WithASignatureKeyAloneVerifyButDontSign) {
    OwnedProvider provider;
    OwnedKey made;
    ASSERT_TRUE(CryptAcquireContextA(provider.receive(), "sign only", MS_ENHANCED_PROV_A, PROV_RSA_FULL,
                                     CRYPT_NEWKEYSET));
    ASSERT_TRUE(CryptGenKey(provider.get(), AT_SIGNATURE, CRYPT_EXPORTABLE | 512U << 16, made.receive()));
    OwnedHash hash;
    TVKBuffer signature;
    CapiManagerUtility::signInit(provider.get(), CALG_SHA1, hash.receive());
    CapiManagerUtility::signUpdate(hash.get(), buffer("x"), true);
    CapiManagerUtility::signFinal(hash.get(), signature, AT_SIGNATURE);
    CSPManager manager("", 1);
    std::unique_ptr<TVKKRYAlgorithmFactory> const factory(manager.getTVKKRYAlgorithmFactory());
    std::unique_ptr<TVKKeyItem> const item(
        CspManagerUtility::makeKeyItem(provider.get(), AT_SIGNATURE, true, nullptr));
    std::unique_ptr<TVKKRYVerificationAlgorithm> const verifier(
        factory->make_SHA1WithRSA_VerificationAlgorithm(item->getKey()));
    EXPECT_TRUE(verifier->verifyData(buffer("x").get(), CspManagerUtility::reverseEndian(signature).get()));
    std::unique_ptr<TVKKRYSignatureAlgorithm> const signer(
        factory->make_SHA1WithRSA_SignatureAlgorithm(item->getKey()));
    EXPECT_EQ(raisedBy([&] { signer->signData(buffer("x").get()); }), capi(kManagerUtility, 578015, ""));
}
