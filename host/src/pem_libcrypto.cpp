#include "pem.h"

#include "libcrypto_objects.h"

#include <openssl/evp.h>
#include <openssl/pem.h>

#include <new>

namespace tvkstore {

std::optional<SecretBytes> decodePem(PemBlock const& block) {
    CryptoObject<BIO> const input(BIO_new_mem_buf(block.text.data(), static_cast<int>(block.text.size())));
    if (input == nullptr) {
        throw std::bad_alloc();
    }
    char* name = nullptr;
    char* header = nullptr;
    unsigned char* data = nullptr;
    long length = 0;
    if (PEM_read_bio(input.get(), &name, &header, &data, &length) != 1) {
        takeErrors();
        return std::nullopt;
    }
    std::optional<SecretBytes> content(std::in_place);
    append(*content, {reinterpret_cast<char const*>(data), static_cast<std::size_t>(length)});
    OPENSSL_free(name);
    OPENSSL_free(header);
    OPENSSL_clear_free(data, static_cast<std::size_t>(length));
    return content;
}

SecretBytes encodePemLine(std::string_view bytes) {
    // Room for the digits and the zero behind them.
    SecretBytes line((bytes.size() + 2) / 3 * 4 + 1);
    int const length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(line.data()),
                        reinterpret_cast<unsigned char const*>(bytes.data()), static_cast<int>(bytes.size()));
    line.resize(static_cast<std::size_t>(length));
    return line;
}

} // namespace tvkstore
