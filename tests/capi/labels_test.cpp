#include "module_fixture.h"

#include <cstring>
#include <ctime>

using namespace capi_tests;

namespace {

using Labels = ModuleTest;

std::string labelOf(PCCERT_CONTEXT cert) {
    TVKBuffer label = buffer("before");
    EXPECT_TRUE(Csp::makeCertLabel(cert, label));
    return text(label);
}

// Random data that are always the same, and the seed that they were asked for with.
class FixedData : public TVKKRYRandomDataGenAlgorithm {
public:
    TVKBuffer generateRandomData(unsigned int) override {
        return buffer(std::string("\x01\x02\0\0\xFF\xFF\xFF\xFF", 8));
    }
    void updateSeed(TVKASNCBuffer const&) override {}
};

TVKBuffer s_seed;

class FixedFactory : public TVKKRYAlgorithmFactory {
public:
    TVKKRYAlgorithmFactory* duplicate() const override { return new FixedFactory; }
    TVKKRYRandomDataGenAlgorithm*
    make_Default_RandomDataGenAlgorithm(TVKASNCBuffer const* seed) const override {
        s_seed = TVKBuffer(*seed);
        return new FixedData;
    }
};

} // namespace

TEST_F(Labels, NameSerialNumberAndIssuer) {
    Name const a = commonName("A");
    Name const full = {{"C", "AT", NameText::Printable}, {"O", "Works"}, {"CN", "Zo\xC3\xAB"}};
    std::string longSerial = "7f";
    for (int i = 0; i < 59; ++i)
        longSerial += ":7f";
    std::tuple<char const*, Name, Name, Bytes, std::string> const rows[] = {
        {"display name", a, commonName("Test"), {1, 16, 255}, "cn=A##1:10:ff##CN=Test"},
        {"beyond ASCII", full, full, {1}, "cn=Zo\xC3\xAB##1##CN=Zo\xC3\xAB,O=Works,C=AT"},
        {"no name at all", {}, a, {1}, "cn=##1##CN=A"},
        {"issuer without a name", a, {}, {1}, "cn=A##1##"},
        {"the octet before a high bit", a, a, {0xC3}, "cn=A##0:c3##CN=A"},
        {"no leading zeros", a, a, {0x0A, 0x01}, "cn=A##a:1##CN=A"},
        {"60 octets", a, a, Bytes(60, 0x7F), "cn=A##" + longSerial + "##CN=A"},
    };
    for (auto const& [why, subject, issuer, serial, expected] : rows) {
        SCOPED_TRACE(why);
        auto const cert = certificate({.subject = subject, .issuer = issuer, .serial = serial});
        EXPECT_EQ(labelOf(cert.get()), expected);
        TVKBuffer found;
        EXPECT_TRUE(Csp::getCertSeriaNumber(cert.get(), found));
        EXPECT_EQ(text(found), expected.substr(expected.find("##") + 2));
    }
}

TEST_F(Labels, AnyFriendlyNameMakesALabel) {
    OwnedCertificate const cert = certificate("Test");
    constexpr std::size_t wide = sizeof(wchar_t);
    auto const lone = static_cast<wchar_t>(0xD800);
    // The bytes are those of the property, whatever a store would take.
    std::tuple<char const*, std::wstring, std::size_t, std::string> const rows[] = {
        {"a name", L"Work key", 9 * wide, "Work key"},
        {"an empty one is a name", L"", wide, ""},
        {"beyond the basic plane", L"\u0416\U0001F511", 3 * wide, "\xD0\x96\xF0\x9F\x94\x91"},
        {"a character without a narrow form", {L'a', lone, L'\u00E4'}, 4 * wide, "a\xEF\xBF\xBD\xC3\xA4"},
        {"no terminator", L"abc", 2 * wide, "ab"},
        {"a part of a character", L"abc", 2 * wide + 1, "ab"},
        {"text behind the terminator", {L'a', L'\0', L'b'}, 4 * wide, "a"},
        {"no bytes", L"", 0, ""},
    };
    for (auto const& [why, name, bytes, expected] : rows) {
        SCOPED_TRACE(why);
        auto const show = [from = name, n = bytes](PCCERT_CONTEXT, DWORD, void* data, DWORD* size) -> BOOL {
            *size = static_cast<DWORD>(n);
            return data == nullptr || std::memcpy(data, from.c_str(), n) != nullptr;
        };
        calls.answer(CertGetCertificateContextProperty, show);
        EXPECT_EQ(labelOf(cert.get()), expected + "##1##CN=Test");
    }
}

