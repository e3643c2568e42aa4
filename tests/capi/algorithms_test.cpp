#include "capikrydigestalgorithm.h"
#include "module_fixture.h"
#include "support/libcrypto.h"

#include <openssl/rsa.h>

using namespace capi_tests;

namespace {

using Algorithms = ModuleTest;

Bytes const data = {'d', 'a', 't', 'a'};

} // namespace

TEST_F(Algorithms, SignAsLibcryptoDoes) {
    for (unsigned const bits : {512U, 1024U, 2048U, 4096U}) {
        Factory const world(bits);
        for (bool const md5 : {true, false}) {
            SCOPED_TRACE(std::to_string(bits) + (md5 ? " MD5" : " SHA-1"));
            Bytes const expected =
                signatureOf(TestKey::shared(bits).get(), md5 ? EVP_md5() : EVP_sha1(), data);
            auto const signer =
                md5 ? owned(world.factory->make_MD5WithRSA_SignatureAlgorithm(world.key)) : world.signer();
            EXPECT_EQ(bytesOf(signer->signData(buffer(data).get())), expected);
            signer->signDataInit();
            signer->signDataUpdate(buffer("left over").get());
            signer->signDataInit();
            signer->signDataUpdate(buffer("da").get());
            signer->signDataUpdate(buffer("ta").get());
            EXPECT_EQ(bytesOf(signer->signDataFinal()), expected) << "in pieces, after an earlier Init";
        }
    }
}

