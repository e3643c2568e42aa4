#include "bytes.h"

#include "input.h"

namespace tvkstore {

namespace {

constexpr std::size_t kLargestFile = std::size_t{64} << 20;

std::string hex(std::string_view bytes, char const* digits) {
    std::string out;
    out.reserve(bytes.size() * 2);
    for (char const byte : bytes) {
        auto const value = static_cast<unsigned char>(byte);
        out += digits[value >> 4];
        out += digits[value & 0x0F];
    }
    return out;
}

} // namespace

std::string upperHex(std::string_view bytes) { return hex(bytes, "0123456789ABCDEF"); }

std::string lowerHex(std::string_view bytes) { return hex(bytes, "0123456789abcdef"); }

std::string readFile(std::string const& path) { return Input(path).readAll(kLargestFile); }

SecretBytes readSecretFile(std::string const& path) { return Input(path).readAllSecret(kLargestFile); }

} // namespace tvkstore
