#include "cspmanagerutility.h"
#include "module_fixture.h"

#include <tvkcore/base/tvkexception.h>
#include <tvkcore/kry/tvkkryutility.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <vector>

using namespace capi_tests;
using namespace test_support;

namespace {

using Labels = ModuleTest;

std::string labelOf(PCCERT_CONTEXT cert) {
    TVKBuffer label = buffer("before");
    EXPECT_TRUE(CspManagerUtility::makeCertLabel(cert, label));
    return text(label);
}

// The friendly name as these bytes, whatever the store would take.
void showFriendlyName(PlatformCalls& calls, std::wstring const& name, std::size_t bytes) {
    calls.answer(CertGetCertificateContextProperty,
                 [=](PCCERT_CONTEXT, DWORD id, void* data, DWORD* size) -> BOOL {
                     EXPECT_EQ(id, 11U);
                     if (data != nullptr) {
                         std::memcpy(data, name.c_str(), bytes);
                     }
                     *size = static_cast<DWORD>(bytes);
                     return TRUE;
                 });
}

// Random data that are always the same, and the seed that they were asked for with.
class FixedFactory : public TVKKRYAlgorithmFactory {
public:
    FixedFactory(TVKBuffer const& bytes, TVKBuffer& seed) : m_bytes(bytes), m_seed(seed) {}
    TVKKRYAlgorithmFactory* duplicate() const override { return new FixedFactory(m_bytes, m_seed); }
    TVKKRYRandomDataGenAlgorithm*
    make_Default_RandomDataGenAlgorithm(TVKASNCBuffer const* seed) const override {
        class Fixed : public TVKKRYRandomDataGenAlgorithm {
        public:
            explicit Fixed(TVKBuffer const& bytes) : m_bytes(bytes) {}
            TVKBuffer generateRandomData(unsigned int) override { return m_bytes; }
            void updateSeed(TVKASNCBuffer const&) override {}

        private:
            TVKBuffer m_bytes;
        };
        m_seed = TVKBuffer(*seed);
        return new Fixed(m_bytes);
    }

private:
    TVKBuffer m_bytes;
    TVKBuffer& m_seed;
};

} // namespace

TEST_F(Labels, NameSerialNumberAndIssuer) {
    struct Row {
        char const* why;
        CertificateFields fields;
        std::optional<std::wstring> friendlyName;
        std::string expected;
    };
    Name const person = {{.type = "C", .value = "AT", .text = NameText::Printable},
                         {.type = "O", .value = "Works"},
                         {.type = "CN", .value = "Zo\xC3\xAB"}};
    std::string longSerial = "7f";
    for (int i = 0; i < 59; ++i) {
        longSerial += ":7f";
    }
    Row const rows[] = {
        {"display name",
         {.subject = commonName("Alice"), .issuer = commonName("Test"), .serial = {1, 10, 255}},
         std::nullopt,
         "cn=Alice##1:a:ff##CN=Test"},
        {"friendly name", {}, L"Work key", "Work key##1##CN=Test"},
        {"an empty friendly name is a name", {}, L"", "##1##CN=Test"},
        {"beyond ASCII", {.subject = person}, std::nullopt, "cn=Zo\xC3\xAB##1##CN=Zo\xC3\xAB,O=Works,C=AT"},
        {"friendly name beyond the basic plane",
         {},
         L"\u0416\U0001F511",
         "\xD0\x96\xF0\x9F\x94\x91##1##CN=Test"},
        {"no name at all",
         {.subject = Name{}, .issuer = commonName("Test")},
         std::nullopt,
         "cn=##1##CN=Test"},
        {"issuer without a name", {.subject = commonName("A"), .issuer = Name{}}, std::nullopt, "cn=A##1##"},
        {"the octet before a high bit", {.serial = {0xC3}}, std::nullopt, "cn=Test##0:c3##CN=Test"},
        {"no leading zeros", {.serial = {0x0A, 0x01}}, std::nullopt, "cn=Test##a:1##CN=Test"},
        {"60 octets", {.serial = Bytes(60, 0x7F)}, std::nullopt, "cn=Test##" + longSerial + "##CN=Test"},
    };
    OwnedStore const store = memoryStore();
    for (Row const& row : rows) {
        SCOPED_TRACE(row.why);
        OwnedCertificate const cert = certificate(row.fields, store.get());
        if (row.friendlyName) {
            setFriendlyName(cert.get(), *row.friendlyName);
        }
        EXPECT_EQ(labelOf(cert.get()), row.expected);
        TVKBuffer serial = buffer("before");
        EXPECT_TRUE(CspManagerUtility::getCertSeriaNumber(cert.get(), serial));
        EXPECT_EQ(text(serial), row.expected.substr(row.expected.find("##") + 2));
    }
}

