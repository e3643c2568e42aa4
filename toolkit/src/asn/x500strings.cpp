#include "x500strings.h"

namespace tvk {

int NameCursor::next(NameAttribute& attribute) {
    while (set_.atEnd()) {
        if (names_.atEnd()) {
            return TVKASN_NO_VALUE;
        }
        TVKASNCBuffer set;
        if (int const status = names_.expect(kSetOctet, set); status != TVKASN_OK) {
            return status;
        }
        set_ = DerCursor(set.data, set.length);
        ++count_;
    }
    TVKASNCBuffer pair;
    if (int const status = set_.expect(kSequenceOctet, pair); status != TVKASN_OK) {
        return status;
    }
    DerCursor parts(pair.data, pair.length);
    if (int const status = parts.expect(kTagObjectID, attribute.type); status != TVKASN_OK) {
        return status;
    }
    if (!isObjectIDContent(attribute.type.data, attribute.type.length)) {
        return TVKASN_BAD_VALUE;
    }
    if (int const status = parts.next(attribute.valueHeader, attribute.value, attribute.valueContent);
        status != TVKASN_OK) {
        return status;
    }
    attribute.relativeName = count_ - 1;
    return parts.atEnd() ? TVKASN_OK : TVKASN_TRAILING_DATA;
}

int stringWidth(DerHeader const& header) {
    if (header.tagClass != TVKASNUniversal || header.constructed) {
        return -1;
    }
    switch (header.tag) {
    case kTagUTF8String:
        return 0;
    case 18: // NumericString
    case 19: // PrintableString
    case 20: // TeletexString, taken for Latin-1 as its users do
    case 22: // IA5String
    case kTagUTCTime:
    case kTagGeneralizedTime:
    case 26: // VisibleString
        return 1;
    case 28: // UniversalString
        return 4;
    case 30: // BMPString
        return 2;
    default:
        return -1;
    }
}

void appendUTF8(std::string& out, unsigned long character) {
    if (character < 0x80) {
        out += static_cast<char>(character);
    } else if (character < 0x800) {
        out += static_cast<char>(0xC0 | (character >> 6));
        out += static_cast<char>(0x80 | (character & 0x3F));
    } else if (character < 0x10000) {
        if (character >= 0xD800 && character <= 0xDFFF) {
            return;
        }
        out += static_cast<char>(0xE0 | (character >> 12));
        out += static_cast<char>(0x80 | ((character >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (character & 0x3F));
    } else if (character < 0x110000) {
        out += static_cast<char>(0xF0 | (character >> 18));
        out += static_cast<char>(0x80 | ((character >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((character >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (character & 0x3F));
    }
}

bool textOfValue(DerHeader const& header, TVKASNCBuffer const& content, std::string& out) {
    int const width = stringWidth(header);
    if (width < 0 || (width > 1 && content.length % static_cast<unsigned long>(width) != 0)) {
        return false;
    }
    if (width == 0) {
        out.append(reinterpret_cast<char const*>(content.data), content.length);
        return true;
    }
    for (unsigned long at = 0; at < content.length; at += static_cast<unsigned long>(width)) {
        unsigned long character = 0;
        for (int i = 0; i < width; ++i) {
            character = (character << 8) | content.data[at + static_cast<unsigned long>(i)];
        }
        appendUTF8(out, character);
    }
    return true;
}

} // namespace tvk
