#include "dercursor.h"

#include <algorithm>
#include <cstring>

namespace tvk {

int readLongDerHeader(unsigned char const* bytes, unsigned long count, DerHeader& header) {
    if (count < 2) {
        return TVKASN_TRUNCATED;
    }
    header.tag = bytes[0] & 0x1F;
    header.tagClass = bytes[0] & 0xC0;
    header.constructed = (bytes[0] & kConstructedBit) != 0;
    unsigned long at = 1;
    if (header.tag == 0x1F) {
        header.tag = 0;
        unsigned char octet = 0;
        do {
            if (at == count) {
                return TVKASN_TRUNCATED;
            }
            octet = bytes[at++];
            if ((header.tag == 0 && octet == 0x80) ||
                header.tag > (std::numeric_limits<unsigned int>::max() >> 7)) {
                return TVKASN_BAD_TAG;
            }
            header.tag = (header.tag << 7) | (octet & 0x7F);
        } while ((octet & 0x80) != 0);
        if (header.tag < 0x1F) {
            return TVKASN_BAD_TAG;
        }
    }
    if (at == count) {
        return TVKASN_TRUNCATED;
    }
    unsigned char const first = bytes[at++];
    if (first < 0x80) {
        header.contentLength = first;
    } else {
        unsigned int const octets = first & 0x7F;
        if (octets == 0 || octets > 4) {
            return TVKASN_BAD_LENGTH;
        }
        if (count - at < octets) {
            return TVKASN_TRUNCATED;
        }
        unsigned long length = 0;
        for (unsigned int i = 0; i < octets; ++i) {
            length = (length << 8) | bytes[at++];
        }
        if (length < 0x80 || (length >> (8 * (octets - 1))) == 0) {
            return TVKASN_BAD_LENGTH;
        }
        header.contentLength = length;
    }
    header.headerLength = static_cast<unsigned char>(at);
    return header.contentLength > count - at ? TVKASN_TRUNCATED : TVKASN_OK;
}

unsigned int writeDerHeader(unsigned char* out, unsigned char tagClass, bool constructed, unsigned long tag,
                            unsigned long contentLength) {
    unsigned int at = 0;
    auto const leading = static_cast<unsigned char>(tagClass | (constructed ? kConstructedBit : 0));
    if (tag < 0x1F) {
        out[at++] = static_cast<unsigned char>(leading | tag);
    } else {
        out[at++] = leading | 0x1F;
        int shift = 28;
        while ((tag >> shift) == 0) {
            shift -= 7;
        }
        for (; shift >= 0; shift -= 7) {
            out[at++] = static_cast<unsigned char>(((tag >> shift) & 0x7F) | (shift == 0 ? 0 : 0x80));
        }
    }
    if (contentLength < 0x80) {
        out[at++] = static_cast<unsigned char>(contentLength);
        return at;
    }
    unsigned int octets = 1;
    while (octets < sizeof contentLength && (contentLength >> (8 * octets)) != 0) {
        ++octets;
    }
    out[at++] = static_cast<unsigned char>(0x80 | octets);
    for (unsigned int i = octets; i > 0; --i) {
        out[at++] = static_cast<unsigned char>(contentLength >> (8 * (i - 1)));
    }
    return at;
}

bool isObjectIDContent(unsigned char const* bytes, unsigned long count) {
    if (count == 0 || (bytes[count - 1] & 0x80) != 0) {
        return false;
    }
    bool first = true;
    for (unsigned long i = 0; i < count; ++i) {
        if (first && bytes[i] == 0x80) {
            return false;
        }
        first = (bytes[i] & 0x80) == 0;
    }
    return true;
}

bool isStringTag(DerHeader const& header) {
    return header.tagClass == TVKASNUniversal &&
           (header.tag == kTagBitString || header.tag == kTagOctetString || header.tag == kTagUTF8String ||
            (header.tag >= 18 && header.tag <= 30));
}

namespace {

// No value of the standards that this library knows nests deeper; it bounds the stack that hostile bytes can
// ask for.
constexpr unsigned int kDeepest = 64;

int compareOctets(unsigned char const* a, unsigned long aLength, unsigned char const* b,
                  unsigned long bLength) {
    if (aLength != bLength) {
        return aLength < bLength ? -1 : 1;
    }
    return aLength == 0 ? 0 : std::memcmp(a, b, aLength);
}

// Drops leading octets that only repeat the sign.
void shortenInteger(TVKASNCBuffer& content) {
    while (content.length > 1 && ((content.data[0] == 0x00 && content.data[1] < 0x80) ||
                                  (content.data[0] == 0xFF && content.data[1] >= 0x80))) {
        ++content.data;
        --content.length;
    }
}

int compareBits(TVKASNCBuffer const& a, TVKASNCBuffer const& b) {
    if (a.length != b.length || a.length < 2 || a.data[0] != b.data[0] || a.data[0] > 7) {
        return compareOctets(a.data, a.length, b.data, b.length);
    }
    if (int const order = std::memcmp(a.data + 1, b.data + 1, a.length - 2); order != 0) {
        return order;
    }
    auto const mask = static_cast<unsigned char>(0xFF << a.data[0]);
    return (a.data[a.length - 1] & mask) - (b.data[b.length - 1] & mask);
}

int comparePrimitives(DerHeader const& header, TVKASNCBuffer a, TVKASNCBuffer b) {
    if (header.tagClass == TVKASNUniversal && header.tag == kTagInteger) {
        shortenInteger(a);
        shortenInteger(b);
    } else if (header.tagClass == TVKASNUniversal && header.tag == kTagBitString) {
        return compareBits(a, b);
    } else if (header.tagClass == TVKASNUniversal && header.tag == kTagBoolean && a.length == 1 &&
               b.length == 1) {
        return static_cast<int>(a.data[0] != 0) - static_cast<int>(b.data[0] != 0);
    }
    return compareOctets(a.data, a.length, b.data, b.length);
}

int compareSpans(unsigned char const* a, unsigned long aLength, unsigned char const* b, unsigned long bLength,
                 unsigned int depth) {
    DerCursor left(a, aLength);
    DerCursor right(b, bLength);
    while (!left.atEnd() && !right.atEnd()) {
        DerHeader leftHeader;
        DerHeader rightHeader;
        TVKASNCBuffer leftValue;
        TVKASNCBuffer rightValue;
        TVKASNCBuffer leftContent;
        TVKASNCBuffer rightContent;
        if (depth == kDeepest || left.next(leftHeader, leftValue, leftContent) != TVKASN_OK ||
            right.next(rightHeader, rightValue, rightContent) != TVKASN_OK) {
            return compareOctets(a, aLength, b, bLength);
        }
        if (compareOctets(leftValue.data, leftValue.length, rightValue.data, rightValue.length) == 0) {
            continue;
        }
        if (leftHeader.tag != rightHeader.tag || leftHeader.tagClass != rightHeader.tagClass ||
            leftHeader.constructed != rightHeader.constructed) {
            return leftValue.data[0] < rightValue.data[0] ? -1 : 1;
        }
        int const order = leftHeader.constructed
                              ? compareSpans(leftContent.data, leftContent.length, rightContent.data,
                                             rightContent.length, depth + 1)
                              : comparePrimitives(leftHeader, leftContent, rightContent);
        if (order != 0) {
            return order;
        }
    }
    return static_cast<int>(right.atEnd()) - static_cast<int>(left.atEnd());
}

} // namespace

int compareValues(unsigned char const* a, unsigned long aLength, unsigned char const* b,
                  unsigned long bLength) {
    if (compareOctets(a, aLength, b, bLength) == 0) {
        return 0;
    }
    return compareSpans(a, aLength, b, bLength, 0);
}

namespace {

struct AnyHeader {
    DerHeader header;
    bool indefinite;
};

// As readDerHeader, with lengths in more octets than needed and indefinite ones (X.690, 8.1.3).
int readAnyHeader(unsigned char const* bytes, unsigned long count, AnyHeader& out) {
    int const status = readDerHeader(bytes, count, out.header);
    out.indefinite = false;
    if (status != TVKASN_BAD_LENGTH) {
        return status;
    }
    unsigned long at = 1;
    if ((bytes[0] & 0x1F) == 0x1F) {
        while ((bytes[at++] & 0x80) != 0) {}
    }
    unsigned int const octets = bytes[at++] & 0x7F;
    unsigned long length = 0;
    if (octets == 0) {
        if (!out.header.constructed) {
            return TVKASN_BAD_LENGTH;
        }
        out.indefinite = true;
        length = count - at;
    } else {
        if (count - at < octets) {
            return TVKASN_TRUNCATED;
        }
        for (unsigned int i = 0; i < octets; ++i) {
            if (length > (std::numeric_limits<unsigned int>::max() >> 8)) {
                return TVKASN_BAD_LENGTH;
            }
            length = (length << 8) | bytes[at++];
        }
        if (length > count - at) {
            return TVKASN_TRUNCATED;
        }
    }
    out.header.headerLength = static_cast<unsigned char>(std::min<unsigned long>(at, 255));
    out.header.contentLength = length;
    return at > 255 ? TVKASN_BAD_LENGTH : TVKASN_OK;
}

bool isEndOfContents(unsigned char const* bytes, unsigned long count) {
    return count >= 2 && bytes[0] == 0 && bytes[1] == 0;
}

int canonicaliseAt(unsigned char const* bytes, unsigned long count, TVKASNBuffer& out,
                   unsigned long& consumed, unsigned int depth);

// Joins the pieces of a string that came in several; those of a bit string each start with their unused bits.
int joinPieces(TVKASNBuffer const& pieces, bool bits, TVKASNBuffer& out) {
    DerCursor cursor(pieces.data, pieces.length);
    unsigned char unused = 0;
    TVKASNBuffer joined(TVKASNSecure);
    while (!cursor.atEnd()) {
        DerHeader header;
        TVKASNCBuffer value;
        TVKASNCBuffer content;
        if (int const status = cursor.next(header, value, content); status != TVKASN_OK) {
            return status;
        }
        if (header.constructed || unused != 0 || (bits && content.length == 0)) {
            return TVKASN_BAD_VALUE;
        }
        if (bits) {
            unused = content.data[0];
            ++content.data;
            --content.length;
        }
        joined.append(content.data, content.length);
    }
    if (bits) {
        out.append(&unused, 1);
    }
    out.append(joined.data, joined.length);
    return TVKASN_OK;
}

int canonicaliseContent(AnyHeader const& any, unsigned char const* content, TVKASNBuffer& out,
                        unsigned long& used, unsigned int depth) {
    unsigned long at = 0;
    unsigned long const length = any.header.contentLength;
    for (;;) {
        if (any.indefinite && isEndOfContents(content + at, length - at)) {
            used = at + 2;
            return TVKASN_OK;
        }
        if (at == length) {
            used = at;
            return any.indefinite ? TVKASN_TRUNCATED : TVKASN_OK;
        }
        unsigned long consumed = 0;
        if (int const status = canonicaliseAt(content + at, length - at, out, consumed, depth + 1);
            status != TVKASN_OK) {
            return status;
        }
        at += consumed;
    }
}

int canonicaliseAt(unsigned char const* bytes, unsigned long count, TVKASNBuffer& out,
                   unsigned long& consumed, unsigned int depth) {
    if (depth == kDeepest) {
        return TVKASN_TOO_DEEP;
    }
    AnyHeader any;
    if (int const status = readAnyHeader(bytes, count, any); status != TVKASN_OK) {
        return status;
    }
    unsigned char const* content = bytes + any.header.headerLength;
    unsigned long used = any.header.contentLength;
    TVKASNBuffer body(TVKASNSecure);
    bool constructed = any.header.constructed;
    if (!constructed) {
        body.append(content, used);
    } else {
        TVKASNBuffer children(TVKASNSecure);
        if (int const status = canonicaliseContent(any, content, children, used, depth);
            status != TVKASN_OK) {
            return status;
        }
        if (isStringTag(any.header)) {
            constructed = false;
            if (int const status = joinPieces(children, any.header.tag == kTagBitString, body);
                status != TVKASN_OK) {
                return status;
            }
        } else {
            body.append(children.data, children.length);
        }
    }
    unsigned char header[kLongestHeader];
    out.append(header, writeDerHeader(header, any.header.tagClass, constructed, any.header.tag, body.length));
    out.append(body.data, body.length);
    consumed = any.header.headerLength + used;
    return TVKASN_OK;
}

} // namespace

int canonicalise(unsigned char const* bytes, unsigned long count, TVKASNBuffer& out,
                 unsigned long& consumed) {
    return canonicaliseAt(bytes, count, out, consumed, 0);
}

} // namespace tvk