TEST_F(Labels, OddFriendlyNamesStillMakeALabel) {
    OwnedCertificate const cert = certificate(CertificateFields{});
    struct Row {
        char const* why;
        std::wstring name;
        std::size_t bytes;
        std::string expected;
    };
    constexpr std::size_t wide = sizeof(wchar_t);
    auto const lone = static_cast<wchar_t>(0xD800);
    Row const rows[] = {
        {"a character without a narrow form", {L'a', lone, L'\u00E4'}, 4 * wide, "a\xEF\xBF\xBD\xC3\xA4"},
        {"no terminator", L"abc", 2 * wide, "ab"},
        {"a part of a character", L"abc", 2 * wide + 1, "ab"},
        {"text behind the terminator", {L'a', L'\0', L'b'}, 4 * wide, "a"},
        {"no bytes", L"", 0, ""},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.why);
        showFriendlyName(calls, row.name, row.bytes);
        EXPECT_EQ(labelOf(cert.get()), row.expected + "##1##CN=Test");
    }
}

TEST_F(Labels, ReadersOfNamesKeepTheirShapes) {
    OwnedStore const store = memoryStore();
    OwnedCertificate const cert = certificate("Alice", store.get());
    TVKBuffer name = buffer("before");
    EXPECT_FALSE(CapiManagerUtility::getCertFriendlyName(cert.get(), name));
    EXPECT_EQ(text(name), "");
    EXPECT_TRUE(CapiManagerUtility::getLabel(cert.get(), CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, name));
    EXPECT_EQ(text(name), std::string("Alice\0\0", 7));

    DWORD size = 0;
    calls.answer(CertSetCertificateContextProperty,
                 [&](PCCERT_CONTEXT to, DWORD id, DWORD flags, void const* data) {
                     size = static_cast<CRYPT_DATA_BLOB const*>(data)->cbData;
                     return CertSetCertificateContextProperty(to, id, flags, data);
                 });
    EXPECT_TRUE(CapiManagerUtility::setCertFriendlyName(cert.get(), "Z\xC3\xBC"));
    EXPECT_EQ(size, 4 * sizeof(wchar_t)) << "for the bytes of the narrow text and a terminator";
    EXPECT_EQ(calls.arguments(CertSetCertificateContextProperty).at(0), "set, 0xb, 0, set");
    EXPECT_TRUE(CapiManagerUtility::getCertFriendlyName(cert.get(), name));
    EXPECT_EQ(name.getLength() % sizeof(wchar_t), 1U) << "one spare byte";
    EXPECT_STREQ(reinterpret_cast<wchar_t const*>(name.getValue()), L"Z\u00FC");

    calls.answer(CertGetNameStringA, [](PCCERT_CONTEXT, DWORD, DWORD, void*, LPSTR, DWORD) { return 0U; });
    EXPECT_FALSE(CapiManagerUtility::getLabel(cert.get(), CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, name));
    EXPECT_EQ(text(name), "");
    calls.fail(CertGetCertificateContextProperty, CRYPT_E_NOT_FOUND);
    EXPECT_EQ(labelOf(cert.get()), "cn=##1##CN=Alice") << "a name that can't be read";
}

