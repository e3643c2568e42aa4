#include "pem.h"

#include <windows.h>
#include <algorithm>
#include <new>
#include <string>

#include <wincrypt.h>

namespace tvkstore {

namespace {

// The lines between the first and the last one; empty where the last one is missing or has another name.
std::string_view linesOf(PemBlock const& block) {
    std::string const last = "\n-----END " + std::string(block.name) + "-----";
    std::size_t const begin = block.text.find('\n');
    std::size_t const end = block.text.find(last);
    return end == std::string_view::npos ? std::string_view() : block.text.substr(begin, end - begin);
}

// Headers (RFC 1421, 4.4) stand in front of the digits and end in an empty line.
std::string_view withoutHeaders(std::string_view lines) {
    if (lines.find(':') == std::string_view::npos) {
        return lines;
    }
    constexpr std::string_view ends[] = {"\n\n", "\n\r\n"};
    std::size_t const place = std::min(lines.find(ends[0]), lines.find(ends[1]));
    return place == std::string_view::npos ? std::string_view() : lines.substr(place);
}

} // namespace

std::optional<SecretBytes> decodePem(PemBlock const& block) {
    std::string_view const digits = withoutHeaders(linesOf(block));
    // The platform would take a length of 0 for a text that ends in a zero.
    if (digits.empty()) {
        return std::nullopt;
    }
    SecretBytes content(digits.size());
    auto size = static_cast<DWORD>(content.size());
    if (CryptStringToBinaryA(digits.data(), static_cast<DWORD>(digits.size()), CRYPT_STRING_BASE64,
                             reinterpret_cast<unsigned char*>(content.data()), &size, nullptr,
                             nullptr) == 0) {
        return std::nullopt;
    }
    content.resize(size);
    return content;
}

SecretBytes encodePemLine(std::string_view bytes) {
    // Room for the digits and the zero behind them, which isn't counted in the end.
    SecretBytes line((bytes.size() + 2) / 3 * 4 + 1);
    auto size = static_cast<DWORD>(line.size());
    if (CryptBinaryToStringA(reinterpret_cast<unsigned char const*>(bytes.data()),
                             static_cast<DWORD>(bytes.size()), CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF,
                             line.data(), &size) == 0) {
        throw std::bad_alloc();
    }
    line.resize(size);
    return line;
}

} // namespace tvkstore
