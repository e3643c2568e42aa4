#include "hex.h"
#include "support/libcrypto.h"

#include <gtest/gtest.h>

namespace {

constexpr unsigned char kUTF8 = 0x0C;
constexpr unsigned char kPrintable = 0x13;
constexpr unsigned char kTeletex = 0x14;
constexpr unsigned char kUniversal = 0x1C;
constexpr unsigned char kBMP = 0x1E;

constexpr char kCN[] = "55 04 03";
constexpr char kO[] = "55 04 0A";

struct Attribute {
    char const* type; // content octets of the object identifier
    std::string value;
    unsigned char tag = kUTF8;
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
        Bytes const value(attribute.value.begin(), attribute.value.end());
        set = set + wrap(0x30, wrap(0x06, fromHex(attribute.type)) + wrap(attribute.tag, value));
        if (i + 1 == attributes.size() || !attributes[i + 1].joined) {
            sets = sets + wrap(0x31, set);
            set.clear();
        }
    }
    return wrap(0x30, sets);
}

std::string libcryptoText(Bytes const& der) {
    unsigned char const* at = der.data();
    Owned<X509_NAME> const name(d2i_X509_NAME(nullptr, &at, static_cast<long>(der.size())));
    return name == nullptr ? "libcrypto refuses the name" : nameText(name.get());
}

std::string ownText(Bytes const& der, bool escapeNonASCII = false) {
    Decoded<TVKASNx500Name> name(viewOf(der));
    return std::string(TVKASNUtility::getRFC2253String(name, escapeNonASCII, TVKASNStrRepRFC2253).view());
}

} // namespace

TEST(NameStrings, AgreeWithLibcrypto) {
    std::tuple<Attributes, char const*, char const*> const rows[] = {
        {{}, "", "no parts"},
        {{{kO, "Org", kPrintable}, {kCN, "Alice"}}, "CN=Alice,O=Org", "last part first"},
        {{{kO, "A"}, {kCN, "B", kUTF8, true}, {"55 04 06", "DE"}}, "C=DE,CN=B+O=A", "two in one part"},
        {{{kCN, ",+\"\\<>;="}}, "CN=\\,\\+\\\"\\\\\\<\\>\\;=", "characters that are escaped anywhere"},
        {{{kCN, " a "}}, "CN=\\ a\\ ", "spaces at the ends"},
        {{{kCN, " "}}, "CN=\\ ", "a lone space"},
        {{{kCN, "#a#"}}, "CN=\\#a#", "number sign in front"},
        {{{kCN, "#"}}, "CN=#", "a lone number sign"},
        {{{kCN, std::string("a\0\n\x7F", 4)}}, "CN=a\\00\\0A\\7F", "control characters"},
        {{{kCN, "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x94\x91"}}, "CN=é€🔑", "UTF-8 of two to four bytes"},
        {{{kCN, "\xE9", kTeletex}}, "CN=é", "Teletex as Latin-1"},
        {{{kCN, std::string("\x20\xAC\0 ", 4), kBMP}}, "CN=€\\ ", "BMP with a space at the end"},
        {{{kCN, std::string("\0\1\xF5\x11", 4), kUniversal}}, "CN=🔑", "Universal"},
        {{{kCN, ""}}, "CN=", "empty value"},
        {{{kCN, std::string("\0\xAA", 2), 0x03}}, "CN=#030200AA", "a bit string"},
        {{{"2A 03 04", "x,"}}, "1.2.3.4=#0C02782C", "a type without a name"},
        {{{"2A 83 FF FF FF FF FF FF FF FF 7F", "x"}},
         "1.2.36893488147419103231=#0C0178",
         "an arc of 65 bits"},
    };
    for (auto const& [name, expected, why] : rows) {
        SCOPED_TRACE(why);
        Bytes const der = nameOf(name);
        EXPECT_EQ(ownText(der), expected);
        EXPECT_EQ(ownText(der), libcryptoText(der));
    }
    EXPECT_EQ(ownText(nameOf({{kCN, "\xC3\xA9"}}), true), "CN=\\C3\\A9");
    // Strings that libcrypto doesn't show at all.
    EXPECT_EQ(ownText(nameOf({{kCN, "abc", kBMP}})), "CN=#1E03616263") << "half of one";
    EXPECT_EQ(ownText(nameOf({{kCN, std::string("\0A\xD8\x3D", 4), kBMP}})), "CN=#1E040041D83D")
        << "a surrogate";
    TVKASNx500Name const nothing(TVKASNNotSecure);
    EXPECT_EQ(TVKASNUtility::getRFC2253String(nothing, false, TVKASNStrRepRFC2253).size(), 0U);
    EXPECT_THROW(TVKASNUtility::getRFC2253String(nothing, false, TVKASNStrRepType(4)), TVKException);
}

