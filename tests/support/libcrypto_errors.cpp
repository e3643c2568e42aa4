#include "support/libcrypto_errors.h"

#include <openssl/err.h>

#include <array>
#include <stdexcept>

namespace test_support {

void requireCrypto(bool good, std::string const& what) {
    if (good)
        return;
    std::string message = what + " failed";
    while (unsigned long const code = ERR_get_error()) {
        std::array<char, 256> text{};
        ERR_error_string_n(code, text.data(), text.size());
        message.append(": ").append(text.data());
    }
    throw std::runtime_error(message);
}

} // namespace test_support
