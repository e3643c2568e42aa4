#include "certificate_file.h"

#include "bytes.h"
#include "failure.h"
#include "libcrypto_objects.h"

#include <openssl/err.h>
#include <openssl/pem.h>

#include <vector>

namespace tvkstore {

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
        // The file may hold a private key as well.
        OPENSSL_clear_free(data, static_cast<std::size_t>(length));
    }
    PemBlock(PemBlock const&) = delete;
    PemBlock& operator=(PemBlock const&) = delete;
};

std::vector<std::string> certificatesInPem(std::string const& content) {
    CryptoObject<BIO> const input(BIO_new_mem_buf(content.data(), static_cast<int>(content.size())));
    if (input == nullptr) {
        throw std::bad_alloc();
    }
    std::vector<std::string> certificates;
    for (;;) {
        PemBlock block;
        if (PEM_read_bio(input.get(), &block.name, &block.header, &block.data, &block.length) != 1) {
            ERR_clear_error();
            return certificates;
        }
        std::string_view const name = block.name;
        if (name == PEM_STRING_X509 || name == PEM_STRING_X509_OLD) {
            certificates.emplace_back(reinterpret_cast<char const*>(block.data),
                                      static_cast<std::size_t>(block.length));
        }
    }
}

} // namespace

std::string readCertificateFile(std::string const& path) {
    std::string const content = readFile(path);
    std::vector<std::string> certificates = certificatesInPem(content);
    if (certificates.empty()) {
        certificates.push_back(content);
    }
    if (certificates.size() > 1) {
        throw Failure(ExitCode::failed,
                      path + ": holds " + std::to_string(certificates.size()) + " certificates, not one");
    }
    if (decodeCertificate(certificates.front()) == nullptr) {
        ERR_clear_error();
        throw Failure(ExitCode::failed, path + ": holds no certificate in PEM or DER");
    }
    return certificates.front();
}

} // namespace tvkstore
