// Hashes, signatures, encryption, random data, private keys in and out: against plain libcrypto.
#include "layer_fixture.h"

#include "support/libcrypto.h"

#include <openssl/rsa.h>

#include <algorithm>
#include <stdexcept>

using namespace layer_test;

namespace {

struct Import {
    char const* container = "imported";
    DWORD flags = CRYPT_EXPORTABLE;
    bool throws = false;
    int called = 0;
};

BOOL CALLBACK resolve(CRYPT_PRIVATE_KEY_INFO* info, HCRYPTPROV* provider, LPVOID parameter) {
    auto& import = *static_cast<Import*>(parameter);
    ++import.called;
    if (import.throws)
        throw std::runtime_error("the host's own");
    EXPECT_STREQ(info->Algorithm.pszObjId, szOID_RSA_RSA);
    return CryptAcquireContextA(provider, import.container, MS_ENHANCED_PROV_A, 1, CRYPT_NEWKEYSET);
}

DWORD import(Import& state, Bytes blob, ProviderHandle& result) {
    CRYPT_PKCS8_IMPORT_PARAMS params{};
    params.PrivateKey = {sizeOf(blob), blob.data()};
    params.pResolvehCryptProvFunc = resolve;
    params.pVoidResolveFunc = &state;
    result.reset();
    return errorOf(CryptImportPKCS8, params, state.flags, result.address(), nullptr);
}

DWORD exportKey(HCRYPTPROV provider, Bytes* blob) {
    char objectId[] = szOID_RSA_RSA;
    DWORD size = 0;
    DWORD const error = errorOf(CryptExportPKCS8, provider, 1u, objectId, 0, nullptr, nullptr, &size);
    if (error != 0 || blob == nullptr)
        return error;
    blob->resize(size);
    return errorOf(CryptExportPKCS8, provider, AT_KEYEXCHANGE, objectId, 0, nullptr, blob->data(), &size);
}

// A container with the shared key.
class Operations : public HoldingTest {
protected:
    void SetUp() override {
        Import state{"operations"};
        ASSERT_EQ(import(state, pair.privateKeyInfo(), provider), 0u);
    }
    HCRYPTKEY key() { return userKey(provider); }

    HCRYPTHASH hash(ALG_ID algorithm) {
        HCRYPTHASH handle = 0;
        EXPECT_TRUE(CryptCreateHash(provider.get(), algorithm, 0, 0, &handle));
        return handle;
    }

    Bytes sign(HCRYPTHASH handle) {
        DWORD size = 0;
        EXPECT_TRUE(CryptSignHashA(handle, AT_KEYEXCHANGE, nullptr, 0, nullptr, &size));
        Bytes signature(size);
        EXPECT_TRUE(CryptSignHashA(handle, AT_KEYEXCHANGE, nullptr, 0, signature.data(), &size));
        return signature;
    }

