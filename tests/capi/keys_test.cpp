#include "module_fixture.h"

#include <algorithm>
#include <cstring>

using namespace capi_tests;

namespace {

using Keys = ModuleTest;

TVKCAPIASNKeyRecord recordOf(TVKKRYKey const& key) {
    EXPECT_EQ(key.getType(), TVKKRYKey::Private);
    EXPECT_EQ(key.getFormat(), TVKKRYKey::KeyRecord);
    EXPECT_EQ(key.getAlgorithm(), TVKKRYKey::RSA);
    return {key.getKeyBlob()};
}

} // namespace

TEST_F(Keys, AGeneratedKeyIsTheBytesOfItsHandle) {
    OwnedProvider provider;
    ASSERT_TRUE(Capi::getCSPHandle(provider.receive(), "new", MS_ENHANCED_PROV_A, 1, 0));
    EXPECT_TRUE(containerExists("new")) << "made on the spot";
    TVKBuffer data(64, nullptr);
    EXPECT_TRUE(Capi::generateRandomData(provider.get(), data));
    EXPECT_NE(text(data).substr(32), std::string(32, '\0')) << "the whole buffer is filled";
    for (auto* const generate : {&Capi::generateKey, &Capi::generateKeyPair}) {
        TVKBuffer image;
        EXPECT_TRUE(generate(provider.get(), 1, 0x02000001, image));
        EXPECT_EQ(calls.arguments(CryptGenKey).back(), "set, 1, 2000001, set");
        HCRYPTKEY handle = 0;
        ASSERT_EQ(image.getLength(), sizeof handle);
        std::memcpy(&handle, image.getValue(), sizeof handle);
        EXPECT_TRUE(CryptDestroyKey(handle));
    }
}

TEST_F(Keys, SignaturesAskForTheSizeFirst) {
    KeyWorld const world;
    OwnedHash hash;
    EXPECT_TRUE(Capi::signInit(world.provider.get(), CALG_SHA1, hash.receive()));
    EXPECT_TRUE(Capi::signUpdate(hash.get(), buffer("two "), true));
    EXPECT_TRUE(Capi::signUpdate(hash.get(), buffer("pieces"), true));
    TVKBuffer signature;
    EXPECT_TRUE(Capi::signFinal(hash.get(), signature, AT_KEYEXCHANGE));
    EXPECT_EQ(calls.arguments(CryptSignHashA), (Names{"set, 1, 0, 0, 0, set", "set, 1, 0, 0, set, set"}));
    OwnedHash check;
    EXPECT_TRUE(Capi::verifyInit(world.provider.get(), CALG_SHA1, check.receive()));
    EXPECT_TRUE(Capi::verifyUpdate(check.get(), buffer("two pieces")));
    EXPECT_TRUE(Capi::verifyFinal(check.get(), signature, world.key.get()));
}

TEST_F(Keys, AFinishedHashIsPaddedToItsLength) {
    KeyWorld const world;
    for (std::size_t const given : {0U, 20U, 35U, 36U, 40U}) {
        SCOPED_TRACE(given);
        Bytes value(given, 0x5A);
        std::size_t const expected = std::max<std::size_t>(given, 36);
        Bytes set;
        calls.answer(CryptSetHashParam, [&](HCRYPTHASH, DWORD, BYTE const* data, DWORD) {
            set.assign(data, data + expected); // a shorter array is an error of the sanitizers
            return TRUE;
        });
        EXPECT_TRUE(Capi::signUpdate(world.hash.get(), buffer(value), false));
        value.resize(expected);
        EXPECT_EQ(set, value);
        EXPECT_EQ(calls.arguments(CryptSetHashParam).back(), "set, 2, set, 0");
    }
}

