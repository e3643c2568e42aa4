#include "cspmanager.h"
#include "cspmanagerutility.h"
#include "module_fixture.h"

#include <tvkcore/asn/tvkcapiasnkeyrecord.h>

#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <wincrypt_layer.h>

#include <algorithm>
#include <cstring>
#include <vector>

using namespace capi_tests;
using namespace test_support;

namespace {

using Keys = ModuleTest;

using Context = std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)>;

// libcrypto's side of the key of 1024 bits, after one of its init calls.
Context peer(int (*init)(EVP_PKEY_CTX*), EVP_MD const* digest = nullptr) {
    Context context(EVP_PKEY_CTX_new(TestKey::shared(1024).get(), nullptr), &EVP_PKEY_CTX_free);
    EXPECT_EQ(init(context.get()), 1);
    EXPECT_EQ(EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING), 1);
    if (digest != nullptr) {
        EXPECT_EQ(EVP_PKEY_CTX_set_signature_md(context.get(), digest), 1);
    }
    return context;
}

Bytes digestOf(std::string const& data, EVP_MD const* digest) {
    Bytes value(EVP_MAX_MD_SIZE);
    unsigned size = 0;
    EXPECT_EQ(EVP_Digest(data.data(), data.size(), value.data(), &size, digest, nullptr), 1);
    value.resize(size);
    return value;
}

Bytes reversed(Bytes bytes) {
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

Bytes bytesOf(TVKBuffer const& buffer) { return {buffer.getValue(), buffer.getValue() + buffer.getLength()}; }

CRYPT_KEY_PROV_INFO infoOf(TVKBuffer const& image) {
    CRYPT_KEY_PROV_INFO info{};
    EXPECT_EQ(image.getLength(), sizeof info);
    std::memcpy(&info, image.getValue(), std::min<std::size_t>(image.getLength(), sizeof info));
    return info;
}

TVKBuffer imageOf(CRYPT_KEY_PROV_INFO const& info) {
    return {sizeof info, reinterpret_cast<unsigned char const*>(&info)};
}

TVKCAPIASNKeyRecord recordOf(TVKKRYKey const& key) {
    EXPECT_EQ(key.getType(), TVKKRYKey::Private);
    EXPECT_EQ(key.getFormat(), TVKKRYKey::KeyRecord);
    EXPECT_EQ(key.getAlgorithm(), TVKKRYKey::RSA);
    return {key.getKeyBlob()};
}

// Whether the reference opens a key with this modulus.
void expectOpens(TVKBuffer const& reference, DWORD expectedSpec, TestKey const& expected) {
    OwnedProvider provider;
    OwnedKey key;
    DWORD keySpec = 0;
    CspManagerUtility::getCapiKeyProv(reference, provider.receive(), &keySpec, key.receive(), false);
    EXPECT_EQ(keySpec, expectedSpec);
    EXPECT_TRUE(key.isSet());
    std::unique_ptr<TVKKeyItem> const item(
        CspManagerUtility::makeKeyItem(provider.get(), keySpec, false, nullptr));
    EXPECT_EQ(bytesOf(item->getKey().getKeyBlob()), expected.publicKeyInfo());
}

} // namespace

TEST_F(Keys, AGeneratedKeyIsTheBytesOfItsHandle) {
    for (auto* const generate : {&CapiManagerUtility::generateKey, &CapiManagerUtility::generateKeyPair}) {
        OwnedProvider provider;
        ASSERT_TRUE(CapiManagerUtility::getCSPHandle(provider.receive(), "new", MS_ENHANCED_PROV_A, 1, 0));
        EXPECT_TRUE(containerExists("new")) << "made on the spot";
        TVKBuffer data(64, nullptr);
        EXPECT_TRUE(CapiManagerUtility::generateRandomData(provider.get(), data));
        EXPECT_NE(text(data).substr(32), std::string(32, '\0')) << "the whole buffer is filled";
        TVKBuffer handle = buffer("before");
        calls.forget();
        EXPECT_TRUE(generate(provider.get(), AT_KEYEXCHANGE, 0x02000001, handle));
        EXPECT_EQ(calls.arguments(CryptGenKey), std::vector<std::string>{"set, 1, 0x2000001, set"});
        OwnedKey key;
        ASSERT_EQ(handle.getLength(), sizeof(HCRYPTKEY));
        std::memcpy(key.receive(), handle.getValue(), sizeof(HCRYPTKEY));
        TVKBuffer bits;
        EXPECT_TRUE(CapiManagerUtility::getKeyParam(key.get(), KP_KEYLEN, bits));
        DWORD const expected = 512;
        EXPECT_EQ(bits.compare(TVKBuffer(4, reinterpret_cast<unsigned char const*>(&expected))), 0);
    }
}