    TestKey const& pair = TestKey::shared(1024);
};

Bytes const message = {'t', 'h', 'e', ' ', 'm', 'e', 's', 's', 'a', 'g', 'e'};

TEST_F(Operations, ThePublicHalfComesOut) {
    DWORD size = 0;
    ASSERT_TRUE(CryptExportPublicKeyInfo(provider.get(), AT_KEYEXCHANGE, X509_ASN_ENCODING, nullptr, &size));
    std::vector<std::max_align_t> room(size / sizeof(std::max_align_t) + 1);
    auto* info = reinterpret_cast<PCERT_PUBLIC_KEY_INFO>(room.data());
    ASSERT_TRUE(CryptExportPublicKeyInfo(provider.get(), AT_KEYEXCHANGE, X509_ASN_ENCODING, info, &size));
    EXPECT_EQ(CertGetPublicKeyLength(X509_ASN_ENCODING, info), 1024u);
    Bytes encoded(512);
    DWORD length = 512;
    ASSERT_TRUE(CryptEncodeObject(X509_ASN_ENCODING, X509_PUBLIC_KEY_INFO, info, encoded.data(), &length));
    encoded.resize(length);
    EXPECT_EQ(encoded, pair.publicKeyInfo());
}

TEST_F(Operations, SignaturesAreThoseOfLibcryptoReversed) {
    std::pair<ALG_ID, EVP_MD const*> const rows[] = {
        {CALG_MD5, EVP_md5()},        {CALG_SHA1, EVP_sha1()},      {CALG_SSL3_SHAMD5, EVP_md5_sha1()},
        {CALG_SHA_256, EVP_sha256()}, {CALG_SHA_384, EVP_sha384()}, {CALG_SHA_512, EVP_sha512()}};
    for (auto const& [algorithm, digest] : rows) {
        SCOPED_TRACE(algorithm);
        HCRYPTHASH const handle = hash(algorithm);
        DWORD size = 0; // a size query doesn't finish the hash
        EXPECT_TRUE(CryptHashData(handle, message.data(), 3, 0));
        EXPECT_TRUE(CryptSignHashA(handle, AT_KEYEXCHANGE, nullptr, 0, nullptr, &size));
        EXPECT_TRUE(CryptHashData(handle, message.data() + 3, static_cast<DWORD>(message.size() - 3), 0));
        Bytes signature = sign(handle);
        EXPECT_EQ(errorOf(CryptHashData, handle, message.data(), 1, 0), code(NTE_BAD_HASH_STATE));
        EXPECT_TRUE(CryptVerifySignatureA(handle, signature.data(), size, key(), nullptr, 0));
        EXPECT_EQ(errorOf(CryptVerifySignatureA, handle, signature.data(), size - 1, key(), nullptr, 0),
                  code(NTE_BAD_SIGNATURE));
        std::reverse(signature.begin(), signature.end());
        EXPECT_EQ(signature, signatureOf(pair.get(), digest, message));
        EXPECT_EQ(errorOf(CryptVerifySignatureA, handle, signature.data(), size, key(), nullptr, 0),
                  code(NTE_BAD_SIGNATURE))
            << "most significant byte first";
    }
}

TEST_F(Operations, AReadyValueOf36BytesIsSignedAsTheOneThatIsComputed) {
    Bytes value(36);
    ASSERT_EQ(EVP_Digest(message.data(), message.size(), value.data(), nullptr, EVP_md5_sha1(), nullptr), 1);
    HCRYPTHASH const ready = hash(CALG_SSL3_SHAMD5);
    ASSERT_TRUE(CryptSetHashParam(ready, HP_HASHVAL, value.data(), 0));
    EXPECT_EQ(errorOf(CryptSetHashParam, ready, HP_HASHVAL, value.data(), 0), code(NTE_BAD_HASH_STATE));
    HCRYPTHASH const computed = hash(CALG_SSL3_SHAMD5);
    ASSERT_TRUE(CryptHashData(computed, message.data(), sizeOf(message), 0));
    EXPECT_EQ(sign(ready), sign(computed));
}

TEST_F(Operations, AShortKeySignsWhatFitsIt) {
    provider = newContainer("short", 512);
    EXPECT_EQ(sign(hash(CALG_SSL3_SHAMD5)).size(), 64u);
    BYTE made[64];
    DWORD size = sizeof made;
    EXPECT_EQ(errorOf(CryptSignHashA, hash(CALG_SHA_512), AT_KEYEXCHANGE, nullptr, 0, made, &size),
              code(NTE_BAD_LEN));
}

TEST_F(Operations, EncryptionIsOneBlock) {
    HCRYPTKEY const handle = key();
    for (std::size_t const length : {0u, 1u, 36u, 117u, 118u, 300u}) {
        SCOPED_TRACE(length);
        Bytes clear(length, 0x5A);
        DWORD size = static_cast<DWORD>(length);
        DWORD const error = errorOf(CryptEncrypt, handle, 0, TRUE, 0, nullptr, &size, size);
        if (length > 117) {
            // The size query refuses already: its answer would be less than the data that the caller copies.
            EXPECT_EQ(error, code(NTE_BAD_LEN));
            continue;
        }
        ASSERT_EQ(size, 128u);
        Bytes block = clear;
        block.resize(size);
        size = static_cast<DWORD>(length);
        EXPECT_EQ(errorOf(CryptEncrypt, handle, 0, TRUE, 0, block.data(), &size, 127), code(ERROR_MORE_DATA));
        size = static_cast<DWORD>(length);
        ASSERT_TRUE(CryptEncrypt(handle, 0, FALSE, 0, block.data(), &size, 128));
        DWORD clearSize = size;
        ASSERT_TRUE(CryptDecrypt(handle, 0, TRUE, 0, block.data(), &clearSize));
        EXPECT_EQ(Bytes(block.begin(), block.begin() + clearSize), clear);
    }
}

TEST_F(Operations, DecryptionOfWhatLibcryptoMadeAndOfRubbish) {
    HCRYPTKEY const handle = key();
    Bytes block = rsa(pair.get(), EVP_PKEY_encrypt_init, EVP_PKEY_encrypt, RSA_PKCS1_PADDING,
                      message); // with the padding that the layer takes off
    auto const decrypt = [&](Bytes data, BOOL final) {
        auto length = sizeOf(data);
        return errorOf(CryptDecrypt, handle, 0, final, 0, data.data(), &length);
    };
    EXPECT_EQ(decrypt(block, TRUE), code(NTE_BAD_DATA)) << "most significant byte first";
    std::reverse(block.begin(), block.end());
    EXPECT_EQ(decrypt({}, TRUE), code(NTE_BAD_DATA)) << "nothing came before";
    EXPECT_EQ(decrypt(block, FALSE), 0u);
    EXPECT_EQ(decrypt({}, TRUE), 0u) << "after a step that wasn't final";
    EXPECT_EQ(decrypt({}, TRUE), code(NTE_BAD_DATA)) << "and only once";
    EXPECT_EQ(decrypt(Bytes(127, 1), TRUE), code(NTE_BAD_DATA)) << "too short";
    EXPECT_EQ(decrypt(Bytes(128, 0xFF), TRUE), code(NTE_BAD_DATA)) << "above the modulus";
    block[0] ^= 1;
    EXPECT_EQ(decrypt(block, TRUE), code(NTE_BAD_DATA)) << "one bit";
}

// A block of the key's size, out of hexadecimal digits: `filler` between the ends as often as it takes.
Bytes blockOf(std::string const& start, std::string const& filler, std::string const& end) {
    std::string digits = start;
    while (digits.size() + end.size() < 256)
        digits += filler;
    return fromHex(digits + end);
}

TEST_F(Operations, OneEncodingIsASignatureAndNoOther) {
    std::string const value = "11F6AD8EC52A2984ABAAFD7C3B516503785C2072"; // SHA-1 of the letter x
    std::string const sha1 = "06052B0E03021A";
    std::string const good = "3021300906052B0E03021A05000414" + value;
    auto const padded = [](std::string const& info) { return blockOf("0001", "FF", "00" + info); };
    std::pair<char const*, Bytes> const rows[] = {
        {"no parameters", padded("301F3007" + sha1 + "0414" + value)},
        {"other parameters", padded("30213009" + sha1 + "04000414" + value)},
        {"parameters with content", padded("3022300A" + sha1 + "0501000414" + value)},
        {"a long length", padded("308121" + good.substr(4))},
        {"a long length with a zero", padded("30820021" + good.substr(4))},
        {"a long length inside", padded("3022308109" + sha1 + "05000414" + value)},
        {"a long length of NULL", padded("3022300A" + sha1 + "0581000414" + value)},
        {"a long length of the value", padded("30223009" + sha1 + "0500048114" + value)},
        {"no definite length", padded("3080" + good.substr(4) + "0000")},
        {"another algorithm", padded("3024300C06082A864886F70D020505000414" + value)},
        {"an unknown algorithm", padded("3021300906052B0E03021B05000414" + value)},
        {"a value that is cut", padded("30203009" + sha1 + "05000413" + value.substr(2))},
        {"an octet in the value", padded("30223009" + sha1 + "05000415" + value + "00")},
        {"an octet behind the value", padded("30223009" + sha1 + "05000414" + value + "00")},
        {"an octet behind it all", padded(good + "00")},
        {"no value", padded("300D3009" + sha1 + "05000400")},
        {"the value alone", padded(value)},
        {"rubbish behind a short padding", blockOf("0001FFFFFFFFFFFFFFFF00" + good, "AB", "")},
        {"no padding", blockOf("000100" + good, "00", "")},
        {"another octet in the padding", blockOf("0001FFFFFE", "FF", "00" + good)},
        {"no separator", blockOf("0001", "FF", good)},
        {"type 0", blockOf("0000", "00", "00" + good)},
        {"type 2", blockOf("0002", "FF", "00" + good)},
        {"a first octet that isn't 0", blockOf("0101", "FF", "00" + good)},
    };
    HCRYPTHASH const handle = hash(CALG_SHA1);
    BYTE const letter = 'x';
    ASSERT_TRUE(CryptHashData(handle, &letter, 1, 0));
    auto const verify = [&](Bytes const& signature) {
        auto const size = sizeOf(signature);
        return errorOf(CryptVerifySignatureA, handle, signature.data(), size, key(), nullptr, 0u);
    };
    auto const signatureWith = [&](Bytes const& block) {
        Bytes made = rsa(pair.get(), EVP_PKEY_sign_init, EVP_PKEY_sign, RSA_NO_PADDING, block);
        std::reverse(made.begin(), made.end());
        return made;
    };
    Bytes signature = signatureWith(padded(good));
    EXPECT_EQ(verify(signature), 0u);
    for (auto const& [why, block] : rows)
        EXPECT_EQ(verify(signatureWith(block)), code(NTE_BAD_SIGNATURE)) << why;
    signature.push_back(0);
    for (Bytes const& each : {signature, Bytes(1), Bytes(128), Bytes(128, 0xFF)})
        EXPECT_EQ(verify(each), code(NTE_BAD_SIGNATURE)) << each.size() << " octets";
}

TEST_F(Operations, EveryWrongPaddingIsTheSameError) {
    DWORD const wrong = code(NTE_BAD_DATA);
    std::tuple<char const*, Bytes, DWORD> const rows[] = {
        {"the shortest padding", blockOf("0002010203040506070800", "AB", ""), 0},
        {"no clear text", blockOf("0002", "11", "00"), 0},
        {"seven octets of padding", blockOf("00020102030405060700", "AB", ""), wrong},
        {"no padding", blockOf("000200", "AB", ""), wrong},
        {"no separator", blockOf("0002", "11", ""), wrong},
        {"type 0", blockOf("0000", "11", "00AB"), wrong},
        {"type 1", blockOf("0001", "FF", "00AB"), wrong},
        {"a first octet that isn't 0", blockOf("0102", "11", "00AB"), wrong},
        {"zeros", Bytes(128), wrong},
    };
    for (auto const& [why, clear, error] : rows) {
        Bytes block = rsa(pair.get(), EVP_PKEY_encrypt_init, EVP_PKEY_encrypt, RSA_NO_PADDING, clear);
        std::reverse(block.begin(), block.end());
        DWORD size = 128;
        EXPECT_EQ(errorOf(CryptDecrypt, key(), 0u, TRUE, 0u, block.data(), &size), error) << why;
    }
}

TEST_F(Operations, HandlesThatAreStaleForeignOrOfAnotherKind) {
    HCRYPTKEY const keyHandle = key();
    HCRYPTHASH const hashHandle = hash(CALG_SHA1);
    BYTE byte = 0;
    DWORD size = 1;
    HCRYPTPROV const released = openContainer("operations").release();
    ASSERT_TRUE(CryptReleaseContext(released, 0));
    const std::function<bool()> calls[] = {
        [&] { return CryptReleaseContext(released, 0); },
        [&] { return CryptReleaseContext(keyHandle, 0); },
        [&] { return CryptReleaseContext(0, 0); },
        [&] { return CryptReleaseContext(~HCRYPTPROV{0}, 0); },
        [&] { return CryptGenRandom(released, 1, &byte); },
        [&] { return CryptDestroyKey(hashHandle); },
        [&] { return CryptDestroyHash(keyHandle); },
        [&] { return CryptHashData(provider.get(), &byte, 1, 0); },
        [&] { return CryptEncrypt(hashHandle, 0, TRUE, 0, &byte, &size, 1); },
        [&] { return CertCloseStore(reinterpret_cast<HCERTSTORE>(provider.get()), 0); },
        [&] { return CertCloseStore(reinterpret_cast<HCERTSTORE>(keyHandle), 0); }};
    for (std::size_t i = 0; i < std::size(calls); ++i)
        EXPECT_EQ(errorOf(calls[i]), DWORD{ERROR_INVALID_HANDLE}) << "row " << i;
    provider.reset(); // ends its keys and hashes
    EXPECT_EQ(errorOf(CryptDestroyHash, hashHandle), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(errorOf(CryptDestroyKey, keyHandle), DWORD{ERROR_INVALID_HANDLE});
}

TEST_F(Operations, APrivateKeyComesBackAsItWentIn) {
    Bytes back;
    EXPECT_EQ(exportKey(provider.get(), &back), 0u);
    EXPECT_EQ(back, pair.privateKeyInfo());
    ProviderHandle imported;
    Import closed{"closed", 0};
    ASSERT_EQ(import(closed, back, imported), 0u);
    EXPECT_EQ(exportKey(imported.get(), nullptr), code(NTE_BAD_KEY_STATE)) << "at the size query";
}

TEST_F(Operations, HostileKeysAreRefusedBeforeTheCallback) {
    Bytes const good = TestKey::shared(512).privateKeyInfo();
    ProviderHandle imported;
    for (std::size_t length = 0; length < good.size(); ++length) {
        Import state;
        EXPECT_EQ(import(state, firstOf(good, length), imported), code(NTE_BAD_DATA)) << "cut at " << length;
        EXPECT_EQ(state.called, 0);
    }
    // Every value of the key depends on the others: a changed byte anywhere in them breaks a relation.
    for (std::size_t place = 40; place < good.size(); place += 7) {
        Bytes changed = good;
        changed[place] ^= 0x04;
        Import state;
        EXPECT_NE(import(state, changed, imported), 0u) << "changed at " << place;
        EXPECT_EQ(state.called, 0);
    }
}

TEST_F(Operations, TheCallbacksFailureIsTheCallers) {
    Bytes const blob = TestKey::shared(512).privateKeyInfo();
    ProviderHandle imported;
    Import throwing;
    throwing.throws = true;
    EXPECT_THROW(import(throwing, blob, imported), std::runtime_error);
    Import taken{"operations"};
    EXPECT_EQ(import(taken, blob, imported), code(NTE_EXISTS));
    EXPECT_FALSE(imported);
}

} // namespace