TEST_F(Labels, ReadersOfNamesKeepTheirShapes) {
    OwnedCertificate const cert = certificate("Alice");
    TVKBuffer name = buffer("before");
    EXPECT_FALSE(Capi::getCertFriendlyName(cert.get(), name));
    EXPECT_EQ(text(name), "");
    EXPECT_TRUE(Capi::getLabel(cert.get(), CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, name));
    EXPECT_EQ(text(name), std::string("Alice\0\0", 7));

    EXPECT_TRUE(Capi::setCertFriendlyName(cert.get(), "Z\xC3\xBC"));
    EXPECT_EQ(calls.arguments(CertSetCertificateContextProperty).at(0), "set, b, 0, set");
    EXPECT_TRUE(Capi::getCertFriendlyName(cert.get(), name));
    EXPECT_EQ(name.getLength(), 4 * sizeof(wchar_t) + 1)
        << "room for the bytes of the narrow text, a terminator and a spare byte";
    EXPECT_STREQ(reinterpret_cast<wchar_t const*>(name.getValue()), L"Z\u00FC");

    calls.fail(CertGetNameStringA, 0);
    calls.fail(CertGetCertificateContextProperty, CRYPT_E_NOT_FOUND);
    EXPECT_FALSE(Capi::getLabel(cert.get(), CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, name));
    EXPECT_EQ(text(name), "");
    EXPECT_EQ(labelOf(cert.get()), "cn=##1##CN=Alice") << "a name that can't be read";
}

TEST_F(Labels, NormalFormIsAUtf8String) {
    std::string const encoded("\x0C\x03xyz");
    std::string const longer(200, 'x');
    std::tuple<char const*, std::string, std::string> const rows[] = {
        {"raw text", "xyz", encoded},
        {"an encoding stays", encoded, encoded},
        {"raw text that begins like an encoding", encoded + 'z', "\x0C\x06" + encoded + 'z'},
        {"an encoding cut short", "\x0C\x04xyz", "\x0C\x05\x0C\x04xyz"},
        {"another type", "\x13\x01x", "\x0C\x03\x13\x01x"},
        {"empty", "", std::string("\x0C\0", 2)},
        {"a long one", longer, "\x0C\x81\xC8" + longer},
    };
    for (auto const& [why, label, expected] : rows) {
        SCOPED_TRACE(why);
        TVKBuffer const raw = buffer(label);
        EXPECT_EQ(text(Csp::convertLabel(raw)), expected);
        EXPECT_EQ(text(raw), label);
        EXPECT_TRUE(Csp::compareLabel(raw, buffer(expected)));
        EXPECT_FALSE(Csp::compareLabel(raw, buffer(label + "x")));
    }
    EXPECT_FALSE(Csp::compareLabel(buffer("Key"), buffer("key"))) << "case counts";
}

TEST_F(Labels, DefaultNamesAreThePrefixAndTwoNumbers) {
    EXPECT_NE(Csp::makeDefaultLabel("keys"), Csp::makeDefaultLabel("keys"));
    auto const before = owned(TVKKRYUtility::getDefaultAlgorithmFactory().duplicate());
    TVKKRYUtility::setDefaultAlgorithmFactory(FixedFactory());
    EXPECT_EQ(Csp::makeDefaultLabel("keys").view(), "keys5134294967295");
    TVKKRYUtility::setDefaultAlgorithmFactory(*before);
    ASSERT_EQ(s_seed.getLength(), 100U);
    EXPECT_NEAR(std::stod(text(s_seed)), static_cast<double>(std::time(nullptr)), 60);
}

TEST_F(Labels, IdentifierIsTheImageOfIssuerAndSerialNumber) {
    OwnedCertificate const cert = certificate("A");
    CERT_INFO const& info = *cert.get()->pCertInfo;
    CERT_ID expected;
    std::memset(&expected, 0, sizeof expected);
    expected.dwIdChoice = CERT_ID_ISSUER_SERIAL_NUMBER;
    // By member: an assignment of the whole would bring the padding along.
    expected.IssuerSerialNumber.Issuer.cbData = info.Issuer.cbData;
    expected.IssuerSerialNumber.Issuer.pbData = info.Issuer.pbData;
    expected.IssuerSerialNumber.SerialNumber.cbData = info.SerialNumber.cbData;
    expected.IssuerSerialNumber.SerialNumber.pbData = info.SerialNumber.pbData;
    TVKBuffer image;
    EXPECT_TRUE(Csp::getCertId(cert.get(), image));
    EXPECT_EQ(text(image), std::string(reinterpret_cast<char const*>(&expected), sizeof expected));
}

TEST_F(Labels, ACertificateThatDoesNotDecodeIsReported) {
    OwnedCertificate const cert = certificate("Alice");
    cert.get()->pbCertEncoded[0] = 0;
    EXPECT_EQ(raisedBy([&] { labelOf(cert.get()); }).type, "TVKASNException");
}