TEST_F(Keys, SignaturesAreThoseOfLibcryptoReversed) {
    KeyWorld const world;
    for (auto const& [algorithm, digest] :
         {std::pair(CALG_MD5, EVP_md5()), std::pair(CALG_SHA1, EVP_sha1())}) {
        SCOPED_TRACE(algorithm);
        OwnedHash hash;
        EXPECT_TRUE(CapiManagerUtility::signInit(world.provider.get(), algorithm, hash.receive()));
        EXPECT_TRUE(CapiManagerUtility::signUpdate(hash.get(), buffer("two "), true));
        EXPECT_TRUE(CapiManagerUtility::signUpdate(hash.get(), buffer("pieces"), true));
        TVKBuffer signature;
        EXPECT_TRUE(CapiManagerUtility::signFinal(hash.get(), signature, AT_KEYEXCHANGE));
        Bytes const theirs = bytesOf(CspManagerUtility::reverseEndian(signature));
        Bytes const value = digestOf("two pieces", digest);
        EXPECT_EQ(EVP_PKEY_verify(peer(EVP_PKEY_verify_init, digest).get(), theirs.data(), theirs.size(),
                                  value.data(), value.size()),
                  1);

        OwnedHash check;
        EXPECT_TRUE(CapiManagerUtility::verifyInit(world.provider.get(), algorithm, check.receive()));
        EXPECT_TRUE(CapiManagerUtility::verifyUpdate(check.get(), buffer("two pieces")));
        EXPECT_TRUE(CapiManagerUtility::verifyFinal(check.get(), signature, world.key.get()));
    }
}

TEST_F(Keys, AFinishedHashIsPaddedToItsLengthAndSigned) {
    KeyWorld const world;
    for (std::size_t const given : {0U, 20U, 35U, 36U, 40U}) {
        SCOPED_TRACE(given);
        std::size_t const expected = std::max<std::size_t>(given, 36);
        OwnedHash hash;
        EXPECT_TRUE(CapiManagerUtility::signInit(world.provider.get(), CALG_SSL3_SHAMD5, hash.receive()));
        Bytes set;
        calls.answer(CryptSetHashParam,
                     [&](HCRYPTHASH handle, DWORD parameter, BYTE const* data, DWORD flags) {
                         EXPECT_EQ(parameter, 2U);
                         EXPECT_EQ(flags, 0U);
                         set.assign(data, data + expected); // a shorter array is an error of the sanitizers
                         return CryptSetHashParam(handle, parameter, data, flags);
                     });
        Bytes value(given, 0x5A);
        EXPECT_TRUE(CapiManagerUtility::signUpdate(hash.get(), buffer(value), false));
        value.resize(expected);
        EXPECT_EQ(set, value);
    }
    Bytes const value = digestOf("data", EVP_md5_sha1());
    OwnedHash hash;
    TVKBuffer signature;
    CapiManagerUtility::signInit(world.provider.get(), CALG_SSL3_SHAMD5, hash.receive());
    calls.reset();
    CapiManagerUtility::signUpdate(hash.get(), buffer(value), false);
    CapiManagerUtility::signFinal(hash.get(), signature, AT_KEYEXCHANGE);
    EXPECT_EQ(calls.arguments(CryptSignHashA),
              (std::vector<std::string>{"set, 1, 0, 0, 0, set", "set, 1, 0, 0, set, set"}));
    Bytes const theirs = reversed(bytesOf(signature));
    EXPECT_EQ(EVP_PKEY_verify(peer(EVP_PKEY_verify_init, EVP_md5_sha1()).get(), theirs.data(), theirs.size(),
                              value.data(), value.size()),
              1);
}

