#include <tvkcore/asn/tvkasnprimitive.h>

#include "dercursor.h"
#include "objectid.h"

#include <cstring>

namespace {

void appendText(TVKASNBuffer& out, std::string const& text) {
    out.append(reinterpret_cast<unsigned char const*>(text.data()), text.size());
}

void appendHex(TVKASNBuffer& out, unsigned char const* bytes, unsigned long count) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(2 * count);
    for (unsigned long i = 0; i < count; ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 0x0F];
    }
    appendText(out, text);
}

} // namespace

TVKASNPrimitive::TVKASNPrimitive(TVKASNSecurityType security, unsigned long tag)
    : TVKASNObject(security, TVKASNUniversal, tag, false) {}

TVKASNPrimitive::~TVKASNPrimitive() = default;

int TVKASNPrimitive::decode_value(TVKASNCBuffer& content, unsigned long length) {
    if (length > content.length) {
        return TVKASN_TRUNCATED;
    }
    if (int const status = check_content(content.data, length); status != TVKASN_OK) {
        return status;
    }
    content.data += length;
    content.length -= length;
    return TVKASN_OK;
}

int TVKASNPrimitive::encode_value(TVKASNBuffer& out) const {
    if (!is_present()) {
        return TVKASN_NO_VALUE;
    }
    out.append(content(), content_length());
    return TVKASN_OK;
}

int TVKASNPrimitive::display(TVKASNBuffer& out) const {
    if (!is_present()) {
        return TVKASN_NO_VALUE;
    }
    if (security() == TVKASNSecure) {
        appendText(out, "secret of " + std::to_string(content_length()) + " bytes");
    } else {
        appendHex(out, content(), content_length());
    }
    return TVKASN_OK;
}

int TVKASNPrimitive::check_content(unsigned char const* /*bytes*/, unsigned long /*length*/) const {
    return TVKASN_OK;
}

TVKASNInteger::TVKASNInteger(TVKASNSecurityType security) : TVKASNPrimitive(security, tvk::kTagInteger) {}

TVKASNInteger::~TVKASNInteger() = default;

int TVKASNInteger::get_value(unsigned char*& value, unsigned long& length) const {
    if (!is_present()) {
        return TVKASN_NO_VALUE;
    }
    value = const_cast<unsigned char*>(content());
    length = content_length();
    return TVKASN_OK;
}

int TVKASNInteger::get_value(long& value) const {
    if (!is_present()) {
        return TVKASN_NO_VALUE;
    }
    unsigned char const* bytes = content();
    unsigned long length = content_length();
    unsigned char const sign = (bytes[0] & 0x80) != 0 ? 0xFF : 0x00;
    while (length > sizeof(long)) {
        if (bytes[0] != sign) {
            return TVKASN_OUT_OF_RANGE;
        }
        ++bytes;
        --length;
    }
    if (((bytes[0] ^ sign) & 0x80) != 0) {
        return TVKASN_OUT_OF_RANGE;
    }
    unsigned long number = sign == 0 ? 0UL : ~0UL;
    for (unsigned long i = 0; i < length; ++i) {
        number = (number << 8) | bytes[i];
    }
    value = static_cast<long>(number);
    return TVKASN_OK;
}

int TVKASNInteger::set_value(unsigned char const* value, unsigned long length) {
    return length == 0 || value == nullptr ? static_cast<int>(TVKASN_BAD_VALUE)
                                           : store_content(value, length);
}

int TVKASNInteger::set_value(long value) {
    unsigned char bytes[sizeof(long)];
    auto const number = static_cast<unsigned long>(value);
    for (unsigned int i = 0; i < sizeof bytes; ++i) {
        bytes[i] = static_cast<unsigned char>(number >> (8 * (sizeof bytes - 1 - i)));
    }
    unsigned int first = 0;
    while (first + 1 < sizeof bytes && ((bytes[first] == 0x00 && bytes[first + 1] < 0x80) ||
                                        (bytes[first] == 0xFF && bytes[first + 1] >= 0x80))) {
        ++first;
    }
    return store_content(bytes + first, sizeof bytes - first);
}

int TVKASNInteger::check_content(unsigned char const* /*bytes*/, unsigned long length) const {
    return length == 0 ? TVKASN_BAD_VALUE : TVKASN_OK;
}

TVKASNOctetString::TVKASNOctetString(TVKASNSecurityType security)
    : TVKASNOctetString(security, tvk::kTagOctetString) {}

TVKASNOctetString::TVKASNOctetString(TVKASNSecurityType security, unsigned long tag)
    : TVKASNPrimitive(security, tag) {}

TVKASNOctetString::~TVKASNOctetString() = default;

int TVKASNOctetString::get_value(unsigned char*& value, unsigned long& length) const {
    if (!is_present()) {
        return TVKASN_NO_VALUE;
    }
    value = const_cast<unsigned char*>(content());
    length = content_length();
    return TVKASN_OK;
}

int TVKASNOctetString::set_value(unsigned char const* value, unsigned long length) {
    return value == nullptr && length != 0 ? static_cast<int>(TVKASN_BAD_VALUE)
                                           : store_content(value, length);
}