TEST_F(Keys, CiphertextsAskForTheSizeFirst) {
    KeyWorld const world;
    for (std::string const& plain : {std::string("a secret"), std::string(), std::string(117, 'x')}) {
        SCOPED_TRACE(plain.size());
        TVKBuffer cipher;
        EXPECT_TRUE(Capi::encryptFinal(world.key.get(), buffer(plain), cipher));
        TVKBuffer result;
        EXPECT_TRUE(Capi::decryptFinal(world.key.get(), cipher, result));
        EXPECT_EQ(text(result), plain);
        EXPECT_EQ(text(cipher).substr(0, plain.size()), plain) << "decryption works in the input's storage";
    }
    EXPECT_EQ(calls.arguments(CryptEncrypt).at(0), "set, 0, 1, 0, 0, set, 8") << "the size first";
    EXPECT_EQ(calls.arguments(CryptEncrypt).at(1), "set, 0, 1, 0, set, set, 80");
    TVKBuffer result;
    Capi::encryptUpdate(world.key.get(), buffer("data"), result, false);
    EXPECT_EQ(calls.arguments(CryptEncrypt).back(), "set, 0, 0, 0, set, set, 80") << "not final";
    Capi::decryptUpdate(world.key.get(), result, result, false);
    EXPECT_EQ(calls.arguments(CryptDecrypt).back(), "set, 0, 0, 0, set, set");
    EXPECT_EQ(calls.arguments(CryptDecrypt).at(0), "set, 0, 1, 0, set, set");
}

TEST_F(Keys, ACertificateTellsWhetherItHasAKey) {
    for (auto const& [keySpec, expected] : {std::pair(1U, true), {2U, true}, {3U, false}}) {
        SCOPED_TRACE(keySpec);
        TVKBuffer image;
        {
            OwnedCertificate const cert = certificate("Alice");
            EXPECT_FALSE(Capi::isCertWithPrivateKey(cert.get(), image)) << "no property";
            EXPECT_EQ(image.getLength(), 0U);
            setKey(cert.get(), L"container \u00E4", keySpec);
            EXPECT_EQ(Capi::isCertWithPrivateKey(cert.get(), image), expected);
        }
        CRYPT_KEY_PROV_INFO const info = infoOf(image); // the certificate is gone
        EXPECT_STREQ(info.pwszContainerName, L"container \u00E4");
        EXPECT_STREQ(info.pwszProvName, L"" MS_ENHANCED_PROV_A);
        EXPECT_EQ(info.dwKeySpec, keySpec);
        EXPECT_EQ(info.dwProvType, 1U);
        EXPECT_EQ(info.dwFlags, 0x40U);
    }
}

TEST_F(Keys, ACertificateIdentifierFindsItsKeyInTheStore) {
    KeyWorld world;
    OwnedProvider provider;
    OwnedKey key;
    auto const opens = [&](TVKBuffer const& id) {
        key.reset(0);
        provider.reset(0);
        return Csp::getCapiKey(id, world.store.get(), provider.receive(), key.receive());
    };
    TVKBuffer id;
    {
        OwnedCertificate const other(Capi::getNextCertificateInStore(world.store.get(), nullptr));
        Csp::getCertId(other.get(), id);
    }
    EXPECT_TRUE(opens(id)) << "also when the certificate that it was made from is closed";
    EXPECT_TRUE(provider.isSet() && key.isSet());
    calls.forget();
    EXPECT_FALSE(opens(buffer(Bytes(sizeof(CERT_ID), 0x41)))) << "pointers that lead nowhere";
    EXPECT_TRUE(calls.arguments(CertFindCertificateInStore).empty()) << "no image from outside is followed";
    Capi::deleteCertificate(world.cert.release());
    EXPECT_FALSE(opens(id)) << "no longer in the store";
}

TEST_F(Keys, AReferenceOpensItsKeyOrDeletesItsContainer) {
    TVKBuffer const reference = KeyWorld().reference;
    OwnedProvider provider;
    OwnedKey key;
    DWORD keySpec = 77;
    Csp::getCapiKeyProv(reference, provider.receive(), &keySpec, key.receive(), true);
    EXPECT_EQ(calls.arguments(CryptAcquireContextA).back(),
              "set, \"keys\", \"" MS_ENHANCED_PROV_A "\", 1, 10");
    EXPECT_TRUE(keySpec == 77 && !key.isSet()) << "left alone";
    provider.release(); // which the platform leaves undefined
    EXPECT_FALSE(containerExists("keys"));

    makeContainer("keys");
    Csp::getCapiKeyProv(reference, provider.receive(), &keySpec, key.receive(), false);
    EXPECT_EQ(keySpec, DWORD{AT_KEYEXCHANGE});
    EXPECT_TRUE(provider.isSet() && key.isSet());
}

