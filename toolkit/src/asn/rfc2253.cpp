#include <tvkcore/asn/tvkasnutility.h>

#include "attributetypes.h"
#include "objectid.h"
#include "x500strings.h"

#include <tvkcore/base/tvkexception.h>

#include <array>
#include <vector>

namespace {

constexpr char kFile[] = "./toolkit/src/asn/tvkasnutility";
constexpr char kHexDigits[] = "0123456789ABCDEF";

// What a byte of a string wants in front of it.
enum Escape : unsigned char { none = 0, always = 1, atFront = 2, atEnd = 4, asHex = 8, nonASCII = 16 };

constexpr std::array<unsigned char, 256> makeEscapes() {
    std::array<unsigned char, 256> table{};
    for (unsigned int c = 0; c < 0x20; ++c) {
        table[c] = asHex;
    }
    table[0x7F] = asHex;
    for (char const c : {',', '+', '"', '\\', '<', '>', ';'}) {
        table[static_cast<unsigned char>(c)] = always;
    }
    table['#'] = atFront;
    table[' '] = atFront | atEnd;
    for (unsigned int c = 0x80; c < 0x100; ++c) {
        table[c] = nonASCII;
    }
    return table;
}

constexpr std::array<unsigned char, 256> kEscapes = makeEscapes();

void appendHex(std::string& out, unsigned char octet) {
    out += kHexDigits[octet >> 4];
    out += kHexDigits[octet & 0x0F];
}

// Appends one byte of UTF-8 (RFC 2253, 2.4). `place` tells whether it is the first or the last of its value.
void appendEscaped(std::string& out, unsigned char octet, unsigned char place, bool escapeNonASCII) {
    unsigned char const escape = kEscapes[octet];
    if (escape == asHex || (escape == nonASCII && escapeNonASCII)) {
        out += '\\';
        appendHex(out, octet);
        return;
    }
    if ((escape & (always | place)) != 0) {
        out += '\\';
    }
    out += static_cast<char>(octet);
}

// How many octets from here on go as they are, wherever in their value they stand.
unsigned long plainLength(unsigned char const* text, unsigned long length) {
    unsigned long count = 0;
    while (count < length && kEscapes[text[count]] == none) {
        ++count;
    }
    return count;
}

// Appends the text of a string value. False, with a part appended, where a character has no UTF-8 or isn't
// whole.
bool appendText(std::string& out, TVKASNCBuffer const& content, int width, bool escapeNonASCII) {
    std::string character;
    unsigned long const step = width == 0 ? 1 : static_cast<unsigned long>(width);
    if (content.length % step != 0) {
        return false;
    }
    for (unsigned long at = 0; at < content.length; at += step) {
        if (unsigned long const plain = step == 1 ? plainLength(content.data + at, content.length - at) : 0;
            plain != 0) {
            out.append(reinterpret_cast<char const*>(content.data) + at, plain);
            at += plain - 1;
            continue;
        }
        // The last character counts as the last only, also where it is the first too: a lone '#' goes as it
        // is.
        unsigned char const place = at + step >= content.length ? atEnd : (at == 0 ? atFront : none);
        if (width == 0 || (width == 1 && content.data[at] < 0x80)) {
            appendEscaped(out, content.data[at], place, escapeNonASCII);
            continue;
        }
        unsigned long number = 0;
        for (unsigned long i = 0; i < step; ++i) {
            number = (number << 8) | content.data[at + i];
        }
        character.clear();
        tvk::appendUTF8(character, number);
        if (character.empty()) {
            return false;
        }
        for (char const octet : character) {
            appendEscaped(out, static_cast<unsigned char>(octet), place, escapeNonASCII);
        }
    }
    return true;
}

void appendAttribute(std::string& out, tvk::NameAttribute const& attribute, bool escapeNonASCII) {
    char const* name = tvk::attributeShortName(attribute.type.data, attribute.type.length);
    if (name != nullptr) {
        out += name;
    } else {
        out += tvk::dottedObjectID(attribute.type.data, attribute.type.length);
    }
    out += '=';
    int const width = tvk::stringWidth(attribute.valueHeader);
    std::size_t const start = out.size();
    if (name != nullptr && width >= 0 && appendText(out, attribute.valueContent, width, escapeNonASCII)) {
        return;
    }
    out.resize(start);
    out += '#';
    for (unsigned long i = 0; i < attribute.value.length; ++i) {
        appendHex(out, attribute.value.data[i]);
    }
}

} // namespace

TVKString TVKASNUtility::getRFC2253String(TVKASNx500Name const& name, bool escapeNonASCII,
                                          TVKASNStrRepType const& type) {
    if (type != TVKASNStrRepRFC2253) {
        throw TVKException(kFile, __LINE__, TVKCORE_UNKNOWN_STRING_FORM, "unknown form of a name");
    }
    TVKASNBuffer encoding(TVKASNNotSecure);
    if (name.write(encoding) != TVKASN_OK) {
        return TVKString();
    }
    tvk::DerHeader header;
    tvk::readDerHeader(encoding.data, encoding.length, header);
    tvk::NameCursor cursor(encoding.data + header.headerLength, header.contentLength);
    std::vector<tvk::NameAttribute> attributes;
    attributes.reserve(8);
    tvk::NameAttribute attribute;
    while (cursor.next(attribute) == TVKASN_OK) {
        attributes.push_back(attribute);
    }
    std::string out;
    out.reserve(header.contentLength + 32);
    for (std::size_t i = attributes.size(); i > 0; --i) {
        if (i != attributes.size()) {
            out += attributes[i - 1].relativeName == attributes[i].relativeName ? '+' : ',';
        }
        appendAttribute(out, attributes[i - 1], escapeNonASCII);
    }
    return {out.data(), static_cast<unsigned int>(out.size())};
}