TEST_F(Labels, NormalFormIsAUtf8String) {
    struct Row {
        char const* why;
        std::string label;
        std::string expected;
    };
    Row const rows[] = {
        {"raw text", "abc",
         "\x0C\x03"
         "abc"},
        {"an encoding stays",
         "\x0C\x03"
         "abc",
         "\x0C\x03"
         "abc"},
        {"raw text that begins like an encoding",
         "\x0C\x01"
         "abc",
         "\x0C\x05\x0C\x01"
         "abc"},
        {"an encoding cut short",
         "\x0C\x04"
         "abc",
         "\x0C\x05\x0C\x04"
         "abc"},
        {"another type",
         "\x13\x01"
         "a",
         "\x0C\x03\x13\x01"
         "a"},
        {"empty", "", std::string("\x0C\0", 2)},
        {"a long one", std::string(200, 'x'), "\x0C\x81\xC8" + std::string(200, 'x')},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.why);
        TVKBuffer const raw = buffer(row.label);
        EXPECT_EQ(text(CspManagerUtility::convertLabel(raw)), row.expected);
        EXPECT_EQ(text(raw), row.label);
        EXPECT_TRUE(CspManagerUtility::compareLabel(raw, buffer(row.expected)));
        EXPECT_FALSE(CspManagerUtility::compareLabel(raw, buffer(row.label + "x")));
    }
    EXPECT_FALSE(CspManagerUtility::compareLabel(buffer("Key"), buffer("key"))) << "case counts";
    EXPECT_FALSE(CspManagerUtility::compareLabel(buffer("key "), buffer("key"))) << "blanks count";
}

TEST_F(Labels, DefaultNamesAreThePrefixAndTwoNumbers) {
    TVKString const one = CspManagerUtility::makeDefaultLabel("keys");
    EXPECT_NE(one, CspManagerUtility::makeDefaultLabel("keys"));
    std::unique_ptr<TVKKRYAlgorithmFactory> const before(
        TVKKRYUtility::getDefaultAlgorithmFactory().duplicate());
    TVKBuffer seed;
    TVKKRYUtility::setDefaultAlgorithmFactory(
        FixedFactory(buffer(std::string("\x01\x02\0\0\xFF\xFF\xFF\xFF", 8)), seed));
    EXPECT_EQ(CspManagerUtility::makeDefaultLabel("keys").view(), "keys5134294967295");
    TVKKRYUtility::setDefaultAlgorithmFactory(*before);
    ASSERT_EQ(seed.getLength(), 100U);
    EXPECT_NEAR(std::stod(text(seed)), static_cast<double>(std::time(nullptr)), 60);
}

TEST_F(Labels, IdentifierIsTheImageOfIssuerAndSerialNumber) {
    OwnedCertificate const cert =
        certificate({.subject = commonName("A"), .issuer = commonName("B"), .serial = {1, 2}});
    TVKBuffer image = buffer("before");
    EXPECT_TRUE(CspManagerUtility::getCertId(cert.get(), image));
    ASSERT_EQ(image.getLength(), sizeof(CERT_ID));
    CERT_ID id;
    std::memcpy(&id, image.getValue(), sizeof id);
    CERT_INFO const& info = *cert.get()->pCertInfo;
    EXPECT_EQ(id.dwIdChoice, 1U);
    EXPECT_EQ(id.IssuerSerialNumber.Issuer.pbData, info.Issuer.pbData);
    EXPECT_EQ(id.IssuerSerialNumber.Issuer.cbData, info.Issuer.cbData);
    EXPECT_EQ(id.IssuerSerialNumber.SerialNumber.pbData, info.SerialNumber.pbData);
    EXPECT_EQ(id.IssuerSerialNumber.SerialNumber.cbData, 2U);
}

TEST_F(Labels, ACertificateThatDoesNotDecodeIsReported) {
    OwnedCertificate const cert = certificate("Alice");
    cert.get()->pbCertEncoded[0] = 0;
    TVKBuffer label;
    EXPECT_EQ(raisedBy([&] { CspManagerUtility::makeCertLabel(cert.get(), label); }).type, "TVKASNException");
}
