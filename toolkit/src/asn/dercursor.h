#pragma once

#include <tvkcore/asn/tvkasnobject.h>

#include <limits>

namespace tvk {

constexpr unsigned long kTagBoolean = 1;
constexpr unsigned long kTagInteger = 2;
constexpr unsigned long kTagBitString = 3;
constexpr unsigned long kTagOctetString = 4;
constexpr unsigned long kTagNull = 5;
constexpr unsigned long kTagObjectID = 6;
constexpr unsigned long kTagUTF8String = 12;
constexpr unsigned long kTagSequence = 16;
constexpr unsigned long kTagSet = 17;
constexpr unsigned long kTagUTCTime = 23;
constexpr unsigned long kTagGeneralizedTime = 24;

constexpr unsigned char kConstructedBit = 0x20;
constexpr unsigned char kSequenceOctet = 0x30;
constexpr unsigned char kSetOctet = 0x31;

// Identifier and length octets of one value.
struct DerHeader {
    unsigned long tag;
    unsigned char tagClass;
    bool constructed;
    unsigned char headerLength;
    unsigned long contentLength;
};

int readLongDerHeader(unsigned char const* bytes, unsigned long count, DerHeader& header);

// Reads the header at the front of `count` bytes and checks that the content lies within them: definite
// length in the fewest octets, tag number in the fewest octets (X.690, 8.1.2 and 10.1). A TVKASNStatus.
inline int readDerHeader(unsigned char const* bytes, unsigned long count, DerHeader& header) {
    if (count < 2 || (bytes[0] & 0x1F) == 0x1F || bytes[1] >= 0x80) {
        return readLongDerHeader(bytes, count, header);
    }
    header.tag = bytes[0] & 0x1F;
    header.tagClass = bytes[0] & 0xC0;
    header.constructed = (bytes[0] & kConstructedBit) != 0;
    header.headerLength = 2;
    header.contentLength = bytes[1];
    return header.contentLength > count - 2 ? TVKASN_TRUNCATED : TVKASN_OK;
}

// Walks the values that stand one behind the other in a span. Allocates nothing.
class DerCursor {
public:
    DerCursor(unsigned char const* bytes, unsigned long count) : at_(bytes), left_(count) {}

    bool atEnd() const { return left_ == 0; }

    // Reads the next value; `value` and `content` then show all of it and its content octets.
    int next(DerHeader& header, TVKASNCBuffer& value, TVKASNCBuffer& content) {
        if (int const status = readDerHeader(at_, left_, header); status != TVKASN_OK) {
            return status;
        }
        unsigned long const size = header.headerLength + header.contentLength;
        value.data = const_cast<unsigned char*>(at_);
        value.length = size;
        content.data = value.data + header.headerLength;
        content.length = header.contentLength;
        at_ += size;
        left_ -= size;
        return TVKASN_OK;
    }

    // The same, for a value whose single identifier octet is known.
    int expect(unsigned char identifier, TVKASNCBuffer& content) {
        if (left_ != 0 && at_[0] != identifier) {
            return TVKASN_WRONG_TYPE;
        }
        DerHeader header;
        TVKASNCBuffer value;
        return next(header, value, content);
    }

    unsigned char const* position() const { return at_; }

private:
    unsigned char const* at_;
    unsigned long left_;
};

constexpr unsigned int kLongestHeader = 16;

// Writes identifier and length octets into `out`, which has room for kLongestHeader of them, and gives their
// number.
unsigned int writeDerHeader(unsigned char* out, unsigned char tagClass, bool constructed, unsigned long tag,
                            unsigned long contentLength);

// Whether the bytes are the content of an OBJECT IDENTIFIER (X.690, 8.19).
bool isObjectIDContent(unsigned char const* bytes, unsigned long count);

// Whether the tag is that of a string type, which other encodings may give in pieces.
bool isStringTag(DerHeader const& header);

// 0 when two whole values are equal: the same bytes, or the same tags with equal numbers, bits and octets.
int compareValues(unsigned char const* a, unsigned long aLength, unsigned char const* b,
                  unsigned long bLength);

// Rewrites one value that is encoded by any of the rules of X.690 by the distinguished ones, as far as tags
// tell the type: definite shortest lengths, strings in one piece. `consumed` is the length of what was read.
int canonicalise(unsigned char const* bytes, unsigned long count, TVKASNBuffer& out, unsigned long& consumed);

} // namespace tvk
