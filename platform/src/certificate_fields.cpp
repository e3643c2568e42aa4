#include "certificate_fields.h"

#include "der_cursor.h"
#include "object_id.h"

#include <algorithm>

namespace wincrypt {
namespace {

bool readAlgorithm(DerCursor& from, AlgorithmView& view) {
    auto const sequence = from.next(tag::sequence);
    if (!sequence)
        return false;
    DerCursor inside(sequence->content);
    auto const objectId = inside.next(tag::objectId);
    if (!objectId || !isObjectId(objectId->content))
        return false;
    view.objectId = objectId->content;
    view.parameters = inside.rest();
    return inside.atEnd() || (inside.next() && inside.atEnd());
}

bool readBits(ByteView content, BitStringView& view) {
    if (content.empty() || content[0] > 7 || (content[0] != 0 && content.size() == 1))
        return false;
    view.unused = content[0];
    view.bits = content.subspan(1);
    return true;
}

// Days from 1601-01-01 to the given date of the Gregorian calendar.
std::int64_t daysSince1601(std::int64_t year, unsigned month, unsigned day) {
    std::int64_t const shifted = month <= 2 ? year - 1 : year;
    std::int64_t const era = shifted / 400;
    std::int64_t const ofEra = shifted - era * 400;
    std::int64_t const ofYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    return era * 146097 + ofEra * 365 + ofEra / 4 - ofEra / 100 + ofYear - 584694;
}

// UTCTime or GeneralizedTime, with seconds or without, in UTC or with an offset; zero when it is neither.
FILETIME readTime(DerElement const& element) {
    ByteView const text = element.content;
    std::size_t place = 0;
    bool good = true;
    auto const number = [&](std::size_t digits) {
        unsigned value = 0;
        for (std::size_t i = 0; i < digits; ++i, ++place) {
            if (place >= text.size() || text[place] < '0' || text[place] > '9') {
                good = false;
                return 0u;
            }
            value = value * 10 + (text[place] - '0');
        }
        return value;
    };
    std::int64_t year = number(element.tag == tag::utcTime ? 2 : 4);
    if (element.tag == tag::utcTime)
        year += year < 50 ? 2000 : 1900; // RFC 5280, 4.1.2.5.1
    unsigned const month = number(2);
    unsigned const day = number(2);
    unsigned const hour = number(2);
    unsigned const minute = number(2);
    bool const hasSecond = place < text.size() && text[place] >= '0' && text[place] <= '9';
    unsigned const second = hasSecond ? number(2) : 0;
    if (place < text.size() && text[place] == '.')
        for (++place; place < text.size() && text[place] >= '0' && text[place] <= '9';)
            ++place;
    std::int64_t offset = 0;
    if (place < text.size() && (text[place] == '+' || text[place] == '-')) {
        int const sign = text[place++] == '+' ? 1 : -1;
        unsigned const hours = number(2);
        offset = sign * static_cast<std::int64_t>(hours * 3600 + number(2) * 60);
    }
    if (!good || year < 1601 || month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 ||
        second > 60)
        return {};
    std::int64_t const seconds =
        daysSince1601(year, month, day) * 86400 + hour * 3600 + minute * 60 + second - offset;
    auto const ticks = static_cast<std::uint64_t>(seconds) * 10'000'000u;
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

// A string in pieces isn't DER, and nobody in the layer joins them.
bool isInPieces(std::uint8_t identifier) {
    bool const isUniversal = (identifier & 0xC0) == 0;
    bool const isConstructed = (identifier & 0x20) != 0;
    return isUniversal && isConstructed && identifier != tag::sequence && identifier != tag::set;
}

struct Extension {
    ByteView objectId;
    bool critical = false;
    ByteView value;
};

bool readExtension(DerCursor& from, Extension& extension) {
    auto const sequence = from.next(tag::sequence);
    if (!sequence)
        return false;
    DerCursor inside(sequence->content);
    auto const objectId = inside.next(tag::objectId);
    if (!objectId || !isObjectId(objectId->content))
        return false;
    extension.objectId = objectId->content;
    auto const critical = inside.next(tag::boolean);
    extension.critical = critical && !critical->content.empty() && critical->content[0] != 0;
    auto const value = inside.next(tag::octetString);
    if ((critical && critical->content.size() != 1) || !value || !inside.atEnd())
        return false;
    extension.value = value->content;
    return true;
}

bool readToBeSigned(ByteView content, CertificateFields& fields) {
    DerCursor body(content);
    if (auto const version = body.next(tag::contextConstructed(0))) {
        DerCursor inside(version->content);
        auto const number = inside.next(tag::integer);
        if (!number || number->content.size() != 1 || !inside.atEnd())
            return false;
        fields.version = number->content[0];
    }
    auto const serial = body.next(tag::integer);
    AlgorithmView inner;
    if (!serial || serial->content.empty() || !readAlgorithm(body, inner))
        return false;
    fields.serialNumber = serial->content;
    auto const issuer = body.next(tag::sequence);
    auto const validity = body.next(tag::sequence);
    auto const subject = body.next(tag::sequence);
    auto const publicKey = body.next(tag::sequence);
    if (!issuer || !validity || !subject || !publicKey || !isName(issuer->whole) || !isName(subject->whole) ||
        !parsePublicKey(publicKey->whole, fields.publicKey))
        return false;
    fields.issuer = issuer->whole;
    fields.subject = subject->whole;
    DerCursor times(validity->content);
    auto const isTime = [](std::optional<DerElement> const& element) {
        return element && (element->tag == tag::utcTime || element->tag == tag::generalizedTime);
    };
    auto const notBefore = times.next();
    auto const notAfter = times.next();
    if (!isTime(notBefore) || !isTime(notAfter) || !times.atEnd())
        return false;
    fields.notBefore = readTime(*notBefore);
    fields.notAfter = readTime(*notAfter);
    if (auto const id = body.next(tag::context(1)); id && !readBits(id->content, fields.issuerUniqueId))
        return false;
    if (auto const id = body.next(tag::context(2)); id && !readBits(id->content, fields.subjectUniqueId))
        return false;
    if (auto const wrapper = body.next(tag::contextConstructed(3))) {
        DerCursor inside(wrapper->content);
        auto const list = inside.next(tag::sequence);
        if (!list || !inside.atEnd())
            return false;
        fields.extensions = list->content;
        Extension extension;
        for (DerCursor each(list->content); !each.atEnd(); ++fields.extensionCount)
            if (!readExtension(each, extension))
                return false;
    }
    return body.atEnd();
}

BYTE* mutableBytes(ByteView view) {
    return const_cast<BYTE*>(
        view.data()); // the published structures have no const; nothing writes through them
}

CRYPT_INTEGER_BLOB blobOf(ByteView view) {
    return {static_cast<DWORD>(view.size()), view.empty() ? nullptr : mutableBytes(view)};
}

} // namespace

bool isName(ByteView encoding) {
    DerCursor outer(encoding);
    auto const sequence = outer.next(tag::sequence);
    if (!sequence || !outer.atEnd())
        return false;
    for (DerCursor sets(sequence->content); !sets.atEnd();) {
        auto const set = sets.next(tag::set);
        if (!set)
            return false;
        for (DerCursor attributes(set->content); !attributes.atEnd();) {
            auto const attribute = attributes.next(tag::sequence);
            DerCursor inside(attribute ? attribute->content : ByteView{});
            auto const type = inside.next(tag::objectId);
            auto const value = inside.next();
            if (!type || !isObjectId(type->content) || !value || !inside.atEnd() || isInPieces(value->tag))
                return false;
        }
    }
    return true;
}

bool parsePublicKey(ByteView subjectPublicKeyInfo, PublicKeyView& view) {
    DerCursor outer(subjectPublicKeyInfo);
    auto const sequence = outer.next(tag::sequence);
    if (!sequence)
        return false;
    view.whole = sequence->whole;
    DerCursor inside(sequence->content);
    if (!readAlgorithm(inside, view.algorithm))
        return false;
    auto const bits = inside.next(tag::bitString);
    return bits && readBits(bits->content, view.key) && inside.atEnd();
}

bool parseCertificate(ByteView encoding, CertificateFields& fields) {
    DerCursor input(encoding);
    auto const certificate = input.next(tag::sequence);
    if (!certificate || !input.atEnd() || encoding.size() > 0x7FFFFFFF)
        return false;
    fields = {};
    fields.encoding = encoding;
    DerCursor inside(certificate->content);
    auto const toBeSigned = inside.next(tag::sequence);
    BitStringView signature;
    if (!toBeSigned || !readToBeSigned(toBeSigned->content, fields) ||
        !readAlgorithm(inside, fields.signatureAlgorithm))
        return false;
    auto const bits = inside.next(tag::bitString);
    return bits && readBits(bits->content, signature) && inside.atEnd();
}

ByteView extensionValue(CertificateFields const& fields, ByteView objectId) {
    Extension extension;
    for (DerCursor each(fields.extensions); !each.atEnd() && readExtension(each, extension);)
        if (equal(extension.objectId, objectId))
            return extension.value;
    return {};
}

std::size_t certificateInfoRoom(CertificateFields const& fields) {
    return fields.extensionCount * sizeof(CERT_EXTENSION) + fields.serialNumber.size() +
           fields.extensions.size() * 4 + fields.extensionCount * 4 +
           dottedRoom(fields.signatureAlgorithm.objectId) + dottedRoom(fields.publicKey.algorithm.objectId);
}

bool fillCertificateInfo(CertificateFields const& fields, std::uint8_t const* encoding, std::byte* room,
                         CERT_INFO& info) {
    // The views were made on other memory than the copy that the structure is to point to.
    auto const moved = [&](ByteView view) {
        return view.empty() ? ByteView{}
                            : ByteView(encoding + (view.data() - fields.encoding.data()), view.size());
    };
    auto* const extensions = reinterpret_cast<CERT_EXTENSION*>(room);
    auto* text = reinterpret_cast<char*>(extensions + fields.extensionCount);
    auto const objectId = [&](ByteView content, LPSTR& target) {
        target = text;
        char* const end = writeObjectId(text, content);
        if (end == nullptr)
            return false;
        *end = '\0';
        text = end + 1;
        return true;
    };
    info = {};
    info.dwVersion = fields.version;
    info.SerialNumber = {static_cast<DWORD>(fields.serialNumber.size()), reinterpret_cast<BYTE*>(text)};
    std::reverse_copy(fields.serialNumber.begin(), fields.serialNumber.end(), reinterpret_cast<BYTE*>(text));
    text += fields.serialNumber.size();
    if (!objectId(fields.signatureAlgorithm.objectId, info.SignatureAlgorithm.pszObjId) ||
        !objectId(fields.publicKey.algorithm.objectId, info.SubjectPublicKeyInfo.Algorithm.pszObjId))
        return false;
    info.SignatureAlgorithm.Parameters = blobOf(moved(fields.signatureAlgorithm.parameters));
    info.SubjectPublicKeyInfo.Algorithm.Parameters = blobOf(moved(fields.publicKey.algorithm.parameters));
    auto const bits = [&](BitStringView const& view) {
        const auto blob = blobOf(moved(view.bits));
        return CRYPT_BIT_BLOB{blob.cbData, blob.pbData, view.unused};
    };
    info.SubjectPublicKeyInfo.PublicKey = bits(fields.publicKey.key);
    info.IssuerUniqueId = bits(fields.issuerUniqueId);
    info.SubjectUniqueId = bits(fields.subjectUniqueId);
    info.Issuer = blobOf(moved(fields.issuer));
    info.Subject = blobOf(moved(fields.subject));
    info.NotBefore = fields.notBefore;
    info.NotAfter = fields.notAfter;
    info.cExtension = fields.extensionCount;
    info.rgExtension = fields.extensionCount != 0 ? extensions : nullptr;
    DerCursor each(fields.extensions);
    for (DWORD i = 0; i < fields.extensionCount; ++i) {
        Extension extension;
        if (!readExtension(each, extension) || !objectId(extension.objectId, extensions[i].pszObjId))
            return false;
        extensions[i].fCritical = extension.critical ? TRUE : FALSE;
        extensions[i].Value = blobOf(moved(extension.value));
    }
    return true;
}

} // namespace wincrypt