TEST_F(Algorithms, RefuseEveryWrongSignature) {
    Factory const world;
    Bytes const good = bytesOf(world.signer()->signData(buffer(data).get()));
    EXPECT_TRUE(world.verifier()->verifyData(buffer(data).get(), buffer(good).get()));
    Bytes shorter = good;
    shorter.pop_back();
    Bytes oneBit = good;
    oneBit[64] ^= 1;
    TVKBuffer const foreign = Factory(512).signer()->signData(buffer(data).get());
    std::tuple<TVKBuffer, TVKBuffer, char const*> const rows[] = {
        {buffer("datb"), buffer(good), "other data"},
        {buffer(data), buffer(oneBit), "one bit"},
        {buffer(data), Csp::reverseEndian(buffer(good)), "byte order"},
        {buffer(data), buffer(shorter), "a byte less"},
        {buffer(data), foreign, "another key's"},
        {buffer(data), TVKBuffer(), "nothing"},
    };
    for (auto const& [message, wrong, why] : rows) {
        SCOPED_TRACE(why);
        auto const verify = [&, &m = message, &w = wrong] { world.verifier()->verifyData(m.get(), w.get()); };
        EXPECT_EQ(raisedBy(verify), capi(kManagerUtility, 578016, ""));
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

    // Of the length that the other direction signs.
    Bytes const plain(36, 'x');
    Bytes const cipher =
        rsa(TestKey::shared(1024).get(), EVP_PKEY_encrypt_init, EVP_PKEY_encrypt, RSA_PKCS1_PADDING, plain);
    EXPECT_EQ(bytesOf(world.decryptor()->decryptData(TVKASNCBuffer(cipher.data(), cipher.size()))), plain);
    EXPECT_EQ(bytesOf(world.decryptor()->decryptData(TVKASNCBuffer(cipher.data(), cipher.size()))), plain)
        << "the input is left as it is";

    // The three steps take and give the provider's byte order.
    TVKBuffer const reversed = Csp::reverseEndian(buffer(cipher));
    auto const steps = world.decryptor();
    steps->decryptDataInit();
    EXPECT_EQ(bytesOf(steps->decryptDataUpdate(reversed.get())), plain);

    // What is wrong with a block, the provider doesn't tell.
    EXPECT_EQ(raisedBy([&] { world.decryptor()->decryptData(reversed.get()); }).code, 578014);
}

TEST_F(Algorithms, SignAFinishedDigestOf36Bytes) {
    Factory const world;
    auto const encryptor = world.encryptor();
    Bytes const digest(36, 'd');
    calls.forget();
    TVKBuffer const made = encryptor->encryptData(buffer(digest).get());
    EXPECT_EQ(calls.arguments(CryptAcquireContextA).size(), 1U) << "handles of its own";
    EXPECT_EQ(calls.arguments(CryptEncrypt).size(), 0U);
    EXPECT_EQ(bytesOf(made),
              rsa(TestKey::shared(1024).get(), EVP_PKEY_sign_init, EVP_PKEY_sign, RSA_PKCS1_PADDING, digest));
}

TEST_F(Algorithms, OutliveWhatMadeThem) {
    Factory world;
    auto const signer = world.signer();
    auto const copy = owned(world.factory->duplicate());
    world.manager.reset();
    world.factory.reset();
    EXPECT_EQ(signer->signData(buffer("x").get()).getLength(), 128U);
    auto const random = owned(copy->make_Default_RandomDataGenAlgorithm(nullptr));
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
    std::pair<TVKKRYKey, char const*> const rows[] = {
        {privateKey(TVKKRYKey::PrivateKeyInfo, clear), "material"},
        {privateKey(TVKKRYKey::SubjectPublicKeyInfo, buffer(TestKey::shared(1024).publicKeyInfo())),
         "public"},
        {privateKey(TVKKRYKey::KeyRecord, TVKBuffer()), "an empty blob"},
        {privateKey(TVKKRYKey::KeyRecord, clear), "no key record"}};
    for (auto const& [key, why] : rows) {
        SCOPED_TRACE(why);
        EXPECT_EQ(world.factory->make_MD5WithRSA_SignatureAlgorithm(key), nullptr);
        EXPECT_EQ(world.factory->make_SHA1WithRSA_VerificationAlgorithm(key), nullptr);
        EXPECT_EQ(world.factory->make_RSAPKCS_EncryptionAlgorithm(key), nullptr);
        EXPECT_EQ(world.factory->make_RSAPKCS_DecryptionAlgorithm(key, nullptr), nullptr);
    }
    EXPECT_EQ(world.factory->make_MD5_DigestAlgorithm(), nullptr);
    EXPECT_EQ(world.factory->make_SHA1_DigestAlgorithm(), nullptr);
    EXPECT_EQ(world.factory->make_SHA256WithRSA_SignatureAlgorithm(world.key), nullptr);
}

TEST_F(Algorithms, FollowNoIdentifierFromOutside) {
    Factory const world;
    TVKCAPIASNKeyRecord const record("", buffer(Bytes(sizeof(CERT_ID), 0xAA)), 0, TVKBuffer());
    TVKKRYKey const foreign = privateKey(TVKKRYKey::KeyRecord, record.getBuffer());
    auto const signer = owned(world.factory->make_SHA1WithRSA_SignatureAlgorithm(foreign));
    EXPECT_EQ(raisedBy([&] { signer->signData(TVKASNCBuffer()); }), capi(kManagerUtility, 578015, ""));
}

TEST_F(Algorithms, ReachAKeyThroughItsCertificate) {
    KeyWorld const world;
    CSPManager manager("", 1);
    auto const factory = owned(manager.getTVKKRYAlgorithmFactory());
    auto const item = owned(Csp::makeKeyItem(manager, world.cert.get()));
    auto const signer = owned(factory->make_SHA1WithRSA_SignatureAlgorithm(item->getKey()));
    EXPECT_EQ(bytesOf(signer->signData(buffer(data).get())),
              signatureOf(TestKey::shared(1024).get(), EVP_sha1(), data));
}

TEST_F(Algorithms, MakeKeyPairsInContainersOfTheirOwn) {
    CSPManager manager("", 1);
    auto const factory = owned(manager.getTVKKRYAlgorithmFactory());
    std::tuple<unsigned, char const*, int> const rows[] = {{512, "set, 1, 2000001, set", 512},
                                                           {1024, "set, 1, 4000001, set", 1024},
                                                           {768, "set, 1, 1, set", 2048}};
    for (auto const& [asked, flags, bits] : rows) {
        SCOPED_TRACE(asked);
        auto const generator = owned(factory->make_RSA_PublicKeyGenAlgorithm(asked));
        calls.forget();
        TVKKRYKeyPair const pair = generator->generateKeyPair();
        EXPECT_EQ(calls.arguments(CryptGenKey), Names{flags});
        Bytes const der = bytesOf(pair.getPublicKey().getKeyBlob());
        unsigned char const* at = der.data();
        Owned<EVP_PKEY> const key(d2i_PUBKEY(nullptr, &at, static_cast<long>(der.size())));
        ASSERT_NE(key, nullptr);
        EXPECT_EQ(EVP_PKEY_get_bits(key.get()), bits);
        EXPECT_EQ(TVKCAPIASNKeyRecord(pair.getPrivateKey().getKeyBlob()).getKeySize(), 512U);
        auto const signer = owned(factory->make_SHA1WithRSA_SignatureAlgorithm(pair.getPrivateKey()));
        Bytes const info = rsa(key.get(), EVP_PKEY_verify_recover_init, EVP_PKEY_verify_recover,
                               RSA_PKCS1_PADDING, bytesOf(signer->signData(buffer(data).get())));
        EXPECT_EQ(info.size(), 35U) << "a DigestInfo of SHA-1";
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
    auto const generator = owned(world.factory->make_RSA_PublicKeyGenAlgorithm(512));
    TVKBuffer const message = buffer(data);
    auto const signer = world.signer();
    auto const verifier = world.verifier();
    auto const encryptor = world.encryptor();
    auto const decryptor = world.decryptor();
    TVKBuffer const signature = signer->signData(message.get());
    TVKBuffer const cipher = encryptor->encryptData(message.get());
    std::tuple<char const*, std::function<void()>, Names> const rows[] = {
        {"a second signature",
         [&] { signer->signData(message.get()); },
         {"CryptDestroyHash", "CryptReleaseContext", "CryptAcquireContextA", "CryptGetUserKey",
          "CryptCreateHash", "CryptDestroyKey", "CryptHashData", "CryptSignHashA", "CryptSignHashA"}},
        {"verification",
         [&] { verifier->verifyData(message.get(), signature.get()); },
         {"CryptAcquireContextA", "CryptGetUserKey", "CryptCreateHash", "CryptHashData",
          "CryptVerifySignatureA"}},
        {"a second encryption",
         [&] { encryptor->encryptData(message.get()); },
         {"CryptDestroyKey", "CryptReleaseContext", "CryptAcquireContextA", "CryptGetUserKey", "CryptEncrypt",
          "CryptEncrypt"}},
        {"a decryption",
         [&] { decryptor->decryptData(cipher.get()); },
         {"CryptAcquireContextA", "CryptGetUserKey", "CryptDecrypt"}},
    };
    for (auto const& [operation, run, names] : rows) {
        calls.forget();
        run();
        EXPECT_EQ(calls.names(), names) << operation;
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
    Capi::signInit(provider.get(), CALG_SHA1, hash.receive());
    Capi::signUpdate(hash.get(), buffer("x"), true);
    Capi::signFinal(hash.get(), signature, AT_SIGNATURE);
    CSPManager manager("", 1);
    auto const factory = owned(manager.getTVKKRYAlgorithmFactory());
    auto const item = owned(Csp::makeKeyItem(provider.get(), AT_SIGNATURE, true, nullptr));
    auto const verifier = owned(factory->make_SHA1WithRSA_VerificationAlgorithm(item->getKey()));
    EXPECT_TRUE(verifier->verifyData(buffer("x").get(), Csp::reverseEndian(signature).get()));
    auto const signer = owned(factory->make_SHA1WithRSA_SignatureAlgorithm(item->getKey()));
    EXPECT_EQ(raisedBy([&] { signer->signData(buffer("x").get()); }), capi(kManagerUtility, 578015, ""));
}
