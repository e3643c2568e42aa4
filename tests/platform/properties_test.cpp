// Properties of certificates: what comes back, in what form, and who sees it.
#include "layer_fixture.h"

#include <cstddef>
#include <cstring>

using namespace layer_test;

namespace {

class Properties : public HoldingTest {
protected:
    void SetUp() override {
        store = openStore("MY");
        context = add(store, certificate(1));
        ASSERT_TRUE(context);
    }
};

TEST_F(Properties, AFriendlyNameComesBackByteForByte) {
    Bytes const rows[] = {
        {},                                        // empty is not absent
        {0, 0, 0, 0},                              // a lone terminator
        {'n', 0, 0, 0, 0xE9, 0, 0, 0, 0, 0, 0, 0}, // whole characters, stored as UTF-8
        {'n', 0, 0, 0, 0, 0},                      // no whole number of characters
        {0, 0xD8, 0, 0},                           // a lone surrogate
        {0xFF, 0xFF, 0xFF, 0xFF},                  // beyond Unicode
        {'\n', 0, 0, 0, 0, 0, 0, 0, 'x', 0, 0, 0}, // a line end and a zero inside
        Bytes(100'000, 0x41),
    };
    EXPECT_EQ(property(context.get(), CERT_FRIENDLY_NAME_PROP_ID), std::nullopt);
    for (Bytes bytes : rows) {
        SCOPED_TRACE(bytes.size());
        CRYPT_DATA_BLOB blob{sizeOf(bytes), bytes.data()};
        ASSERT_TRUE(CertSetCertificateContextProperty(context.get(), CERT_FRIENDLY_NAME_PROP_ID, 0, &blob));
        EXPECT_EQ(property(context.get(), CERT_FRIENDLY_NAME_PROP_ID), bytes);
        EXPECT_EQ(property(find(openStore("MY"), certificate(1)).get(), CERT_FRIENDLY_NAME_PROP_ID), bytes);
    }
    ASSERT_TRUE(CertSetCertificateContextProperty(context.get(), CERT_FRIENDLY_NAME_PROP_ID, 0, nullptr));
    EXPECT_EQ(property(context.get(), CERT_FRIENDLY_NAME_PROP_ID), std::nullopt);
}

TEST_F(Properties, AKeyReferenceComesInOneBlock) {
    std::wstring container = L"key \u00e9\n1";
    BYTE bytes[] = {1, 2, 3};
    CRYPT_KEY_PROV_PARAM parameters[] = {{7, bytes, 3, 9}, {8, nullptr, 0, 0}};
    CRYPT_KEY_PROV_INFO info{container.data(), nullptr, 1, 0x21, 2, parameters, 3};
    ASSERT_TRUE(CertSetCertificateContextProperty(context.get(), CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
    DWORD size = 0;
    ASSERT_TRUE(CertGetCertificateContextProperty(context.get(), CERT_KEY_PROV_INFO_PROP_ID, nullptr, &size));
    std::vector<std::max_align_t> room(size / sizeof(std::max_align_t) + 1);
    DWORD less = size - 1;
    EXPECT_EQ(errorOf(CertGetCertificateContextProperty, context.get(), CERT_KEY_PROV_INFO_PROP_ID,
                      room.data(), &less),
              DWORD{ERROR_MORE_DATA});
    EXPECT_EQ(less, size);
    ASSERT_TRUE(
        CertGetCertificateContextProperty(context.get(), CERT_KEY_PROV_INFO_PROP_ID, room.data(), &size));
    auto const& got = *reinterpret_cast<CRYPT_KEY_PROV_INFO const*>(room.data());
    EXPECT_EQ(got.pwszContainerName, container);
    EXPECT_EQ(got.pwszProvName, nullptr);
    EXPECT_EQ(got.dwFlags, 0x21u);
    EXPECT_EQ(got.dwKeySpec, 3u);
    ASSERT_EQ(got.cProvParam, 2u);
    EXPECT_EQ(got.rgProvParam[0].dwFlags, 9u);
    EXPECT_EQ(std::memcmp(got.rgProvParam[0].pbData, bytes, 3), 0);
    EXPECT_EQ(got.rgProvParam[1].dwParam, 8u);
}

TEST_F(Properties, ALivingContextSeesWhatOthersChange) {
    ContextHandle const other = find(openStore("MY"), certificate(1));
    ASSERT_TRUE(setFriendlyName(other.get(), L"by another context"));
    EXPECT_EQ(friendlyName(context.get()), L"by another context");
    ASSERT_TRUE(inChild([] {
        StoreHandle const own = openStore("MY");
        return setFriendlyName(find(own, certificate(1)).get(), L"by another process");
    }));
    EXPECT_EQ(friendlyName(context.get()), L"by another process");
    ASSERT_TRUE(CertDeleteCertificateFromStore(find(store, certificate(1)).release()));
    EXPECT_EQ(friendlyName(context.get()), L"by another process") << "as last read, once it is gone";
    EXPECT_FALSE(setFriendlyName(context.get(), L"nowhere"));
    EXPECT_EQ(GetLastError(), code(CRYPT_E_NOT_FOUND));
}

TEST_F(Properties, TheKeyContextOwnsItsProviderHandle) {
    auto const give = [&](PCCERT_CONTEXT to, HCRYPTPROV handle, DWORD flags = 0) {
        CERT_KEY_CONTEXT const keyContext{sizeof keyContext, {handle}, AT_KEYEXCHANGE};
        return CertSetCertificateContextProperty(to, CERT_KEY_CONTEXT_PROP_ID, flags, &keyContext);
    };
    auto const held = [&](PCCERT_CONTEXT by) {
        CERT_KEY_CONTEXT keyContext{};
        DWORD size = sizeof keyContext;
        CertGetCertificateContextProperty(by, CERT_KEY_CONTEXT_PROP_ID, &keyContext, &size);
        return keyContext.hCryptProv; // null without one
    };
    HCRYPTPROV const first = openContainer(nullptr).release();
    ASSERT_TRUE(give(context.get(), first));
    {
        ContextHandle const other = find(openStore("MY"), certificate(1));
        EXPECT_EQ(held(other.get()), first) << "every context of the certificate has it";
        HCRYPTPROV const second = openContainer(nullptr).release();
        ASSERT_TRUE(give(other.get(), second));
        EXPECT_EQ(errorOf(CryptReleaseContext, first, 0), DWORD{ERROR_INVALID_HANDLE}) << "the former went";
        EXPECT_EQ(held(context.get()), second);
    }
    EXPECT_EQ(errorOf([&] { return give(context.get(), first); }), DWORD{ERROR_INVALID_HANDLE});
    ProviderHandle const kept = openContainer(nullptr);
    ASSERT_TRUE(give(context.get(), kept.get(), CERT_STORE_NO_CRYPT_RELEASE_FLAG));
    EXPECT_FALSE(inChild([&] { return held(find(openStore("MY"), certificate(1)).get()) == 0; }))
        << "the child of a fork is the same program";
} // what is left goes with the context, and the handle that was lent stays

TEST_F(Properties, ComputedOnesAndTheirLengths) {
    BYTE room[64];
    std::tuple<DWORD, DWORD, DWORD, DWORD, char const*> const rows[] = {
        {CERT_SHA1_HASH_PROP_ID, 64, 0, 20, "thumbprint"},
        {CERT_SHA1_HASH_PROP_ID, 19, ERROR_MORE_DATA, 20, "too small tells the size"},
        {CERT_MD5_HASH_PROP_ID, 64, 0, 16, "digest"},
        {CERT_KEY_IDENTIFIER_PROP_ID, 64, 0, 20, "digest of the key bits"},
        {CERT_ACCESS_STATE_PROP_ID, 4, 0, 4, "access state"},
        {CERT_ACCESS_STATE_PROP_ID, 3, ERROR_MORE_DATA, 3, "its failure leaves the length word alone"},
        {CERT_KEY_CONTEXT_PROP_ID, 64, code(CRYPT_E_NOT_FOUND), 64, "absent"},
        {999, 64, code(CRYPT_E_NOT_FOUND), 64, "unknown"},
    };
    for (auto const& [id, given, error, expected, why] : rows) {
        SCOPED_TRACE(why);
        DWORD length = given;
        EXPECT_EQ(errorOf(CertGetCertificateContextProperty, context.get(), id, room, &length), error);
        EXPECT_EQ(length, expected);
    }
    for (DWORD const id : {3u, 4u, 14u, 20u, 999u})
        EXPECT_EQ(errorOf(CertSetCertificateContextProperty, context.get(), id, 0, room), code(E_INVALIDARG));
    ContextHandle const loose = contextOf(certificate(1));
    DWORD length = 4;
    EXPECT_EQ(
        errorOf(CertGetCertificateContextProperty, loose.get(), CERT_ACCESS_STATE_PROP_ID, room, &length),
        code(CRYPT_E_NOT_FOUND));
    EXPECT_EQ(length, 4u);
}

} // namespace
