#include "private_key.h"

#include "derivation_work.h"
#include "libcrypto_key.h"
#include "libcrypto_objects.h"

#include <openssl/pem.h>

#include <algorithm>
#include <exception>
#include <new>

namespace tvkstore {

namespace {

Failure notDecrypted(std::string const& object) {
    takeErrors();
    return Failure(ExitCode::refused, object + ": the passphrase doesn't open it");
}

struct Question {
    Passphrase& passphrase;
    std::string const& object;
    bool wasAsked = false;
    std::exception_ptr failure{};
};

extern "C" int answer(char* buffer, int size, int, void* data) {
    auto& question = *static_cast<Question*>(data);
    question.wasAsked = true;
    try {
        SecretBytes const& passphrase = question.passphrase.get(question.object);
        if (passphrase.size() > static_cast<std::size_t>(size)) {
            return -1;
        }
        std::copy(passphrase.begin(), passphrase.end(), buffer);
        return static_cast<int>(passphrase.size());
    } catch (...) {
        // Libcrypto can't pass it on.
        question.failure = std::current_exception();
        return -1;
    }
}

CryptoObject<EVP_PKEY> decodeEncrypted(std::string_view bytes, std::string const& path,
                                       Passphrase& passphrase) {
    auto const* const begin = reinterpret_cast<unsigned char const*>(bytes.data());
    auto const* end = begin;
    CryptoObject<X509_SIG> const sealed(d2i_X509_SIG(nullptr, &end, static_cast<long>(bytes.size())));
    if (sealed == nullptr || end != begin + bytes.size()) {
        takeErrors();
        throw noPrivateKey(path);
    }
    X509_ALGOR const* scheme = nullptr;
    X509_SIG_get0(sealed.get(), &scheme, nullptr);
    DerivationWork(path).add(scheme);
    SecretBytes const& secret = passphrase.get(path);
    CryptoObject<PKCS8_PRIV_KEY_INFO> const info(
        PKCS8_decrypt(sealed.get(), secret.data(), static_cast<int>(secret.size())));
    CryptoObject<EVP_PKEY> key(info == nullptr ? nullptr : EVP_PKCS82PKEY(info.get()));
    if (key == nullptr) {
        throw notDecrypted(path);
    }
    return key;
}

TVKKRYKey keyInClear(EVP_PKEY const& key, std::string const& object) {
    if (EVP_PKEY_get_base_id(&key) != EVP_PKEY_RSA) {
        char const* const kind = EVP_PKEY_get0_type_name(&key);
        throw Failure(ExitCode::failed,
                      object + ": holds a private key of kind " + (kind == nullptr ? "unknown" : kind),
                      {"the key has to be an RSA key"});
    }
    CryptoObject<PKCS8_PRIV_KEY_INFO> const info(EVP_PKEY2PKCS8(&key));
    unsigned char* bytes = nullptr;
    int const length = info == nullptr ? -1 : i2d_PKCS8_PRIV_KEY_INFO(info.get(), &bytes);
    if (length < 0) {
        takeErrors();
        throw noPrivateKey(object);
    }
    TVKKRYKey result;
    result.setType(TVKKRYKey::Private);
    result.setFormat(TVKKRYKey::PrivateKeyInfo);
    result.setAlgorithm(TVKKRYKey::RSA);
    result.setKeyBlob(TVKBuffer(static_cast<unsigned int>(length), bytes));
    OPENSSL_clear_free(bytes, static_cast<std::size_t>(length));
    return result;
}

} // namespace

PrivateKey decodePrivateKey(PemBlock const& block, std::string const& object, Passphrase& passphrase) {
    if (block.name == "ENCRYPTED PRIVATE KEY") {
        std::optional<SecretBytes> const der = decodePem(block);
        if (!der) {
            throw noPrivateKey(object);
        }
        return privateKeyOf(*decodeEncrypted(bytesOf(*der), object, passphrase), object);
    }
    CryptoObject<BIO> const input(BIO_new_mem_buf(block.text.data(), static_cast<int>(block.text.size())));
    if (input == nullptr) {
        throw std::bad_alloc();
    }
    Question question{passphrase, object};
    CryptoObject<EVP_PKEY> key(PEM_read_bio_PrivateKey(input.get(), nullptr, answer, &question));
    if (question.failure != nullptr) {
        ERR_clear_error();
        std::rethrow_exception(question.failure);
    }
    if (key == nullptr) {
        takeErrors();
        throw question.wasAsked ? notDecrypted(object) : noPrivateKey(object);
    }
    return privateKeyOf(*key, object);
}

PrivateKey decodeDerPrivateKey(std::string_view der, std::string const& object, Passphrase& passphrase) {
    auto const* const begin = reinterpret_cast<unsigned char const*>(der.data());
    auto const* end = begin;
    CryptoObject<EVP_PKEY> key(d2i_AutoPrivateKey(nullptr, &end, static_cast<long>(der.size())));
    takeErrors();
    if (key == nullptr || end != begin + der.size()) {
        key = decodeEncrypted(der, object, passphrase);
    }
    return privateKeyOf(*key, object);
}

std::string publicKeyOf(EVP_PKEY const* key) {
    unsigned char* bytes = nullptr;
    int const length = key == nullptr ? -1 : i2d_PUBKEY(key, &bytes);
    if (length < 0) {
        takeErrors();
        return {};
    }
    std::string encoding(reinterpret_cast<char const*>(bytes), static_cast<std::size_t>(length));
    OPENSSL_free(bytes);
    return encoding;
}

PrivateKey privateKeyOf(EVP_PKEY const& key, std::string const& object) {
    PrivateKey result{keyInClear(key, object), publicKeyOf(&key)};
    if (result.publicKey.empty()) {
        throw Failure(ExitCode::failed, object + ": libcrypto can't encode the public key");
    }
    return result;
}

} // namespace tvkstore
