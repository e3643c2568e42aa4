#include "hex.h"

#include <tvkcore/tvkcore.h>

#include <gtest/gtest.h>

#include <openssl/bio.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

using test_support::Bytes;

namespace {

constexpr unsigned char kUTF8 = 0x0C;
constexpr unsigned char kPrintable = 0x13;
constexpr unsigned char kTeletex = 0x14;
constexpr unsigned char kIA5 = 0x16;
constexpr unsigned char kUniversal = 0x1C;
constexpr unsigned char kBMP = 0x1E;

constexpr char kCommonName[] = "55 04 03";
constexpr char kOrganization[] = "55 04 0A";
constexpr char kUnknownType[] = "2A 03 04";

struct Attribute {
    char const* type; // content octets of the object identifier
    unsigned char tag;
    std::string value;
    bool joined = false; // stands in the relative name of the one before
};

using Attributes = std::vector<Attribute>;

Bytes wrap(unsigned char tag, Bytes const& content) {
    Bytes out = {tag, static_cast<std::uint8_t>(content.size())};
    out.insert(out.end(), content.begin(), content.end());
    return out;
}

Bytes operator+(Bytes a, Bytes const& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes nameOf(Attributes const& attributes) {
    Bytes sets;
    Bytes set;
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        Attribute const& attribute = attributes[i];
        set =
            set + wrap(0x30, wrap(0x06, fromHex(attribute.type)) +
                                 wrap(attribute.tag, Bytes(attribute.value.begin(), attribute.value.end())));
        if (i + 1 == attributes.size() || !attributes[i + 1].joined) {
            sets = sets + wrap(0x31, set);
            set.clear();
        }
    }
    return wrap(0x30, sets);
}

std::string libcryptoText(Bytes const& der) {
    unsigned char const* at = der.data();
    std::unique_ptr<X509_NAME, decltype(&X509_NAME_free)> const name(
        d2i_X509_NAME(nullptr, &at, static_cast<long>(der.size())), &X509_NAME_free);
    std::unique_ptr<BIO, decltype(&BIO_free)> const out(BIO_new(BIO_s_mem()), &BIO_free);
    if (name == nullptr ||
        X509_NAME_print_ex(out.get(), name.get(), 0, XN_FLAG_RFC2253 & ~ASN1_STRFLGS_ESC_MSB) < 0) {
        return "libcrypto refuses the name";
    }
    char* text = nullptr;
    long const length = BIO_get_mem_data(out.get(), &text);
    return {text, static_cast<std::size_t>(length)};
}

std::string ownText(Bytes const& der, bool escapeNonASCII = false) {
    TVKASNx500Name name(TVKASNNotSecure);
    TVKASNUtility::setDEREncoding(viewOf(der), name);
    return std::string(TVKASNUtility::getRFC2253String(name, escapeNonASCII, TVKASNStrRepRFC2253).view());
}

} // namespace