TEST_F(Keys, CiphertextsAreThoseOfLibcryptoReversed) {
    KeyWorld const world;
    for (std::string const& plain : {std::string("a secret"), std::string(), std::string(117, 'x')}) {
        SCOPED_TRACE(plain.size());
        TVKBuffer ours = buffer("before");
        EXPECT_TRUE(CapiManagerUtility::encryptFinal(world.key.get(), buffer(plain), ours));
        Bytes const block = reversed(bytesOf(ours));
        Bytes opened(128);
        std::size_t size = opened.size();
        EXPECT_EQ(EVP_PKEY_decrypt(peer(EVP_PKEY_decrypt_init).get(), opened.data(), &size, block.data(),
                                   block.size()),
                  1);
        opened.resize(size);
        EXPECT_EQ(std::string(opened.begin(), opened.end()), plain);

        Bytes theirs(128);
        size = theirs.size();
        EXPECT_EQ(EVP_PKEY_encrypt(peer(EVP_PKEY_encrypt_init).get(), theirs.data(), &size,
                                   reinterpret_cast<unsigned char const*>(plain.data()), plain.size()),
                  1);
        TVKBuffer const input = CspManagerUtility::reverseEndian(buffer(theirs));
        std::string const before = text(input);
        TVKBuffer result = buffer("before");
        EXPECT_TRUE(CapiManagerUtility::decryptFinal(world.key.get(), input, result));
        EXPECT_EQ(text(result), plain);
        if (!plain.empty()) {
            EXPECT_NE(text(input), before) << "decryption works in the input's storage";
        }
    }
    EXPECT_EQ(calls.arguments(CryptEncrypt).at(0), "set, 0, 1, 0, 0, set, 8") << "the size first";
    EXPECT_EQ(calls.arguments(CryptEncrypt).at(1), "set, 0, 1, 0, set, set, 0x80");
    EXPECT_EQ(calls.arguments(CryptDecrypt).at(0), "set, 0, 1, 0, set, set");
    TVKBuffer result;
    CapiManagerUtility::encryptUpdate(world.key.get(), buffer("data"), result, false);
    EXPECT_EQ(calls.arguments(CryptEncrypt).back(), "set, 0, 0, 0, set, set, 0x80") << "not final";
}

TEST_F(Keys, BytesAreReversed) {
    for (auto const& [given, expected] : {std::pair("", ""), std::pair("a", "a"), std::pair("abc", "cba")}) {
        TVKBuffer const reversedOnce = CspManagerUtility::reverseEndian(buffer(std::string(given)));
        EXPECT_EQ(text(reversedOnce), expected);
        EXPECT_EQ(text(CspManagerUtility::reverseEndian(reversedOnce)), given);
    }
}

TEST_F(Keys, ACertificateTellsWhetherItHasAKey) {
    for (auto const& [keySpec, expected] : {std::pair(1U, true), {2U, true}, {3U, false}}) {
        SCOPED_TRACE(keySpec);
        TVKBuffer image;
        {
            OwnedCertificate const cert = certificate("Alice");
            EXPECT_FALSE(CapiManagerUtility::isCertWithPrivateKey(cert.get(), image)) << "no property";
            EXPECT_EQ(image.getLength(), 0U);
            setKey(cert.get(), L"container \u00E4", keySpec);
            EXPECT_EQ(CapiManagerUtility::isCertWithPrivateKey(cert.get(), image), expected);
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
        return CspManagerUtility::getCapiKey(id, world.store.get(), provider.receive(), key.receive());
    };
    TVKBuffer id;
    {
        OwnedCertificate const other(
            CapiManagerUtility::getNextCertificateInStore(world.store.get(), nullptr));
        CspManagerUtility::getCertId(other.get(), id);
    }
    EXPECT_TRUE(opens(id)) << "also when the certificate that it was made from is closed";
    EXPECT_TRUE(provider.isSet() && key.isSet());
    calls.forget();
    EXPECT_FALSE(opens(TVKBuffer(sizeof(CERT_ID), nullptr)));
    EXPECT_FALSE(opens(TVKBuffer()));
    EXPECT_FALSE(opens(buffer(Bytes(sizeof(CERT_ID), 0x41)))) << "pointers that lead nowhere";
    EXPECT_EQ(calls.count(CertFindCertificateInStore), 0U) << "no image from outside is followed";
    CapiManagerUtility::deleteCertificate(world.cert.release());
    EXPECT_FALSE(opens(id)) << "no longer in the store";
}

TEST_F(Keys, AReferenceOpensItsKeyOrDeletesItsContainer) {
    KeyWorld world;
    expectOpens(world.reference, AT_KEYEXCHANGE, TestKey::shared(1024));
    world.key.reset(0);
    world.hash.reset(0);
    world.provider.reset(0);
    HCRYPTPROV provider = 0;
    DWORD keySpec = 77;
    HCRYPTKEY key = 78;
    CspManagerUtility::getCapiKeyProv(world.reference, &provider, &keySpec, &key, true);
    EXPECT_EQ(keySpec, 77U);
    EXPECT_EQ(key, 78U);
    EXPECT_EQ(calls.arguments(CryptAcquireContextA).back(),
              "set, \"keys\", \"" MS_ENHANCED_PROV_A "\", 1, 0x10");
    EXPECT_FALSE(containerExists("keys"));
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
        SetLastError(ERROR_BUSY);
        calls.forget();
        HCRYPTPROV opened = 7;
        HCRYPTKEY key = 7;
        DWORD keySpec = 7;
        EXPECT_EQ(raisedBy([&, &from = image] {
                      CspManagerUtility::getCapiKeyProv(from, &opened, &keySpec, &key, true);
                  }),
                  capi(kCspUtility, 578012, "CryptAcquireContext() return value rc=0x", 87));
        EXPECT_EQ(opened + key + keySpec, 21U);
        EXPECT_TRUE(calls.names().empty());
    }
    EXPECT_TRUE(containerExists("keys"));
}

