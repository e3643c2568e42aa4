#include "serial_number.h"

#include "bytes.h"
#include "toolkit_bytes.h"

#include <tvkcore/asn/tvkasnutility.h>

#include <cctype>

namespace tvkstore {

namespace {

constexpr std::string_view kDigits = "0123456789ABCDEF";

std::string textOf(bool negative, std::string_view magnitude) {
    while (magnitude.size() > 1 && magnitude.front() == '\0') {
        magnitude.remove_prefix(1);
    }
    bool const isZero = magnitude == std::string_view("\0", 1);
    return (negative && !isZero ? "-" : "") + upperHex(magnitude);
}

// The bytes of one run of digits; a lone first digit is a byte of its own.
bool appendRun(std::string& bytes, std::string_view run) {
    bool lowHalf = run.size() % 2 != 0;
    if (lowHalf) {
        bytes += '\0';
    }
    for (char const character : run) {
        std::size_t const digit =
            kDigits.find(static_cast<char>(std::toupper(static_cast<unsigned char>(character))));
        if (digit == std::string_view::npos) {
            return false;
        }
        if (lowHalf) {
            bytes.back() = static_cast<char>(static_cast<unsigned char>(bytes.back()) | digit);
        } else {
            bytes += static_cast<char>(digit << 4);
        }
        lowHalf = !lowHalf;
    }
    return !run.empty();
}

// Of a number in two's complement.
void negate(std::string& octets) {
    bool carry = true;
    for (auto octet = octets.rbegin(); octet != octets.rend(); ++octet) {
        *octet = static_cast<char>(~static_cast<unsigned char>(*octet));
        if (carry) {
            *octet = static_cast<char>(static_cast<unsigned char>(*octet) + 1);
            carry = *octet == '\0';
        }
    }
}

// How many octets in front only repeat the sign (X.690, 8.3.2).
std::size_t spareOctets(std::string_view octets) {
    std::size_t spare = 0;
    while (spare + 1 < octets.size()) {
        bool const isNegative = (static_cast<unsigned char>(octets[spare + 1]) & 0x80) != 0;
        if (octets[spare] != (isNegative ? '\xFF' : '\0')) {
            break;
        }
        ++spare;
    }
    return spare;
}

} // namespace

std::string serialText(std::string_view octets) {
    bool const negative = !octets.empty() && (static_cast<unsigned char>(octets.front()) & 0x80) != 0;
    std::string magnitude(octets.empty() ? std::string_view("\0", 1) : octets);
    if (negative) {
        negate(magnitude);
    }
    return textOf(negative, magnitude);
}

std::optional<std::string> parseSerial(std::string_view text) {
    bool const negative = text.starts_with('-');
    text.remove_prefix(negative ? 1 : 0);
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
    }
    bool const inBytes = text.find(':') != std::string_view::npos;
    std::string bytes;
    for (std::size_t begin = 0; begin <= text.size();) {
        std::size_t const end = std::min(text.find(':', begin), text.size());
        std::string_view const run = text.substr(begin, end - begin);
        if ((inBytes && run.size() > 2) || !appendRun(bytes, run)) {
            return std::nullopt;
        }
        begin = end + 1;
    }
    return textOf(negative, bytes);
}

std::string encodeSerial(std::string const& text) {
    bool const negative = text.starts_with('-');
    // Room for the sign in front.
    std::string octets(1, '\0');
    appendRun(octets, std::string_view(text).substr(negative ? 1 : 0));
    if (negative) {
        negate(octets);
    }
    std::size_t const spare = spareOctets(octets);
    auto const* const begin = reinterpret_cast<unsigned char const*>(octets.data());
    TVKASNInteger integer(TVKASNNotSecure);
    integer.set_value(begin + spare, static_cast<unsigned long>(octets.size() - spare));
    return std::string(bytesOf(TVKASNUtility::getDEREncoding(integer)));
}

} // namespace tvkstore
