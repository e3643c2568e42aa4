// Reads a private key (PKCS#8, DER), signs once with libcrypto, and writes the signature.

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <unistd.h>

int main(int argc, char** argv) {
    if (argc != 2) {
        return 2;
    }
    BIO* const in = BIO_new_file(argv[1], "rb");
    EVP_PKEY* const key = in != nullptr ? d2i_PrivateKey_bio(in, nullptr) : nullptr;
    EVP_MD_CTX* const context = EVP_MD_CTX_new();
    unsigned char const message[] = "first";
    unsigned char signature[512];
    std::size_t size = sizeof signature;
    bool const good = key != nullptr && context != nullptr &&
                      EVP_DigestSignInit(context, nullptr, EVP_sha1(), nullptr, key) == 1 &&
                      EVP_DigestSign(context, signature, &size, message, sizeof message) == 1 &&
                      ::write(STDOUT_FILENO, signature, size) == static_cast<ssize_t>(size);
    EVP_MD_CTX_free(context);
    EVP_PKEY_free(key);
    BIO_free(in);
    return good ? 0 : 1;
}
