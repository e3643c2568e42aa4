#include "pkcs12_file.h"

#include "derivation_work.h"
#include "failure.h"
#include "libcrypto_key.h"
#include "libcrypto_objects.h"

namespace tvkstore {

namespace {

// Older programs encrypt with ciphers that libcrypto has only on request. They are for such a file alone.
class OldCiphers {
public:
    OldCiphers() : context_(OSSL_LIB_CTX_new()) {
        // No context would stand for that of the whole process.
        if (context_ == nullptr) {
            throw std::bad_alloc();
        }
        usual_.reset(OSSL_PROVIDER_load(context_.get(), "default"));
        old_.reset(OSSL_PROVIDER_load(context_.get(), "legacy"));
        takeErrors(); // without the old ones the usual ones will do for most
    }

    OSSL_LIB_CTX* get() const { return context_.get(); }

private:
    CryptoObject<OSSL_LIB_CTX> context_;
    CryptoObject<OSSL_PROVIDER> usual_;
    CryptoObject<OSSL_PROVIDER> old_;
};

CryptoObject<PKCS12> decode(std::string_view bytes, OldCiphers const& ciphers) {
    CryptoObject<BIO> const input(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
    PKCS12* file = PKCS12_init_ex(NID_pkcs7_data, ciphers.get(), nullptr);
    if (input == nullptr || file == nullptr) {
        PKCS12_free(file);
        throw std::bad_alloc();
    }
    // When it fails, it frees the file and takes the pointer back only if it came as far as decoding.
    bool const decoded = d2i_PKCS12_bio(input.get(), &file) != nullptr;
    CryptoObject<PKCS12> owner(file);
    if (!decoded) {
        owner.reset();
    }
    return owner;
}

// The check value tells whether a passphrase fits. No passphrase and an empty one differ.
bool fits(PKCS12& file, char const* passphrase, std::size_t length) {
    return PKCS12_verify_mac(&file, passphrase, static_cast<int>(length)) == 1;
}

void add(Pkcs12Content& content, X509& certificate) {
    unsigned char* bytes = nullptr;
    int length = i2d_X509(&certificate, &bytes);
    if (length < 0) {
        throw std::bad_alloc();
    }
    Pkcs12Certificate added{
        std::string(reinterpret_cast<char const*>(bytes), static_cast<std::size_t>(length)), {}};
    OPENSSL_free(bytes);
    if (unsigned char const* const name = X509_alias_get0(&certificate, &length)) {
        added.friendlyName.assign(reinterpret_cast<char const*>(name), static_cast<std::size_t>(length));
    }
    content.certificates.push_back(std::move(added));
}

using Bags = CryptoObject<STACK_OF(PKCS12_SAFEBAG)>;

void addWork(DerivationWork& work, STACK_OF(PKCS12_SAFEBAG) const* bags) {
    for (int i = 0; i < sk_PKCS12_SAFEBAG_num(bags); ++i) {
        PKCS12_SAFEBAG const* const bag = sk_PKCS12_SAFEBAG_value(bags, i);
        int const kind = PKCS12_SAFEBAG_get_nid(bag);
        if (kind == NID_safeContentsBag) {
            addWork(work, PKCS12_SAFEBAG_get0_safes(bag));
        } else if (kind == NID_pkcs8ShroudedKeyBag) {
            X509_ALGOR const* scheme = nullptr;
            X509_SIG_get0(PKCS12_SAFEBAG_get0_pkcs8(bag), &scheme, nullptr);
            work.add(scheme);
        }
    }
}

// Parsing derives a key for each part of the file, so what that takes is counted before.
void addWork(DerivationWork& work, PKCS12& file, char const* passphrase) {
    CryptoObject<STACK_OF(PKCS7)> const parts(PKCS12_unpack_authsafes(&file));
    for (int i = 0; i < sk_PKCS7_num(parts.get()); ++i) {
        PKCS7* const part = sk_PKCS7_value(parts.get(), i);
        Bags bags;
        if (PKCS7_type_is_data(part)) {
            bags.reset(PKCS12_unpack_p7data(part));
        } else if (PKCS7_type_is_encrypted(part) && part->d.encrypted != nullptr) {
            work.add(part->d.encrypted->enc_data->algorithm);
            bags.reset(PKCS12_unpack_p7encdata(part, passphrase, -1));
        }
        addWork(work, bags.get());
    }
    ERR_clear_error();
}

Pkcs12Content parse(PKCS12& file, char const* passphrase, std::string const& object) {
    EVP_PKEY* rawKey = nullptr;
    X509* rawCertificate = nullptr;
    STACK_OF(X509)* rawOthers = nullptr;
    bool const parsed = PKCS12_parse(&file, passphrase, &rawKey, &rawCertificate, &rawOthers) == 1;
    CryptoObject<EVP_PKEY> const key(rawKey);
    CryptoObject<X509> const certificate(rawCertificate);
    CryptoObject<STACK_OF(X509)> const others(rawOthers);
    if (!parsed) {
        takeErrors();
        throw Failure(ExitCode::failed, object + ": can't be decrypted, or is damaged");
    }
    Pkcs12Content content;
    if (certificate != nullptr) {
        add(content, *certificate);
    }
    for (int i = 0; i < sk_X509_num(others.get()); ++i) {
        add(content, *sk_X509_value(others.get(), i));
    }
    if (key != nullptr) {
        content.key = privateKeyOf(*key, object);
    }
    return content;
}

} // namespace

std::optional<Pkcs12Content> readPkcs12File(std::string_view bytes, std::string const& object,
                                            Passphrase& passphrase) {
    OldCiphers const ciphers;
    CryptoObject<PKCS12> const file = bytes.empty() ? nullptr : decode(bytes, ciphers);
    if (file == nullptr) {
        takeErrors();
        return std::nullopt;
    }
    DerivationWork work(object);
    bool const isChecked = PKCS12_mac_present(file.get()) == 1;
    if (isChecked) {
        ASN1_INTEGER const* rounds = nullptr;
        PKCS12_get0_mac(nullptr, nullptr, nullptr, &rounds, file.get());
        work.addRounds(rounds);
    }
    if (isChecked && (fits(*file, nullptr, 0) || fits(*file, "", 0))) {
        addWork(work, *file, "");
        return parse(*file, "", object);
    }
    takeErrors();
    SecretBytes secret = passphrase.get(object);
    std::size_t const length = secret.size();
    secret.push_back('\0');
    if (isChecked && !fits(*file, secret.data(), length)) {
        takeErrors();
        throw Failure(ExitCode::refused, object + ": the passphrase doesn't open it");
    }
    addWork(work, *file, secret.data());
    return parse(*file, secret.data(), object);
}

} // namespace tvkstore
