#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tvkstore {

// A serial number as people and other tools write it: upper-case hexadecimal digits, two a byte, without
// leading zero bytes, with '-' in front of a negative one. Equal numbers have equal texts, however they were
// encoded.

// From the content octets of an INTEGER (X.690, 8.3).
std::string serialText(std::string_view octets);

// From hexadecimal digits in either case, with "0x" in front or not, also as bytes of one or two digits with
// ':' between them. Empty for anything else.
std::optional<std::string> parseSerial(std::string_view text);

// The DER encoding of the INTEGER that a serial number's text stands for.
std::string encodeSerial(std::string const& text);

} // namespace tvkstore