TEST_F(Keys, AReferenceFromOutsideIsNotFollowed) {
    KeyWorld const world;
    std::wstring elsewhere = L"keys";
    CRYPT_KEY_PROV_INFO container = infoOf(world.reference);
    CRYPT_KEY_PROV_INFO provider = container;
    CRYPT_KEY_PROV_INFO inside = container;
    container.pwszContainerName = elsewhere.data();
    provider.pwszProvName = elsewhere.data();
    ++inside.pwszContainerName;
    std::string const whole = text(world.reference);
    std::pair<char const*, TVKBuffer> const rows[] = {
        {"empty", TVKBuffer()},
        {"one byte short", buffer(whole.substr(1))},
        {"one byte more", buffer(whole + 'x')},
        {"random bytes", buffer(std::string(whole.size(), '\x7E'))},
        {"no strings", imageOf(CRYPT_KEY_PROV_INFO{})},
        {"the container's name lies elsewhere", imageOf(container)},
        {"the provider's name lies elsewhere", imageOf(provider)},
        {"a pointer into a name", imageOf(inside)},
    };
    for (auto const& [why, image] : rows) {
        SCOPED_TRACE(why);
        calls.forget();
        HCRYPTPROV opened = 7;
        HCRYPTKEY key = 7;
        DWORD keySpec = 7;
        auto const open = [&, &from = image] { Csp::getCapiKeyProv(from, &opened, &keySpec, &key, true); };
        EXPECT_EQ(raisedBy(open), capi(kCspUtility, 578012, "CryptAcquireContext() return value rc=0x", 87));
        EXPECT_EQ(opened + key + keySpec, 21U);
        EXPECT_TRUE(calls.names().empty());
    }
    EXPECT_TRUE(containerExists("keys"));
}

TEST_F(Keys, RealKeyMaterialComesOutOfExportableKeysAlone) {
    KeyWorld const world;
    TVKBuffer material;
    EXPECT_TRUE(Csp::convertRealKey(world.reference, material));
    EXPECT_EQ(bytesOf(material), TestKey::shared(1024).privateKeyInfo());
    material = buffer("before");
    for (auto const& [error, nth] :
         {std::pair(NTE_BAD_KEY_STATE, 1U), {NTE_BAD_KEY, 1U}, {NTE_BAD_TYPE, 1U}, {NTE_FAIL, 2U}}) {
        SCOPED_TRACE(error);
        calls.fail(CryptExportPKCS8, error, nth);
        EXPECT_FALSE(Csp::convertRealKey(world.reference, material));
        EXPECT_EQ(text(material), "before");
    }
}

TEST_F(Keys, APublicKeyItemHasTheSlotsKeyWhereItCanBeRead) {
    KeyWorld const world;
    // Which call for the information fails, and which one for its encoding.
    std::pair<unsigned, unsigned> const rows[] = {{9, 9}, {1, 9}, {2, 9}, {3, 9}, {4, 9}, {9, 1}, {9, 2}};
    for (auto const& [noInfo, noEncoding] : rows) {
        SCOPED_TRACE(std::to_string(noInfo) + ' ' + std::to_string(noEncoding));
        calls.fail(CryptExportPublicKeyInfo, NTE_FAIL, noInfo);
        calls.fail(CryptEncodeObject, NTE_FAIL, noEncoding);
        // The certificate plays no part.
        auto const item = owned(Csp::makeKeyItem(world.provider.get(), 1, false, world.cert.get()));
        TVKKRYKey const key = item->getKey();
        EXPECT_EQ(key.getType(), TVKKRYKey::Public);
        EXPECT_EQ(key.getFormat(), TVKKRYKey::SubjectPublicKeyInfo);
        EXPECT_EQ(key.getAlgorithm(), TVKKRYKey::RSA);
        EXPECT_EQ(bytesOf(key.getKeyBlob()),
                  noInfo == noEncoding ? TestKey::shared(1024).publicKeyInfo() : Bytes());
        EXPECT_EQ(item->getLabelAsString().view(), "keys");
    }
}

