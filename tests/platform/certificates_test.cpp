// Certificates as structures: fields, names, keys, self-signed ones; and the version query.
#include "layer_fixture.h"

#include "support/libcrypto.h"

#include <algorithm>

using namespace layer_test;

namespace {

class Certificates : public LayerTest {};

std::string nameOf(PCCERT_CONTEXT context, DWORD type = CERT_NAME_SIMPLE_DISPLAY_TYPE, DWORD flags = 0) {
    std::string text(CertGetNameStringA(context, type, flags, nullptr, nullptr, 0), '\0');
    EXPECT_EQ(CertGetNameStringA(context, type, flags, nullptr, text.data(), static_cast<DWORD>(text.size())),
              text.size());
    EXPECT_EQ(text.back(), '\0');
    text.pop_back();
    return text;
}

TEST_F(Certificates, FieldsAgreeWithLibcryptoForEveryRootOfTheMachine) {
    for (Bytes const& encoding : readTrustBundle()) {
        ContextHandle const context = contextOf(encoding);
        ASSERT_TRUE(context);
        CERT_INFO const& info = *context.get()->pCertInfo;
        auto const x509 = decodeCertificate(encoding);
        EXPECT_EQ(info.dwVersion, static_cast<DWORD>(X509_get_version(x509.get())));
        ASN1_INTEGER const* serial = X509_get0_serialNumber(x509.get());
        Bytes number(info.SerialNumber.pbData, info.SerialNumber.pbData + info.SerialNumber.cbData);
        while (number.size() > 1 && number.back() == 0)
            number.pop_back();
        std::reverse(number.begin(), number.end());
        EXPECT_EQ(number,
                  Bytes(ASN1_STRING_get0_data(serial), ASN1_STRING_get0_data(serial) + serial->length));
        char objectId[80];
        OBJ_obj2txt(objectId, sizeof objectId, X509_get0_tbs_sigalg(x509.get())->algorithm, 1);
        EXPECT_STREQ(info.SignatureAlgorithm.pszObjId, objectId);
        ASSERT_EQ(info.cExtension, static_cast<DWORD>(X509_get_ext_count(x509.get())));
        for (DWORD i = 0; i < info.cExtension; ++i) {
            X509_EXTENSION* extension = X509_get_ext(x509.get(), static_cast<int>(i));
            OBJ_obj2txt(objectId, sizeof objectId, X509_EXTENSION_get_object(extension), 1);
            EXPECT_STREQ(info.rgExtension[i].pszObjId, objectId);
            EXPECT_EQ(info.rgExtension[i].fCritical, X509_EXTENSION_get_critical(extension));
            EXPECT_EQ(info.rgExtension[i].Value.cbData,
                      static_cast<DWORD>(ASN1_STRING_length(X509_EXTENSION_get_data(extension))));
        }
        ASN1_TIME* const epoch = ASN1_TIME_set(nullptr, 0);
        int days = 0;
        int seconds = 0;
        ASSERT_EQ(ASN1_TIME_diff(&days, &seconds, epoch, X509_get0_notAfter(x509.get())), 1);
        ASN1_TIME_free(epoch);
        auto const ticks =
            static_cast<std::uint64_t>(info.NotAfter.dwHighDateTime) << 32 | info.NotAfter.dwLowDateTime;
        EXPECT_EQ(static_cast<std::int64_t>(ticks / 10'000'000) - 11'644'473'600,
                  days * std::int64_t{86400} + seconds);
        EXPECT_EQ(CertGetPublicKeyLength(X509_ASN_ENCODING, &context.get()->pCertInfo->SubjectPublicKeyInfo),
                  static_cast<DWORD>(EVP_PKEY_get_bits(X509_get0_pubkey(x509.get()))));
    }
}

TEST_F(Certificates, EveryPrefixIsRefused) {
    Bytes const& whole = certificate(1);
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_FALSE(contextOf(firstOf(whole, length))) << length;
}

TEST_F(Certificates, WhatTheToolkitCouldntReadIsRefused) {
    std::tuple<char const*, char const*, char const*> const rows[] = {
        {"3111300F", "7A11300F", "a name that is no list of sets"},
        {"300F0603550403", "310F0603550403", "an attribute that is no sequence"},
        {"0603550403", "0603800403", "an arc with a superfluous octet"},
        {"0C08506572736F6E", "2C08506572736F6E", "a string in pieces"},
        {"06092A864886F70D01010B0500", "06072A864886F70D0105000500", "parameters twice"},
        {"170D3233", "130D3233", "a time that is a text"},
    };
    for (auto const& [good, bad, why] : rows) {
        Bytes changed = certificate(1);
        Bytes const part = fromHex(good);
        Bytes const other = fromHex(bad);
        auto const place = std::search(changed.begin(), changed.end(), part.begin(), part.end());
        ASSERT_NE(place, changed.end()) << why;
        std::copy(other.begin(), other.end(), place);
        EXPECT_FALSE(contextOf(changed)) << why;
    }
}

ContextHandle certified(Name const& subject) {
    CertificateFields const fields{.subject = subject, .issuer = commonName("Issuer")};
    return contextOf(makeCertificate(fields, TestKey::shared(1024)));
}

TEST_F(Certificates, DisplayNames) {
    using enum NameText;
    std::tuple<Name, std::string, char const*> const rows[] = {
        {{{"O", "Company"}, {"OU", "Unit"}, {"CN", "Alice"}}, "Alice", "the common name first"},
        {{{"O", "Company"}, {"OU", "Unit"}}, "Unit", "then the unit"},
        {{{"emailAddress", "a@b", Ia5}, {"O", "Company"}}, "Company", "then the organization"},
        {{{"C", "DE", Printable}, {"emailAddress", "a@b", Ia5}}, "a@b", "then the address"},
        {{{"C", "DE", Printable}, {"L", "Town"}}, "DE", "else the first"},
        {{}, "", "no name at all"},
        {{{"CN", "J\xC3\xBCrgen"}}, "J\xC3\xBCrgen", "UTF8String"},
        {{{"CN", "J\xFCrgen", Teletex}}, "J\xC3\xBCrgen", "T61String"},
        {{{"CN", std::string("\0J\0\xFC", 4), Bmp}}, "J\xC3\xBC", "BMPString"},
        {{{"CN", std::string("good\0.bad", 9)}}, "good\xEF\xBF\xBD.bad", "a zero doesn't end the name"},
    };
    for (auto const& [subject, expected, why] : rows) {
        SCOPED_TRACE(why);
        ContextHandle const context = certified(subject);
        ASSERT_TRUE(context);
        EXPECT_EQ(nameOf(context.get()), expected);
        EXPECT_EQ(nameOf(context.get(), CERT_NAME_SIMPLE_DISPLAY_TYPE, CERT_NAME_ISSUER_FLAG), "Issuer");
    }
    ContextHandle const context = certified(commonName("ab\xC3\xBC"));
    char small[4];
    EXPECT_EQ(CertGetNameStringA(context.get(), CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, small, 4), 3u);
    EXPECT_STREQ(small, "ab") << "cut before the character that doesn't fit";
    ASSERT_TRUE(setFriendlyName(context.get(), L"called"));
    EXPECT_EQ(nameOf(context.get(), CERT_NAME_FRIENDLY_DISPLAY_TYPE), "called");
}

class SelfSigned : public LayerTest {
protected:
    ContextHandle create(CRYPT_ALGORITHM_IDENTIFIER* algorithm = nullptr, SYSTEMTIME* end = nullptr) {
        CERT_NAME_BLOB blob{sizeOf(subject), subject.data()};
        return ContextHandle(
            CertCreateSelfSignCertificate(0, &blob, 0, &info, algorithm, nullptr, end, nullptr));
    }

