#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <filesystem>
#include <memory>
#include <string>

namespace bench {

struct CryptoRelease {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(EVP_PKEY_CTX* context) const { EVP_PKEY_CTX_free(context); }
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    void operator()(X509* certificate) const { X509_free(certificate); }
    void operator()(BIO* stream) const { BIO_free(stream); }
};

template <class T>
using Crypto = std::unique_ptr<T, CryptoRelease>;

// Throws std::runtime_error with the text and libcrypto's reason unless the call was good.
void requireCrypto(bool good, std::string const& what);

// The file of the RSA key of 2048 bits that all measurements use, PKCS#8 in DER; made when it is missing.
std::filesystem::path keyFile();

Crypto<EVP_PKEY> readKey(std::filesystem::path const& file);

} // namespace bench