TEST(NameStrings, AgreeWithLibcrypto) {
    struct {
        Attributes name;
        char const* expected;
        char const* why;
    } const rows[] = {
        {{}, "", "no parts"},
        {{{kOrganization, kPrintable, "Org"}, {kCommonName, kUTF8, "Alice"}},
         "CN=Alice,O=Org",
         "last part first"},
        {{{kOrganization, kUTF8, "A"}, {kCommonName, kUTF8, "B", true}, {"55 04 06", kPrintable, "DE"}},
         "C=DE,CN=B+O=A",
         "two attributes in one part"},
        {{{kCommonName, kUTF8, ",+\"\\<>;="}},
         "CN=\\,\\+\\\"\\\\\\<\\>\\;=",
         "characters that are escaped anywhere"},
        {{{kCommonName, kUTF8, " a "}}, "CN=\\ a\\ ", "spaces at the ends"},
        {{{kCommonName, kUTF8, " "}}, "CN=\\ ", "a lone space"},
        {{{kCommonName, kUTF8, "#a#"}}, "CN=\\#a#", "number sign in front"},
        {{{kCommonName, kUTF8, "#"}}, "CN=#", "a lone number sign"},
        {{{kCommonName, kUTF8, std::string("a\0\n\x7F", 4)}}, "CN=a\\00\\0A\\7F", "control characters"},
        {{{kCommonName, kUTF8, "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x94\x91"}},
         "CN=\xC3\xA9\xE2\x82\xAC\xF0\x9F\x94\x91",
         "UTF-8 of two to four bytes"},
        {{{kCommonName, kTeletex, "\xE9"}}, "CN=\xC3\xA9", "Teletex as Latin-1"},
        {{{kCommonName, kBMP, std::string("\x20\xAC\0 ", 4)}},
         "CN=\xE2\x82\xAC\\ ",
         "BMP with a space at the end"},
        {{{kCommonName, kUniversal, std::string("\0\1\xF5\x11", 4)}}, "CN=\xF0\x9F\x94\x91", "Universal"},
        {{{kCommonName, kUTF8, ""}}, "CN=", "empty value"},
        {{{kCommonName, 0x03, std::string("\0\xAA", 2)}}, "CN=#030200AA", "a bit string"},
        {{{kUnknownType, kUTF8, "x,"}}, "1.2.3.4=#0C02782C", "a type without a name"},
        {{{"2A 83 FF FF FF FF FF FF FF FF 7F", kIA5, "x"}},
         "1.2.36893488147419103231=#160178",
         "an arc of more than 64 bits"},
        {{{"09 92 26 89 93 F2 2C 64 01 19", kIA5, "org"}, {"2A 86 48 86 F7 0D 01 09 01", kIA5, "a@b"}},
         "emailAddress=a@b,DC=org",
         "domain component and email"},
        {{{"2B 06 01 04 01 82 37 3C 02 01 03", kPrintable, "DE"}, {"55 04 61", kUTF8, "VAT"}},
         "organizationIdentifier=VAT,jurisdictionC=DE",
         "company data"},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.why);
        Bytes const der = nameOf(row.name);
        EXPECT_EQ(ownText(der), row.expected);
        EXPECT_EQ(ownText(der), libcryptoText(der));
    }
    EXPECT_EQ(ownText(nameOf({{kCommonName, kUTF8, "\xC3\xA9"}}), true), "CN=\\C3\\A9");
    // Strings that libcrypto doesn't show at all.
    EXPECT_EQ(ownText(nameOf({{kCommonName, kBMP, "abc"}})), "CN=#1E03616263") << "half a character";
    EXPECT_EQ(ownText(nameOf({{kCommonName, kBMP, std::string("\0A\xD8\x3D", 4)}})), "CN=#1E040041D83D")
        << "a surrogate";
    TVKASNx500Name const nothing(TVKASNNotSecure);
    EXPECT_EQ(TVKASNUtility::getRFC2253String(nothing, false, TVKASNStrRepRFC2253).size(), 0U);
    EXPECT_THROW(TVKASNUtility::getRFC2253String(nothing, false, static_cast<TVKASNStrRepType>(4)),
                 TVKException);
}

// Every attribute type that libcrypto has a short name for among the families of name attributes.
TEST(NameStrings, KnowTheAttributeTypes) {
    char const* const families[] = {"55 04", "09 92 26 89 93 F2 2C 64 01", "2A 86 48 86 F7 0D 01 09",
                                    "2A 85 03 64", "2B 06 01 04 01 82 37 3C 02 01"};
    for (char const* family : families) {
        for (unsigned int last = 0; last < 128; ++last) {
            std::string const type = std::string(family) + toHex(Bytes{static_cast<std::uint8_t>(last)});
            Bytes const der = nameOf({{type.c_str(), kUTF8, "v"}});
            EXPECT_EQ(ownText(der), libcryptoText(der)) << type;
        }
    }
}

