#include "support/libcrypto.h"

#include <openssl/err.h>
#include <openssl/rsa.h>

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

Owned<X509> decodeCertificate(Bytes const& encoding) {
    unsigned char const* at = encoding.data();
    return Owned<X509>(d2i_X509(nullptr, &at, static_cast<long>(encoding.size())));
}

std::string nameText(X509_NAME const* name) {
    Owned<BIO> const out(BIO_new(BIO_s_mem()));
    unsigned long const flags = XN_FLAG_RFC2253 & ~static_cast<unsigned long>(ASN1_STRFLGS_ESC_MSB);
    requireCrypto(X509_NAME_print_ex(out.get(), name, 0, flags) >= 0, "X509_NAME_print_ex");
    return contentOf(out.get());
}

std::string contentOf(BIO* memory) {
    char* bytes = nullptr;
    long const length = BIO_get_mem_data(memory, &bytes);
    return {bytes, static_cast<std::size_t>(length)};
}

Bytes signatureOf(EVP_PKEY* key, EVP_MD const* digest, Bytes const& message) {
    Owned<EVP_MD_CTX> const context(EVP_MD_CTX_new());
    Bytes made(static_cast<std::size_t>(EVP_PKEY_get_size(key)));
    std::size_t size = made.size();
    requireCrypto(EVP_DigestSignInit(context.get(), nullptr, digest, nullptr, key) == 1 &&
                      EVP_DigestSign(context.get(), made.data(), &size, message.data(), message.size()) == 1,
                  "EVP_DigestSign");
    return made;
}

} // namespace test_support
