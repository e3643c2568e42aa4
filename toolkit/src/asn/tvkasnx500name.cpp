#include <tvkcore/asn/tvkasnx500name.h>

#include <tvkcore/asn/tvkasnutility.h>

#include "dercursor.h"
#include "x500strings.h"

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

namespace {

struct LetterRange {
    unsigned long first;
    unsigned long last;
    unsigned int step; // 1: every letter, 2: every second one, beginning with the first
    unsigned long distance;
};

// Capital letters of Latin, Greek, Cyrillic and Armenian with the way to their small ones, in ascending
// order.
constexpr LetterRange kCapitals[] = {
    {0x41, 0x5A, 1, 32},    {0xC0, 0xD6, 1, 32},    {0xD8, 0xDE, 1, 32},   {0x100, 0x12E, 2, 1},
    {0x132, 0x136, 2, 1},   {0x139, 0x147, 2, 1},   {0x14A, 0x176, 2, 1},  {0x178, 0x178, 1, 0UL - 0x79},
    {0x179, 0x17D, 2, 1},   {0x1CD, 0x1DB, 2, 1},   {0x1DE, 0x1EE, 2, 1},  {0x1F8, 0x21E, 2, 1},
    {0x222, 0x232, 2, 1},   {0x386, 0x386, 1, 38},  {0x388, 0x38A, 1, 37}, {0x38C, 0x38C, 1, 64},
    {0x38E, 0x38F, 1, 63},  {0x391, 0x3A1, 1, 32},  {0x3A3, 0x3AB, 1, 32}, {0x3C2, 0x3C2, 1, 1},
    {0x400, 0x40F, 1, 80},  {0x410, 0x42F, 1, 32},  {0x460, 0x480, 2, 1},  {0x48A, 0x4BE, 2, 1},
    {0x4C0, 0x4C0, 1, 15},  {0x4C1, 0x4CD, 2, 1},   {0x4D0, 0x52E, 2, 1},  {0x531, 0x556, 1, 48},
    {0x1E00, 0x1E94, 2, 1}, {0x1EA0, 0x1EFE, 2, 1},
};

// The small letter of a capital one; the final form of the Greek sigma counts as the other.
unsigned long foldCase(unsigned long character) {
    for (LetterRange const& range : kCapitals) {
        if (character <= range.last) {
            bool const isCapital = character >= range.first && (character - range.first) % range.step == 0;
            return isCapital ? character + range.distance : character;
        }
    }
    return character;
}

bool isSpace(unsigned long c) {
    return c == ' ' || (c >= 9 && c <= 13) || c == 0x85 || c == 0xA0 || c == 0x1680 ||
           (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F ||
           c == 0x3000;
}

// Reads one character of UTF-8; a byte that starts none stands for itself, out of the range of characters.
unsigned long nextCharacter(std::string const& text, std::size_t& at) {
    auto const lead = static_cast<unsigned char>(text[at++]);
    unsigned int const more = lead < 0xC0 ? 0 : (lead < 0xE0 ? 1 : (lead < 0xF0 ? 2 : 3));
    if (lead < 0x80) {
        return lead;
    }
    if (more == 0 || text.size() - at < more) {
        return 0x110000UL + lead;
    }
    unsigned long character = lead & (0x3FU >> more);
    for (unsigned int i = 0; i < more; ++i) {
        auto const octet = static_cast<unsigned char>(text[at + i]);
        if ((octet & 0xC0) != 0x80) {
            return 0x110000UL + lead;
        }
        character = (character << 6) | (octet & 0x3F);
    }
    at += more;
    return character;
}

// A text as RFC 5280, 7.1, compares it: folded case, no space at the ends, one between words.
std::u32string comparable(std::string const& text) {
    std::u32string out;
    out.reserve(text.size());
    bool space = false;
    for (std::size_t at = 0; at < text.size();) {
        unsigned long const character = nextCharacter(text, at);
        if (isSpace(character)) {
            space = !out.empty();
            continue;
        }
        if (space) {
            out += U' ';
            space = false;
        }
        out += static_cast<char32_t>(foldCase(character));
    }
    return out;
}

struct ComparableAttribute {
    unsigned int relativeName;
    std::string type;
    bool isText;
    std::u32string text; // of a text
    std::string value;   // of anything else

    auto fields() const { return std::tie(relativeName, type, isText, text, value); }
    friend bool operator==(ComparableAttribute const& a, ComparableAttribute const& b) {
        return a.fields() == b.fields();
    }
    friend bool operator<(ComparableAttribute const& a, ComparableAttribute const& b) {
        return a.fields() < b.fields();
    }
};

std::string bytesOf(TVKASNCBuffer const& view) {
    return {reinterpret_cast<char const*>(view.data), view.length};
}

// The attributes of a name in the order in which names are compared. Most names differ early, so no more is
// made comparable than is asked for.
class ComparableAttributes {
public:
    ComparableAttributes(unsigned char const* content, unsigned long length) : cursor_(content, length) {
        advance();
    }

    // The next one, until the one after it is asked for; null at the end.
    ComparableAttribute const* next() {
        if (++place_ >= together_.size()) {
            readRelativeName();
        }
        return together_.empty() ? nullptr : &together_[place_];
    }

private:
    void advance() { hasAttribute_ = cursor_.next(attribute_) == TVKASN_OK; }

    // Within a relative name the attributes come in any order.
    void readRelativeName() {
        together_.clear();
        place_ = 0;
        for (unsigned int const number = attribute_.relativeName;
             hasAttribute_ && attribute_.relativeName == number; advance()) {
            std::string text;
            bool const isText = tvk::textOfValue(attribute_.valueHeader, attribute_.valueContent, text);
            together_.push_back({number, bytesOf(attribute_.type), isText,
                                 isText ? comparable(text) : std::u32string(),
                                 isText ? std::string() : bytesOf(attribute_.value)});
        }
        std::sort(together_.begin(), together_.end());
    }

    tvk::NameCursor cursor_;
    tvk::NameAttribute attribute_{};
    bool hasAttribute_ = false;
    std::vector<ComparableAttribute> together_; // of one relative name
    std::size_t place_ = 0;
};

} // namespace

TVKASNx500Name::TVKASNx500Name(TVKASNSecurityType security)
    : TVKASNObject(security, TVKASNUniversal, tvk::kTagSequence, true) {}

TVKASNx500Name::~TVKASNx500Name() = default;

int TVKASNx500Name::decode_value(TVKASNCBuffer& content, unsigned long length) {
    if (length > content.length) {
        return TVKASN_TRUNCATED;
    }
    tvk::NameCursor cursor(content.data, length);
    tvk::NameAttribute attribute;
    int status = TVKASN_OK;
    while (status == TVKASN_OK) {
        status = cursor.next(attribute);
        if (status == TVKASN_OK && attribute.valueHeader.constructed &&
            tvk::isStringTag(attribute.valueHeader)) {
            // A string in pieces is none of the distinguished encodings.
            status = TVKASN_WRONG_TYPE;
        }
    }
    if (status != TVKASN_NO_VALUE) {
        return status;
    }
    content.data += length;
    content.length -= length;
    return TVKASN_OK;
}

int TVKASNx500Name::encode_value(TVKASNBuffer& out) const {
    if (!is_present()) {
        return TVKASN_NO_VALUE;
    }
    out.append(content(), content_length());
    return TVKASN_OK;
}

int TVKASNx500Name::display(TVKASNBuffer& out) const {
    if (!is_present()) {
        return TVKASN_NO_VALUE;
    }
    TVKString const text = TVKASNUtility::getRFC2253String(*this, false, TVKASNStrRepRFC2253);
    out.append(reinterpret_cast<unsigned char const*>(text.c_str()), text.size());
    return TVKASN_OK;
}

int TVKASNx500Name::compare(TVKASNx500Name const& a, TVKASNx500Name const& b) {
    if (TVKASNObject::compare(a, b) == 0) {
        return 0;
    }
    if (!a.is_present() || !b.is_present()) {
        return a.is_present() ? 1 : -1;
    }
    ComparableAttributes left(a.content(), a.content_length());
    ComparableAttributes right(b.content(), b.content_length());
    for (;;) {
        ComparableAttribute const* const one = left.next();
        ComparableAttribute const* const other = right.next();
        if (one == nullptr || other == nullptr) {
            return one != nullptr ? 1 : (other != nullptr ? -1 : 0);
        }
        if (!(*one == *other)) {
            return *one < *other ? -1 : 1;
        }
    }
}
