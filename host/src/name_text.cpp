#include "name_text.h"

#include "failure.h"
#include "name_encoder.h"

#include <cctype>
#include <optional>
#include <string_view>
#include <vector>

namespace tvkstore {

namespace {

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

    bool read(std::vector<NameAttribute>& attributes) {
        bool inSet = false;
        for (;;) {
            NameAttribute attribute;
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

    bool readValue(NameAttribute& attribute) {
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
    throw Failure(ExitCode::usage, option + ": " + what,
                  {"a name looks like \"CN=Ada Byron,O=Engines,C=GB\""});
}

} // namespace

std::string encodeName(std::string const& option, std::string const& text) {
    std::vector<NameAttribute> attributes;
    if (!NameReader(text).read(attributes)) {
        refuse(option, '"' + text + "\" isn't a name");
    }
    NameEncoder encoder;
    // The encoding starts with the last one of the text; inside a set the order doesn't matter.
    bool joins = false;
    for (auto attribute = attributes.rbegin(); attribute != attributes.rend(); ++attribute) {
        if (!encoder.add(*attribute, joins)) {
            refuse(option, "\"" + attribute->type + '=' +
                               (attribute->isEncoding ? "#..." : attribute->value) +
                               "\" can't be part of a name");
        }
        joins = attribute->inSetOfPrevious;
    }
    std::optional<std::string> encoding = encoder.finish();
    if (!encoding) {
        refuse(option, '"' + text + "\" can't be encoded");
    }
    return *std::move(encoding);
}

} // namespace tvkstore
