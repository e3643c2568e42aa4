#include "name_encoder.h"

#include "rsa_encoding_windows.h"
#include "toolkit_bytes.h"

#include <tvkcore/asn/tvkasnutility.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <string_view>
#include <vector>

namespace tvkstore {

namespace {

constexpr unsigned char kUtf8String = 0x0C;
constexpr unsigned char kSequence = 0x30;
constexpr unsigned char kSet = 0x31;

// What a value can be: BIT STRING, the types of text, and for addresses a SEQUENCE of such.
constexpr std::array<unsigned char, 9> kStrings{0x03, kUtf8String, 0x12, 0x13,     0x14,
                                                0x16, 0x1C,        0x1E, kSequence};

// One value with its header (X.690, 8.1 and 10.1).
std::string valueOf(unsigned char identifier, std::string_view content) {
    std::string value(1, static_cast<char>(identifier));
    if (content.size() < 0x80) {
        value += static_cast<char>(content.size());
    } else {
        std::string length;
        for (std::size_t left = content.size(); left != 0; left >>= 8) {
            length.insert(length.begin(), static_cast<char>(left & 0xFF));
        }
        value += static_cast<char>(0x80 | length.size());
        value += length;
    }
    return value.append(content);
}

std::string encodingOf(std::vector<unsigned long> arcs) {
    TVKASNObjectID identifier(TVKASNNotSecure);
    if (identifier.set_value(arcs.data(), static_cast<unsigned int>(arcs.size())) != TVKASN_OK) {
        return {};
    }
    return std::string(bytesOf(TVKASNUtility::getDEREncoding(identifier)));
}

// Empty for a text that isn't a dotted object identifier.
std::string encodeDotted(std::string_view text) {
    std::vector<unsigned long> arcs;
    for (std::size_t begin = 0; begin <= text.size();) {
        std::size_t const end = std::min(text.find('.', begin), text.size());
        unsigned long arc = 0;
        auto const [read, error] = std::from_chars(text.data() + begin, text.data() + end, arc);
        if (error != std::errc() || read != text.data() + end) {
            return {};
        }
        arcs.push_back(arc);
        begin = end + 1;
    }
    return encodingOf(std::move(arcs));
}

bool isSameWithoutCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

// What stands in front of the value where the toolkit shows an attribute of the type.
std::string shownType(std::string const& type) {
    std::string const attribute = valueOf(kSequence, type + valueOf(kUtf8String, ""));
    TVKASNx500Name name(TVKASNNotSecure);
    if (!decodeAll(valueOf(kSequence, valueOf(kSet, attribute)), name)) {
        return {};
    }
    TVKString const text = TVKASNUtility::getRFC2253String(name, false, TVKASNStrRepRFC2253);
    return std::string(text.view().substr(0, text.view().find('=')));
}

// The families of attributes that have names, each without the last arc: X.520, RFC 4524, RFC 2985, where a
// company is registered, and those of Russian registers.
std::vector<std::vector<unsigned long>> families() {
    return {{2, 5, 4},
            {0, 9, 2342, 19200300, 100, 1},
            {1, 2, 840, 113549, 1, 9},
            {1, 3, 6, 1, 4, 1, 311, 60, 2, 1},
            {1, 2, 643, 100},
            {1, 2, 643, 3, 131, 1}};
}

// The toolkit tells the name of a type but not the type of a name, so each type is asked for its name. A name
// in the same case goes first, as some differ by case alone. Empty for a name that no type has.
std::string encodeNamed(std::string_view wanted) {
    constexpr unsigned long lastArc = 127;
    std::string found;
    for (std::vector<unsigned long> arcs : families()) {
        arcs.push_back(0);
        for (arcs.back() = 1; arcs.back() <= lastArc; ++arcs.back()) {
            std::string const type = encodingOf(arcs);
            std::string const name = shownType(type);
            if (name == wanted) {
                return type;
            }
            if (found.empty() && isSameWithoutCase(name, wanted)) {
                found = type;
            }
        }
    }
    return found;
}

bool isStringEncoding(std::string const& encoding) {
    TVKASNAny value(TVKASNNotSecure);
    if (!decodeAll(encoding, value)) {
        return false;
    }
    auto const identifier = static_cast<unsigned char>(encoding.front());
    return std::find(kStrings.begin(), kStrings.end(), identifier) != kStrings.end();
}

} // namespace

// The encodings of the attributes of each relative name.
struct NameEncoder::Name {
    std::vector<std::vector<std::string>> parts;
};

NameEncoder::NameEncoder() : name_(std::make_unique<Name>()) {}

NameEncoder::~NameEncoder() = default;

bool NameEncoder::add(NameAttribute const& attribute, bool joinsPrevious) {
    std::string type = encodeDotted(attribute.type);
    if (type.empty()) {
        type = encodeNamed(attribute.type);
    }
    if (type.empty() || (attribute.isEncoding && !isStringEncoding(attribute.value))) {
        return false;
    }
    if (!joinsPrevious) {
        name_->parts.emplace_back();
    }
    // Names compare without regard to the string type; this one has no limits on the length.
    std::string const value = attribute.isEncoding ? attribute.value : valueOf(kUtf8String, attribute.value);
    name_->parts.back().push_back(valueOf(kSequence, type + value));
    return true;
}

std::optional<std::string> NameEncoder::finish() {
    std::string content;
    for (std::vector<std::string>& attributes : name_->parts) {
        // The order of a SET OF (X.690, 11.6).
        std::sort(attributes.begin(), attributes.end());
        std::string set;
        for (std::string const& attribute : attributes) {
            set += attribute;
        }
        content += valueOf(kSet, set);
    }
    return valueOf(kSequence, content);
}

} // namespace tvkstore
