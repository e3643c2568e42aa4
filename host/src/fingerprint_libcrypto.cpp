#include "fingerprint.h"

#include "bytes.h"
#include "failure.h"

#include <openssl/evp.h>

namespace tvkstore {

std::string fingerprint(char const* name, std::string const& bytes) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    std::size_t length = 0;
    if (EVP_Q_digest(nullptr, name, nullptr, bytes.data(), bytes.size(), digest, &length) != 1) {
        throw Failure(ExitCode::failed, std::string("libcrypto can't make a digest ") + name);
    }
    return lowerHex({reinterpret_cast<char const*>(digest), length});
}

} // namespace tvkstore