TVKASNUTF8String::TVKASNUTF8String(TVKASNSecurityType security)
    : TVKASNOctetString(security, tvk::kTagUTF8String) {}

TVKASNUTF8String::~TVKASNUTF8String() = default;

TVKASNBitString::TVKASNBitString(TVKASNSecurityType security)
    : TVKASNPrimitive(security, tvk::kTagBitString) {}

TVKASNBitString::~TVKASNBitString() = default;

int TVKASNBitString::get_value(unsigned char*& value, unsigned long& length) const {
    if (!is_present()) {
        return TVKASN_NO_VALUE;
    }
    value = const_cast<unsigned char*>(content()) + 1;
    unsigned long const octets = content_length() - 1;
    length = octets == 0 ? 0 : 8 * octets - content()[0];
    return TVKASN_OK;
}

int TVKASNBitString::set_value(unsigned char* value, unsigned long length) {
    if (value == nullptr && length != 0) {
        return TVKASN_BAD_VALUE;
    }
    unsigned long const octets = length / 8 + (length % 8 != 0 ? 1 : 0);
    // A buffer, because its bytes are wiped when it goes.
    TVKBuffer const buffer(static_cast<unsigned int>(octets + 1), nullptr);
    auto* const bytes = const_cast<unsigned char*>(buffer.getValue());
    auto const unused = static_cast<unsigned char>(8 * octets - length);
    bytes[0] = unused;
    if (octets != 0) {
        std::memcpy(bytes + 1, value, octets);
        bytes[octets] &= static_cast<unsigned char>(0xFF << unused);
    }
    return store_content(bytes, octets + 1);
}

// Unused bits that aren't zero, and a count of them without any bits, are let pass: such certificates are
// about.
int TVKASNBitString::check_content(unsigned char const* bytes, unsigned long length) const {
    return length == 0 || bytes[0] > 7 ? TVKASN_BAD_VALUE : TVKASN_OK;
}

TVKASNObjectID::TVKASNObjectID(TVKASNSecurityType security) : TVKASNPrimitive(security, tvk::kTagObjectID) {}

TVKASNObjectID::~TVKASNObjectID() = default;

bool TVKASNObjectID::is_equal(unsigned long const* arcs, unsigned int count) const {
    return is_present() && tvk::equalsObjectID(content(), content_length(), arcs, count);
}

int TVKASNObjectID::set_value(unsigned long* arcs, unsigned int count) {
    std::string const encoded = tvk::encodeObjectID(arcs, count);
    if (encoded.empty()) {
        return TVKASN_BAD_VALUE;
    }
    return store_content(reinterpret_cast<unsigned char const*>(encoded.data()), encoded.size());
}

std::string TVKASNObjectID::get_dotted() const {
    return is_present() ? tvk::dottedObjectID(content(), content_length()) : std::string();
}

int TVKASNObjectID::check_content(unsigned char const* bytes, unsigned long length) const {
    return tvk::isObjectIDContent(bytes, length) ? TVKASN_OK : TVKASN_BAD_VALUE;
}

TVKASNNull::TVKASNNull(TVKASNSecurityType security) : TVKASNPrimitive(security, tvk::kTagNull) {
    store_content(nullptr, 0);
}

TVKASNNull::~TVKASNNull() = default;

int TVKASNNull::check_content(unsigned char const* /*bytes*/, unsigned long length) const {
    return length == 0 ? TVKASN_OK : TVKASN_BAD_VALUE;
}

TVKASNAny::TVKASNAny(TVKASNSecurityType security) : TVKASNObject(security, TVKASNUniversal, 0, false) {}

TVKASNAny::~TVKASNAny() = default;

int TVKASNAny::decode_value(TVKASNCBuffer& content, unsigned long length) {
    if (length > content.length) {
        return TVKASN_TRUNCATED;
    }
    content.data += length;
    content.length -= length;
    return TVKASN_OK;
}

int TVKASNAny::encode_value(TVKASNBuffer& out) const {
    if (!is_present()) {
        return TVKASN_NO_VALUE;
    }
    out.append(content(), content_length());
    return TVKASN_OK;
}

bool TVKASNAny::is_polymorphic() const { return true; }

void TVKASNAny::set_class(int tagClass) {
    tagged_ = true;
    TVKASNObject::set_class(tagClass);
}

void TVKASNAny::set_tag(unsigned long tag) {
    tagged_ = true;
    TVKASNObject::set_tag(tag);
}

int TVKASNAny::display(TVKASNBuffer& out) const {
    if (!is_present()) {
        return TVKASN_NO_VALUE;
    }
    if (security() == TVKASNSecure) {
        appendText(out, "secret of " + std::to_string(content_length()) + " bytes");
    } else {
        appendHex(out, content(), content_length());
    }
    return TVKASN_OK;
}

bool TVKASNAny::check_type(unsigned long tag, int tagClass) const {
    return !tagged_ || TVKASNObject::check_type(tag, tagClass);
}
