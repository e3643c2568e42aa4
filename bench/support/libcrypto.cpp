#include "support/libcrypto.h"

#include "support/work_directory.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/rsa.h>

#include <stdexcept>

namespace fs = std::filesystem;

namespace bench {

void requireCrypto(bool good, std::string const& what) {
    if (!good) {
        char reason[256];
        ERR_error_string_n(ERR_get_error(), reason, sizeof reason);
        throw std::runtime_error(what + ": " + reason);
    }
}

fs::path keyFile() {
    fs::path const file = workDirectory() / "key.der";
    if (fs::exists(file)) {
        return file;
    }
    constexpr unsigned bits = 2048;
    Crypto<EVP_PKEY> const key(EVP_RSA_gen(bits));
    requireCrypto(key != nullptr, "EVP_RSA_gen");
    fs::path const part = file.string() + ".part";
    {
        Crypto<BIO> const out(BIO_new_file(part.c_str(), "wb"));
        requireCrypto(out != nullptr && i2d_PKCS8PrivateKeyInfo_bio(out.get(), key.get()) == 1 &&
                          BIO_flush(out.get()) == 1,
                      part.string());
    }
    fs::rename(part, file);
    return file;
}

Crypto<EVP_PKEY> readKey(fs::path const& file) {
    Crypto<BIO> const in(BIO_new_file(file.c_str(), "rb"));
    requireCrypto(in != nullptr, file.string());
    Crypto<EVP_PKEY> key(d2i_PrivateKey_bio(in.get(), nullptr));
    requireCrypto(key != nullptr, file.string());
    return key;
}

} // namespace bench
