#include "name_text.h"

#include "failure.h"
#include "libcrypto_objects.h"

#include <openssl/err.h>
#include <openssl/x509.h>

#include <cctype>
#include <optional>
#include <string_view>
#include <vector>

namespace tvkstore {

namespace {

struct Attribute {
    std::string type;
    std::string value; // without escapes; of the hexadecimal form the bytes of the encoding
    bool isEncoding = false;
    bool inSetOfPrevious = false; // as they stand in the text
};

std::optional<unsigned char> hexByte(std::string_view text) {
    if (text.size() < 2 || std::isxdigit(static_cast<unsigned char>(text[0])) == 0 ||
        std::isxdigit(static_cast<unsigned char>(text[1])) == 0) {
        return std::nullopt;
    }
    return static_cast<unsigned char>(std::stoi(std::string(text.substr(0, 2)), nullptr, 16));
}

// Takes a text apart from the front. A false result means that the text isn't of the form.
class NameReader {
public:
    explicit NameReader(std::string_view text) : left_(text) {}

    bool read(std::vector<Attribute>& attributes) {
        bool inSet = false;
        for (;;) {
            Attribute attribute;
            attribute.inSetOfPrevious = inSet;
            if (!readType(attribute.type) || !readValue(attribute)) {
                return false;
            }
            attributes.push_back(std::move(attribute));
            if (left_.empty()) {
                return true;
            }
            inSet = left_.front() == '+';
            left_.remove_prefix(1);
        }
    }

private:
    void skipSpaces() {
        while (left_.starts_with(' ')) {
            left_.remove_prefix(1);
        }
    }

    bool readType(std::string& type) {
        skipSpaces();
        std::size_t const end = left_.find('=');
        if (end == std::string_view::npos) {
            return false;
        }
        type = left_.substr(0, end);
        type.erase(type.find_last_not_of(' ') + 1);
        left_.remove_prefix(end + 1);
        return !type.empty();
    }

    bool readValue(Attribute& attribute) {
        skipSpaces();
        if (left_.starts_with('#')) {
            left_.remove_prefix(1);
            attribute.isEncoding = true;
            return readDigits(attribute.value);
        }
        if (left_.starts_with('"')) {
            left_.remove_prefix(1);
            return readQuoted(attribute.value);
        }
        return readPlain(attribute.value);
    }

    bool readDigits(std::string& bytes) {
        while (std::optional<unsigned char> const byte = hexByte(left_)) {
            bytes += static_cast<char>(*byte);
            left_.remove_prefix(2);
        }
        return !bytes.empty() && atEnd();
    }

    bool readQuoted(std::string& value) {
        while (!left_.empty() && left_.front() != '"') {
            if (!readCharacter(value)) {
                return false;
            }
        }
        if (left_.empty()) {
            return false;
        }
        left_.remove_prefix(1);
        return atEnd();
    }

    // Spaces at the end belong to the value only where they are escaped.
    bool readPlain(std::string& value) {
        std::size_t kept = 0;
        while (!left_.empty() && left_.front() != ',' && left_.front() != '+' && left_.front() != ';') {
            bool const isSpace = left_.front() == ' ';
            if (!readCharacter(value)) {
                return false;
            }
            kept = isSpace ? kept : value.size();
        }
        value.resize(kept);
        return true;
    }

    bool readCharacter(std::string& value) {
        if (left_.front() != '\\') {
            value += left_.front();
            left_.remove_prefix(1);
            return true;
        }
        left_.remove_prefix(1);
        if (std::optional<unsigned char> const byte = hexByte(left_)) {
            value += static_cast<char>(*byte);
            left_.remove_prefix(2);
            return true;
        }
        if (left_.empty()) {
            return false;
        }
        value += left_.front();
        left_.remove_prefix(1);
        return true;
    }

    bool atEnd() {
        skipSpaces();
        return left_.empty() || left_.front() == ',' || left_.front() == '+' || left_.front() == ';';
    }

    std::string_view left_;
};

[[noreturn]] void refuse(std::string const& option, std::string const& what) {
    ERR_clear_error();
    throw Failure(ExitCode::usage, option + ": " + what,
                  {"a name looks like \"CN=Ada Byron,O=Engines,C=GB\""});
}

// Names of types have no case (RFC 2253, 2.3), but libcrypto's table does.
CryptoObject<ASN1_OBJECT> typeOf(std::string name) {
    CryptoObject<ASN1_OBJECT> type(OBJ_txt2obj(name.c_str(), 0));
    for (int (*const convert)(int) :
         {static_cast<int (*)(int)>(std::toupper), static_cast<int (*)(int)>(std::tolower)}) {
        if (type == nullptr) {
            for (char& character : name) {
                character = static_cast<char>(convert(static_cast<unsigned char>(character)));
            }
            type.reset(OBJ_txt2obj(name.c_str(), 0));
        }
    }
    ERR_clear_error();
    return type;
}

// `set`: as libcrypto counts, 0 for a new relative name, -1 for the one before.
bool add(X509_NAME& name, Attribute const& attribute, int set) {
    CryptoObject<ASN1_OBJECT> const type = typeOf(attribute.type);
    if (type == nullptr) {
        return false;
    }
    auto const* const bytes = reinterpret_cast<unsigned char const*>(attribute.value.data());
    auto const length = static_cast<int>(attribute.value.size());
    if (!attribute.isEncoding) {
        // Names compare without regard to the string type; this one has no limits on the length.
        return X509_NAME_add_entry_by_OBJ(&name, type.get(), V_ASN1_UTF8STRING, bytes, length, -1, set) == 1;
    }
    unsigned char const* end = bytes;
    CryptoObject<ASN1_TYPE> const value(d2i_ASN1_TYPE(nullptr, &end, length));
    if (value == nullptr || end != bytes + length) {
        return false;
    }
    switch (ASN1_TYPE_get(value.get())) {
    case V_ASN1_BOOLEAN:
    case V_ASN1_NULL:
    case V_ASN1_OBJECT:
        return false; // not held as strings
    }
    ASN1_STRING const* const string = value->value.asn1_string;
    return X509_NAME_add_entry_by_OBJ(&name, type.get(), ASN1_STRING_type(string),
                                      ASN1_STRING_get0_data(string), ASN1_STRING_length(string), -1,
                                      set) == 1;
}

} // namespace

std::string encodeName(std::string const& option, std::string const& text) {
    std::vector<Attribute> attributes;
    if (!NameReader(text).read(attributes)) {
        refuse(option, '"' + text + "\" isn't a name");
    }
    CryptoObject<X509_NAME> const name(X509_NAME_new());
    if (name == nullptr) {
        throw std::bad_alloc();
    }
    // The encoding starts with the last one of the text; inside a set the order doesn't matter.
    bool joins = false;
    for (auto attribute = attributes.rbegin(); attribute != attributes.rend(); ++attribute) {
        if (!add(*name, *attribute, joins ? -1 : 0)) {
            refuse(option, "\"" + attribute->type + '=' +
                               (attribute->isEncoding ? "#..." : attribute->value) +
                               "\" can't be part of a name");
        }
        joins = attribute->inSetOfPrevious;
    }
    unsigned char* bytes = nullptr;
    int const length = i2d_X509_NAME(name.get(), &bytes);
    if (length < 0) {
        refuse(option, '"' + text + "\" can't be encoded");
    }
    std::string encoding(reinterpret_cast<char const*>(bytes), static_cast<std::size_t>(length));
    OPENSSL_free(bytes);
    return encoding;
}

} // namespace tvkstore
