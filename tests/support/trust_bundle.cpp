#include "support/trust_bundle.h"

#include "support/libcrypto_errors.h"

#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/pem.h>

#include <memory>
#include <string_view>

namespace test_support {

namespace {

struct PemBlock {
    char* name = nullptr;
    char* header = nullptr;
    unsigned char* data = nullptr;
    long length = 0;

    PemBlock() = default;
    ~PemBlock() {
        OPENSSL_free(name);
        OPENSSL_free(header);
        OPENSSL_free(data);
    }
    PemBlock(PemBlock const&) = delete;
    PemBlock& operator=(PemBlock const&) = delete;
};

bool isEndOfFile(unsigned long code) {
    return ERR_GET_LIB(code) == ERR_LIB_PEM && ERR_GET_REASON(code) == PEM_R_NO_START_LINE;
}

} // namespace

std::vector<Bytes> readTrustBundle(std::filesystem::path const& file) {
    std::unique_ptr<BIO, int (*)(BIO*)> const input(BIO_new_file(file.c_str(), "r"), BIO_free);
    requireCrypto(input != nullptr, file.string());
    std::vector<Bytes> certificates;
    for (;;) {
        PemBlock block;
        if (PEM_read_bio(input.get(), &block.name, &block.header, &block.data, &block.length) != 1) {
            requireCrypto(isEndOfFile(ERR_peek_last_error()), file.string());
            ERR_clear_error();
            break;
        }
        if (std::string_view(block.name) == PEM_STRING_X509)
            certificates.emplace_back(block.data, block.data + block.length);
    }
    requireCrypto(!certificates.empty(), "search for a certificate in " + file.string());
    return certificates;
}

} // namespace test_support
