#include "serial_number.h"

#include "bytes.h"
#include "failure.h"
#include "libcrypto_objects.h"

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

} // namespace

std::string serialText(std::string_view octets) {
    bool const negative = !octets.empty() && (static_cast<unsigned char>(octets.front()) & 0x80) != 0;
    std::string magnitude(octets.empty() ? std::string_view("\0", 1) : octets);
    if (negative) {
        bool carry = true;
        for (auto octet = magnitude.rbegin(); octet != magnitude.rend(); ++octet) {
            *octet = static_cast<char>(~static_cast<unsigned char>(*octet));
            if (carry) {
                *octet = static_cast<char>(static_cast<unsigned char>(*octet) + 1);
                carry = *octet == '\0';
            }
        }
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
    BIGNUM* number = nullptr;
    int const digits = BN_hex2bn(&number, text.c_str());
    CryptoObject<BIGNUM> const owned(number);
    CryptoObject<ASN1_INTEGER> const integer(digits == 0 ? nullptr : BN_to_ASN1_INTEGER(number, nullptr));
    unsigned char* bytes = nullptr;
    int const length = i2d_ASN1_INTEGER(integer.get(), &bytes);
    if (integer == nullptr || length < 0) {
        throw Failure(ExitCode::failed, "serial number " + text + " can't be encoded");
    }
    std::string encoding(reinterpret_cast<char const*>(bytes), static_cast<std::size_t>(length));
    OPENSSL_free(bytes);
    return encoding;
}

} // namespace tvkstore