TEST_F(Keys, ReferencesSayWhatTheyAreMadeFrom) {
    KeyWorld const world;
    CSPManager manager("Other", 2);
    OwnedCertificate const keyless = certificate("Bob");
    PCCERT_CONTEXT const alice = world.cert.get();
    HCRYPTPROV const provider = world.provider.get();
    TVKBuffer id;
    Csp::getCertId(alice, id);
    constexpr char standard[] = MS_ENHANCED_PROV_A;
    CRYPT_KEY_PROV_INFO info = infoOf(world.reference); // the names are kept once
    info.dwFlags = 0;
    TVKBuffer const container = imageOf(info);
    auto const subjectOf = [](PCCERT_CONTEXT cert) {
        CERT_NAME_BLOB image;
        std::memset(&image, 0, sizeof image);
        image.cbData = cert->pCertInfo->Subject.cbData;
        image.pbData = cert->pCertInfo->Subject.pbData;
        return imageOf(image);
    };
    TVKBuffer const subject = subjectOf(alice);
    TVKBuffer const other = subjectOf(keyless.get());
    constexpr char label[] = "cn=Alice##1##CN=Alice";
    TVKBuffer const none;
    std::tuple<TVKKeyItem*, char const*, char const*, unsigned, TVKBuffer, TVKBuffer> const rows[] = {
        {Csp::makeKeyItem(provider, 1, true, nullptr), standard, "keys", 512, container, none},
        {Csp::makeKeyItem(provider, 1, true, alice), standard, "keys", 1024, world.reference, subject},
        {Csp::makeKeyItem(0, 0, true, keyless.get()), "", "", 1024, none, other},
        {Csp::makeKeyItem(manager, alice), "Other", label, 1024, id, subject},
    };
    for (auto const& [made, providerName, labelled, bits, objectId, of] : rows) {
        SCOPED_TRACE(labelled + std::to_string(bits));
        auto const item = owned(made);
        TVKCAPIASNKeyRecord const record = recordOf(item->getKey());
        EXPECT_EQ(record.getProviderName().view(), providerName);
        EXPECT_EQ(item->getLabelAsString().view(), labelled);
        EXPECT_EQ(record.getKeySize(), bits);
        EXPECT_EQ(record.getObjectId().compare(objectId), 0);
        EXPECT_EQ(record.getSubject().compare(of), 0);
    }
    auto const item = owned(Csp::makeCertItem(alice));
    auto const pair = owned(Csp::makeKeyCertItem(alice));
    TVKBuffer const der = derOf(alice);
    EXPECT_EQ(item->getCertificateDER().compare(der) | pair->getCertificateDER().compare(der), 0);
    EXPECT_EQ(item->getLabelAsString().view(), label);
    EXPECT_EQ(pair->getLabelAsString().view(), label);
    EXPECT_EQ(recordOf(pair->getKey()).getObjectId().compare(world.reference), 0);
}

TEST_F(Keys, TextIsWidenedOrRefused) {
    for (auto const& [narrow, wide] :
         {std::pair("\xD0\x96 \xF0\x9F\x94\x91", L"\u0416 \U0001F511"), std::pair("", L"")}) {
        wchar_t* const made = Capi::convertWildChar(narrow);
        EXPECT_STREQ(made, wide);
        ::operator delete(made);
    }
    for (TVKString const& bad : {TVKString("\xC3"), TVKString("\xED\xA0\x80"), TVKString("a\0b", 3)})
        EXPECT_EQ(raisedBy([&] { Capi::convertWildChar(bad); }).code, 571303);
}