TEST_F(Keys, RealKeyMaterialComesOutOfExportableKeysAlone) {
    KeyWorld const world;
    TVKBuffer material;
    EXPECT_TRUE(CspManagerUtility::convertRealKey(world.reference, material));
    EXPECT_EQ(bytesOf(material), TestKey::shared(1024).privateKeyInfo());
    EXPECT_EQ(calls.arguments(CryptExportPKCS8).size(), 2U);

    makeContainer("locked", TestKey::shared(1024), false);
    OwnedCertificate const cert = certificate("Bob");
    setKey(cert.get(), L"locked");
    TVKBuffer locked;
    ASSERT_TRUE(CapiManagerUtility::isCertWithPrivateKey(cert.get(), locked));
    auto const expectNone = [&](TVKBuffer const& reference, long error, unsigned nth) {
        SCOPED_TRACE(error);
        calls.reset();
        if (nth != 0) {
            calls.fail(CryptExportPKCS8, error, nth);
        }
        material = buffer("before");
        EXPECT_FALSE(CspManagerUtility::convertRealKey(reference, material));
        EXPECT_EQ(text(material), "before");
    };
    expectNone(locked, 0, 0);
    for (long const error : {NTE_BAD_KEY_STATE, NTE_BAD_KEY, NTE_BAD_TYPE}) {
        expectNone(world.reference, error, 1);
    }
    expectNone(world.reference, NTE_FAIL, 2); // after the size
}

TEST_F(Keys, APublicKeyItemHasTheSlotsKeyWhereItCanBeRead) {
    KeyWorld const world;
    std::size_t const open = WincryptLiveObjectCount();
    auto const expectKey = [&](PCCERT_CONTEXT cert, Bytes const& expected) {
        std::unique_ptr<TVKKeyItem> const item(
            CspManagerUtility::makeKeyItem(world.provider.get(), AT_KEYEXCHANGE, false, cert));
        TVKKRYKey const key = item->getKey();
        EXPECT_EQ(key.getType(), TVKKRYKey::Public);
        EXPECT_EQ(key.getFormat(), TVKKRYKey::SubjectPublicKeyInfo);
        EXPECT_EQ(key.getAlgorithm(), TVKKRYKey::RSA);
        EXPECT_EQ(bytesOf(key.getKeyBlob()), expected);
        EXPECT_EQ(item->getLabelAsString().view(), "keys");
        EXPECT_EQ(WincryptLiveObjectCount(), open) << "the key handle goes with the call";
        calls.reset();
    };
    expectKey(nullptr, TestKey::shared(1024).publicKeyInfo());
    expectKey(world.cert.get(), TestKey::shared(1024).publicKeyInfo()); // which plays no part
    for (unsigned nth = 1; nth <= 4; ++nth) {
        SCOPED_TRACE(nth);
        calls.fail(CryptExportPublicKeyInfo, NTE_FAIL, nth);
        expectKey(nullptr, Bytes());
    }
    for (unsigned nth = 1; nth <= 2; ++nth) {
        SCOPED_TRACE(nth);
        calls.fail(CryptEncodeObject, NTE_FAIL, nth);
        expectKey(nullptr, Bytes());
    }
    TVKBuffer info = buffer("before");
    EXPECT_FALSE(CapiManagerUtility::getPublicKeyInfo(world.provider.get(), AT_SIGNATURE, info))
        << "empty slot";
    EXPECT_EQ(text(info), "before");
}