    std::wstring container = L"self";
    std::wstring providerName = L"" MS_ENHANCED_PROV_A;
    CRYPT_KEY_PROV_INFO info{container.data(), providerName.data(), PROV_RSA_FULL, 0, 0,
                             nullptr,          AT_KEYEXCHANGE};
    Bytes subject = {0x30, 0x0C, 0x31, 0x0A, 0x30, 0x08, 0x06, 0x03, 0x55, 0x04, 0x03, 0x0C, 0x01, 'A'};
};

TEST_F(SelfSigned, SignedAsAskedByAKeyThatStaysInside) {
    std::pair<char const*, int> const rows[] = {{nullptr, NID_sha256WithRSAEncryption},
                                                {szOID_RSA_MD5RSA, NID_md5WithRSAEncryption},
                                                {szOID_RSA_SHA1RSA, NID_sha1WithRSAEncryption}};
    for (auto const& [objectId, expected] : rows) {
        CRYPT_ALGORITHM_IDENTIFIER algorithm{const_cast<LPSTR>(objectId), {}};
        SYSTEMTIME end{2055, 2, 0, 28, 23, 59, 58, 0};
        ContextHandle const context = create(&algorithm, &end);
        ASSERT_TRUE(context) << GetLastError();
        auto const x509 = decodeCertificate(encodingOf(context.get()));
        EXPECT_EQ(X509_get_signature_nid(x509.get()), expected);
        EXPECT_EQ(X509_verify(x509.get(), X509_get0_pubkey(x509.get())), 1);
        EXPECT_EQ(EVP_PKEY_get_bits(X509_get0_pubkey(x509.get())), 2048);
        EXPECT_EQ(context.get()->pCertInfo->SerialNumber.cbData, 16u);
        std::tm notAfter{};
        ASSERT_EQ(ASN1_TIME_to_tm(X509_get0_notAfter(x509.get()), &notAfter), 1);
        EXPECT_EQ(notAfter.tm_year, 155);

        ProviderHandle opened;
        DWORD keySpec = 0;
        BOOL callerFrees = FALSE;
        ASSERT_TRUE(CryptAcquireCertificatePrivateKey(context.get(), CRYPT_ACQUIRE_COMPARE_KEY_FLAG, nullptr,
                                                      opened.address(), &keySpec, &callerFrees));
        EXPECT_EQ(keySpec, DWORD{AT_KEYEXCHANGE});
        EXPECT_TRUE(callerFrees);
        char rsa[] = szOID_RSA_RSA;
        DWORD size = 0;
        EXPECT_EQ(errorOf(CryptExportPKCS8, opened.get(), keySpec, rsa, 0, nullptr, nullptr, &size),
                  code(NTE_BAD_KEY_STATE));
    }
}

TEST_F(SelfSigned, WhatCantBeSignedMakesNoKey) {
    CRYPT_ALGORITHM_IDENTIFIER unknown{const_cast<LPSTR>("1.2.3"), {}};
    SYSTEMTIME never{2024, 2, 0, 30, 0, 0, 0, 0};
    SYSTEMTIME past{1999, 1, 0, 1, 0, 0, 0, 0};
    EXPECT_EQ(errorOf([&] { return create(&unknown); }), code(NTE_BAD_ALGID));
    EXPECT_EQ(errorOf([&] { return create(nullptr, &never); }), DWORD{ERROR_INVALID_PARAMETER});
    Bytes const good = subject;
    for (std::size_t length = 0; length < good.size(); ++length) {
        subject = firstOf(good, length);
        EXPECT_EQ(errorOf([&] { return create(); }), code(CRYPT_E_INVALID_X500_STRING)) << length;
    }
    EXPECT_FALSE(std::filesystem::exists(userDatabase()));
    subject = good;
    EXPECT_TRUE(create(nullptr, &past)) << "an end before the start is the caller's business";
}

TEST_F(SelfSigned, TheWayToTheKeyOfACertificate) {
    ContextHandle const context = contextOf(certificate(1));
    ProviderHandle opened;
    auto const acquire = [&](DWORD flags) {
        opened.reset();
        return errorOf(CryptAcquireCertificatePrivateKey, context.get(), flags, nullptr, opened.address(),
                       nullptr, nullptr);
    };
    EXPECT_EQ(acquire(0), code(CRYPT_E_NO_KEY_PROPERTY));
    ASSERT_TRUE(setKeyInfo(context.get(), L"gone"));
    EXPECT_EQ(acquire(0), code(NTE_BAD_KEYSET));
    EXPECT_EQ(acquire(0), code(NTE_BAD_KEYSET)) << "and nothing was made";
    newContainer("gone", 512);
    EXPECT_EQ(acquire(0), 0u);
    EXPECT_EQ(acquire(CRYPT_ACQUIRE_COMPARE_KEY_FLAG), code(NTE_BAD_PUBLIC_KEY));
}

TEST(Version, TheSystemComparesAs10WithoutServicePack) {
    constexpr BYTE atLeast = VER_GREATER_EQUAL;
    std::tuple<DWORD, DWORD, WORD, BYTE, BOOL> const rows[] = {
        {5, 0, 2, atLeast, TRUE}, // the later numbers don't count
        {10, 0, 0, VER_EQUAL, TRUE},      {10, 0, 1, atLeast, FALSE},   {11, 0, 0, atLeast, FALSE},
        {10, 1, 0, VER_LESS_EQUAL, TRUE}, {9, 9, 9, VER_GREATER, TRUE}, {9, 9, 9, VER_LESS, FALSE},
    };
    for (auto const& [major, minor, servicePack, condition, expected] : rows) {
        SCOPED_TRACE(std::to_string(major) + '.' + std::to_string(minor));
        OSVERSIONINFOEXA wanted{};
        wanted.dwOSVersionInfoSize = sizeof wanted;
        wanted.dwMajorVersion = major;
        wanted.dwMinorVersion = minor;
        wanted.wServicePackMajor = servicePack;
        ULONGLONG mask = 0;
        for (DWORD const field : {VER_MAJORVERSION, VER_MINORVERSION, VER_SERVICEPACKMAJOR})
            mask = VerSetConditionMask(mask, field, condition);
        constexpr DWORD fields = VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR;
        EXPECT_EQ(VerifyVersionInfoA(&wanted, fields, mask), expected);
    }
}

} // namespace
