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

std::vector<std::string> blocksInPem(std::string const& content, bool (*isWanted)(std::string_view name)) {
    CryptoObject<BIO> const input(BIO_new_mem_buf(content.data(), static_cast<int>(content.size())));
    if (input == nullptr) {
        throw std::bad_alloc();
    }
    std::vector<std::string> blocks;
    for (;;) {
        PemBlock block;
        if (PEM_read_bio(input.get(), &block.name, &block.header, &block.data, &block.length) != 1) {
            ERR_clear_error();
            return blocks;
        }
        if (isWanted(block.name)) {
            blocks.emplace_back(reinterpret_cast<char const*>(block.data),
                                static_cast<std::size_t>(block.length));
        }
    }
}

bool isCertificate(std::string_view name) { return name == PEM_STRING_X509 || name == PEM_STRING_X509_OLD; }

bool isPublicKey(std::string_view name) { return name == PEM_STRING_PUBLIC; }

// The one of its kind in the file; a file without any is taken for its DER encoding.
std::string readOne(std::string const& path, bool (*isWanted)(std::string_view), char const* kinds) {
    std::string const content = readFile(path);
    std::vector<std::string> found = blocksInPem(content, isWanted);
    if (found.size() > 1) {
        throw Failure(ExitCode::failed,
                      path + ": holds " + std::to_string(found.size()) + ' ' + kinds + ", not one");
    }
    return found.empty() ? content : found.front();
}

} // namespace

std::string readCertificateFile(std::string const& path) {
    std::string encoding = readOne(path, isCertificate, "certificates");
    if (decodeCertificate(encoding) == nullptr) {
        ERR_clear_error();
        throw Failure(ExitCode::failed, path + ": holds no certificate in PEM or DER");
    }
    return encoding;
}

std::string readPublicKeyFile(std::string const& path) {
    std::string encoding = readOne(path, isPublicKey, "public keys");
    auto const* const begin = reinterpret_cast<unsigned char const*>(encoding.data());
    auto const* end = begin;
    CryptoObject<EVP_PKEY> const key(d2i_PUBKEY(nullptr, &end, static_cast<long>(encoding.size())));
    if (key == nullptr || end != begin + encoding.size()) {
        ERR_clear_error();
        throw Failure(ExitCode::failed, path + ": holds no public key in PEM or DER");
    }
    return encoding;
}

} // namespace tvkstore