TEST_F(Keys, AReferenceByContainerSays512AndOpens) {
    KeyWorld const world;
    std::unique_ptr<TVKKeyItem> const item(
        CspManagerUtility::makeKeyItem(world.provider.get(), AT_KEYEXCHANGE, true, nullptr));
    EXPECT_EQ(item->getLabelAsString().view(), "keys");
    TVKCAPIASNKeyRecord const record = recordOf(item->getKey());
    EXPECT_EQ(record.getProviderName().view(), MS_ENHANCED_PROV_A);
    EXPECT_EQ(record.getKeySize(), 512U);
    EXPECT_EQ(record.getSubject().getLength(), 0U);
    CRYPT_KEY_PROV_INFO const info = infoOf(record.getObjectId());
    EXPECT_EQ(info.dwFlags + info.cProvParam, 0U);
    EXPECT_EQ(info.rgProvParam, nullptr);
    expectOpens(record.getObjectId(), AT_KEYEXCHANGE, TestKey::shared(1024));
}

TEST_F(Keys, ReferencesByCertificateCarrySizeAndSubject) {
    KeyWorld const world;
    CERT_NAME_BLOB const& subject = world.cert.get()->pCertInfo->Subject;
    auto const expectCertificate = [&](TVKCAPIASNKeyRecord const& record) {
        EXPECT_EQ(record.getKeySize(), 1024U);
        CERT_NAME_BLOB image{};
        ASSERT_EQ(record.getSubject().getLength(), sizeof image);
        std::memcpy(&image, record.getSubject().getValue(), sizeof image);
        EXPECT_EQ(image.cbData, subject.cbData);
        EXPECT_EQ(image.pbData, subject.pbData);
    };
    std::unique_ptr<TVKKeyItem> const byProvider(
        CspManagerUtility::makeKeyItem(0, 0, true, world.cert.get()));
    TVKCAPIASNKeyRecord const record = recordOf(byProvider->getKey());
    expectCertificate(record);
    EXPECT_EQ(record.getProviderName().size(), 0U);
    EXPECT_EQ(byProvider->getLabelAsString().size(), 0U);
    EXPECT_EQ(record.getObjectId().compare(world.reference), 0);

    OwnedCertificate const keyless = certificate("Bob");
    std::unique_ptr<TVKKeyItem> const none(CspManagerUtility::makeKeyItem(0, 0, true, keyless.get()));
    EXPECT_EQ(recordOf(none->getKey()).getObjectId().getLength(), 0U) << "finds no key";

    CSPManager manager("Other", 2);
    std::unique_ptr<TVKKeyItem> const byId(CspManagerUtility::makeKeyItem(manager, world.cert.get()));
    TVKCAPIASNKeyRecord const idRecord = recordOf(byId->getKey());
    expectCertificate(idRecord);
    EXPECT_EQ(idRecord.getProviderName().view(), "Other");
    EXPECT_EQ(byId->getLabelAsString().view(), "cn=Alice##1##CN=Alice");
    TVKBuffer id;
    CspManagerUtility::getCertId(world.cert.get(), id);
    EXPECT_EQ(idRecord.getObjectId().compare(id), 0);
}

TEST_F(Keys, ItemsOfACertificateCarryItsBytesLabelAndKey) {
    KeyWorld const world;
    std::unique_ptr<TVKCertItem> const item(CspManagerUtility::makeCertItem(world.cert.get()));
    std::unique_ptr<TVKKeyCertItem> const pair(CspManagerUtility::makeKeyCertItem(world.cert.get()));
    TVKBuffer const der(world.cert.get()->cbCertEncoded, world.cert.get()->pbCertEncoded);
    EXPECT_EQ(item->getCertificateDER().compare(der) | pair->getCertificateDER().compare(der), 0);
    EXPECT_EQ(item->getLabelAsString().view(), "cn=Alice##1##CN=Alice");
    EXPECT_EQ(pair->getLabelAsString(), item->getLabelAsString());
    expectOpens(recordOf(pair->getKey()).getObjectId(), AT_KEYEXCHANGE, TestKey::shared(1024));
}

TEST_F(Keys, TextIsWidenedOrRefused) {
    struct Free {
        void operator()(wchar_t* text) const { ::operator delete(text); }
    };
    std::unique_ptr<wchar_t, Free> const wide(
        CapiManagerUtility::convertWildChar("\xD0\x96 \xF0\x9F\x94\x91"));
    EXPECT_STREQ(wide.get(), L"\u0416 \U0001F511");
    std::unique_ptr<wchar_t, Free> const empty(CapiManagerUtility::convertWildChar(""));
    EXPECT_STREQ(empty.get(), L"");
    for (TVKString const& bad : {TVKString("\xC3"), TVKString("\xED\xA0\x80"), TVKString("a\0b", 3)}) {
        EXPECT_EQ(raisedBy([&] { CapiManagerUtility::convertWildChar(bad); }).code, 571303);
    }
}