// Every attribute type that libcrypto has a short name for among the families of name attributes.
TEST(NameStrings, KnowTheAttributeTypes) {
    char const* const families[] = {"55 04", "09 92 26 89 93 F2 2C 64 01", "2A 86 48 86 F7 0D 01 09",
                                    "2A 85 03 64", "2B 06 01 04 01 82 37 3C 02 01"};
    for (char const* family : families) {
        for (unsigned int last = 0; last < 128; ++last) {
            std::string const type = std::string(family) + toHex(Bytes{static_cast<std::uint8_t>(last)});
            Bytes const der = nameOf({{type.c_str(), "v"}});
            EXPECT_EQ(ownText(der), libcryptoText(der)) << type;
        }
    }
}

TEST(Names, CompareByTheRulesForNames) {
    Attribute const cn{kCN, "Alice Liddell"};
    std::tuple<Attributes, Attributes, bool, char const*> const rows[] = {
        {{}, {}, true, "no parts"},
        {{cn}, {{kCN, "Alice Liddell", kPrintable}}, true, "another string type"},
        {{cn}, {{kCN, "aLICE lIDDELL"}}, true, "case"},
        {{cn}, {{kCN, "  Alice \t Liddell "}}, true, "white space"},
        {{cn}, {{kCN, "AliceLiddell"}}, false, "no space at all"},
        {{cn}, {{kO, "Alice Liddell"}}, false, "another type"},
        {{cn}, {cn, cn}, false, "one part more"},
        {{{kCN, "ÉTÉ ЖΩΆȘ"}}, {{kCN, "été жωάș"}}, true, "case beyond ASCII"},
        {{{kCN, "\xE1\xBA\x96"}}, {{kCN, "\xE1\xBA\x97"}}, false, "two small letters side by side"},
        {{{kCN, "\xE9", kTeletex}}, {{kCN, std::string("\0\xC9", 2), kBMP}}, true, "code pages"},
        {{{kO, "A"}, {kCN, "B", kUTF8, true}}, {{kCN, "b"}, {kO, "a", kUTF8, true}}, true, "one part"},
        {{{kO, "A"}, {kCN, "B"}}, {{kCN, "B"}, {kO, "A"}}, false, "another order of the parts"},
        {{{kO, "A"}, {kCN, "B", kUTF8, true}}, {{kO, "A"}, {kCN, "B"}}, false, "one part against two"},
        {{{kCN, "a", 0x04}}, {{kCN, "A", 0x04}}, false, "octets have no case"},
        {{{kCN, "\xFF"}}, {{kCN, "\xFE"}}, false, "bytes that aren't UTF-8"},
    };
    for (auto const& [first, second, areEqual, why] : rows) {
        SCOPED_TRACE(why);
        Decoded<TVKASNx500Name> const a(viewOf(nameOf(first)));
        Decoded<TVKASNx500Name> const b(viewOf(nameOf(second)));
        EXPECT_EQ(TVKASNx500Name::compare(a, b) == 0, areEqual);
        EXPECT_EQ(TVKASNx500Name::compare(b, a) == 0, areEqual);
        EXPECT_EQ(TVKASNx500Name::compare(a, a), 0);
    }
}

TEST(Names, RefuseWhatIsNoName) {
    std::pair<char const*, char const*> const rows[] = {
        {"3002 3000", "a sequence in place of a set"},
        {"3004 3102 0500", "a null in place of an attribute"},
        {"3009 3107 3005 0603550403", "an attribute without a value"},
        {"300D 310B 3009 0603550403 0C0141 0500", "an attribute with two values"},
        {"300B 3109 3007 06025584 0C0141", "a type that goes on"},
        {"3002 3102", "a set that leaves the name"},
        {"3010 310E 300C 0603550403 2C05 0C0141 0500", "a string in pieces"},
    };
    for (auto const& [bytes, why] : rows) {
        SCOPED_TRACE(why);
        TVKASNx500Name name(TVKASNNotSecure);
        EXPECT_THROW(TVKASNUtility::setDEREncoding(viewOf(fromHex(bytes)), name), TVKASNException);
        EXPECT_FALSE(name.is_present());
    }
}