TEST(Names, CompareByTheRulesForNames) {
    Attribute const cn{kCommonName, kUTF8, "Alice Liddell"};
    struct {
        Attributes a;
        Attributes b;
        bool equal;
        char const* why;
    } const rows[] = {
        {{}, {}, true, "no parts"},
        {{cn}, {{kCommonName, kPrintable, "Alice Liddell"}}, true, "another string type"},
        {{cn}, {{kCommonName, kUTF8, "aLICE lIDDELL"}}, true, "case"},
        {{cn}, {{kCommonName, kUTF8, "  Alice \t Liddell "}}, true, "white space"},
        {{cn}, {{kCommonName, kUTF8, "AliceLiddell"}}, false, "no space at all"},
        {{cn}, {{kOrganization, kUTF8, "Alice Liddell"}}, false, "another type"},
        {{cn}, {cn, cn}, false, "one part more"},
        {{{kCommonName, kUTF8, "\xC3\x89T\xC3\x89 \xD0\x96\xCE\xA9\xCE\x86\xC8\x98"}},
         {{kCommonName, kUTF8, "\xC3\xA9t\xC3\xA9 \xD0\xB6\xCF\x89\xCE\xAC\xC8\x99"}},
         true,
         "case beyond ASCII"},
        {{{kCommonName, kUTF8, "\xE1\xBA\x96"}},
         {{kCommonName, kUTF8, "\xE1\xBA\x97"}},
         false,
         "two small letters side by side"},
        {{{kCommonName, kTeletex, "\xE9"}},
         {{kCommonName, kBMP, std::string("\0\xC9", 2)}},
         true,
         "code pages"},
        {{{kOrganization, kUTF8, "A"}, {kCommonName, kUTF8, "B", true}},
         {{kCommonName, kUTF8, "b"}, {kOrganization, kUTF8, "a", true}},
         true,
         "another order in one part"},
        {{{kOrganization, kUTF8, "A"}, {kCommonName, kUTF8, "B"}},
         {{kCommonName, kUTF8, "B"}, {kOrganization, kUTF8, "A"}},
         false,
         "another order of the parts"},
        {{{kOrganization, kUTF8, "A"}, {kCommonName, kUTF8, "B", true}},
         {{kOrganization, kUTF8, "A"}, {kCommonName, kUTF8, "B"}},
         false,
         "one part against two"},
        {{{kCommonName, 0x04, "a"}}, {{kCommonName, 0x04, "A"}}, false, "octets have no case"},
        {{{kCommonName, kUTF8, "\xFF"}}, {{kCommonName, kUTF8, "\xFE"}}, false, "bytes that aren't UTF-8"},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.why);
        TVKASNx500Name a(TVKASNNotSecure);
        TVKASNx500Name b(TVKASNNotSecure);
        TVKASNUtility::setDEREncoding(viewOf(nameOf(row.a)), a);
        TVKASNUtility::setDEREncoding(viewOf(nameOf(row.b)), b);
        EXPECT_EQ(TVKASNx500Name::compare(a, b) == 0, row.equal);
        EXPECT_EQ(TVKASNx500Name::compare(b, a) == 0, row.equal);
        EXPECT_EQ(TVKASNx500Name::compare(a, a), 0);
    }
}

TEST(Names, RefuseWhatIsNoName) {
    struct {
        char const* bytes;
        char const* why;
    } const rows[] = {{"3002 3000", "a sequence in place of a set"},
                      {"3004 3102 0500", "a null in place of an attribute"},
                      {"3009 3107 3005 0603550403", "an attribute without a value"},
                      {"300D 310B 3009 0603550403 0C0141 0500", "an attribute with two values"},
                      {"300B 3109 3007 06025584 0C0141", "a type that goes on"},
                      {"3002 3102", "a set that leaves the name"},
                      {"3010 310E 300C 0603550403 2C05 0C0141 0500", "a string in pieces"}};
    for (auto const& row : rows) {
        SCOPED_TRACE(row.why);
        TVKASNx500Name name(TVKASNNotSecure);
        EXPECT_THROW(TVKASNUtility::setDEREncoding(viewOf(fromHex(row.bytes)), name), TVKASNException);
        EXPECT_FALSE(name.is_present());
    }
}
