#include "support/trust_bundle.h"

#include "support/libcrypto.h"

#include <openssl/err.h>
#include <openssl/pem.h>

namespace test_support {

std::vector<Bytes> readTrustBundle(std::filesystem::path const& file) {
    Owned<BIO> const input(BIO_new_file(file.c_str(), "r"));
    requireCrypto(input != nullptr, file.string());
    std::vector<Bytes> certificates;
    unsigned char* data = nullptr;
    long length = 0;
    while (PEM_bytes_read_bio(&data, &length, nullptr, PEM_STRING_X509, input.get(), nullptr, nullptr) == 1) {
        certificates.emplace_back(data, data + length);
        OPENSSL_free(data);
    }
    requireCrypto(ERR_GET_REASON(ERR_peek_last_error()) == PEM_R_NO_START_LINE, file.string());
    ERR_clear_error();
    requireCrypto(!certificates.empty(), "search for a certificate in " + file.string());
    return certificates;
}

} // namespace test_support
