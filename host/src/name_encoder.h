#pragma once

#include <memory>
#include <optional>
#include <string>

namespace tvkstore {

// A part of a name as a text gives it.
struct NameAttribute {
    std::string type;
    std::string value; // without escapes; of the hexadecimal form the bytes of the encoding
    bool isEncoding = false;
    bool inSetOfPrevious = false; // as they stand in the text
};

// Makes the DER encoding of a name (RFC 5280, 4.1.2.4) from its parts, first relative name first.
class NameEncoder {
public:
    NameEncoder();
    ~NameEncoder();
    NameEncoder(NameEncoder const&) = delete;
    NameEncoder& operator=(NameEncoder const&) = delete;

    // Adds a relative name, or to the one added before. False for an unknown type, and for an encoding that
    // isn't that of a string.
    bool add(NameAttribute const& attribute, bool joinsPrevious);

    // Empty when the name can't be encoded.
    std::optional<std::string> finish();

private:
    struct Name;
    std::unique_ptr<Name> name_;
};

} // namespace tvkstore
