// Plain libcrypto, to compare with.
#pragma once

#include "support/bytes.h"

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

namespace test_support {

// Throws std::runtime_error with the text and libcrypto's queued reasons, which it takes off the queue,
// unless the call was good.
void requireCrypto(bool good, std::string const& what);

struct Release {
    void operator()(BIO* object) const { BIO_free(object); }
    void operator()(EVP_MD_CTX* object) const { EVP_MD_CTX_free(object); }
    void operator()(EVP_PKEY* object) const { EVP_PKEY_free(object); }
    void operator()(EVP_PKEY_CTX* object) const { EVP_PKEY_CTX_free(object); }
    void operator()(PKCS8_PRIV_KEY_INFO* object) const { PKCS8_PRIV_KEY_INFO_free(object); }
    void operator()(X509* object) const { X509_free(object); }
    void operator()(X509_EXTENSION* object) const { X509_EXTENSION_free(object); }
    void operator()(X509_NAME* object) const { X509_NAME_free(object); }
};

template <class T>
using Owned = std::unique_ptr<T, Release>;

// Null for what libcrypto refuses.
Owned<X509> decodeCertificate(Bytes const& encoding);

// A name as a string of RFC 2253, the letters beyond ASCII as they are.
std::string nameText(X509_NAME const* name);

std::string contentOf(BIO* memory);

// A signature by PKCS#1 version 1.5, which is deterministic: another one of the same is wrong.
Bytes signatureOf(EVP_PKEY* key, EVP_MD const* digest, Bytes const& message);

// One operation with an RSA key: `init` and `operation` are EVP_PKEY_encrypt_init and EVP_PKEY_encrypt or
// another such pair.
template <class Init, class Operation>
Bytes rsa(EVP_PKEY* key, Init init, Operation operation, int padding, Bytes const& input) {
    Owned<EVP_PKEY_CTX> const context(EVP_PKEY_CTX_new(key, nullptr));
    Bytes output(static_cast<std::size_t>(EVP_PKEY_get_size(key)));
    std::size_t size = output.size();
    requireCrypto(init(context.get()) == 1 && EVP_PKEY_CTX_set_rsa_padding(context.get(), padding) == 1 &&
                      operation(context.get(), output.data(), &size, input.data(), input.size()) == 1,
                  "RSA");
    output.resize(size);
    return output;
}

} // namespace test_support
