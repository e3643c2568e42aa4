#include "import_content.h"

#include "bytes.h"
#include "failure.h"
#include "pem.h"
#include "pkcs12_file.h"
#include "private_key.h"
#include "text.h"

#include <openssl/err.h>

#include <string_view>

namespace tvkstore {

namespace {

struct ImportedKey {
    std::string place;
    std::string publicKey; // SubjectPublicKeyInfo, DER
    TVKKRYKey key;
};

std::string attributeText(X509_NAME const* name, int type) {
    int place = -1;
    // The last one is the most particular.
    for (int next = X509_NAME_get_index_by_NID(name, type, -1); next >= 0;
         next = X509_NAME_get_index_by_NID(name, type, next)) {
        place = next;
    }
    unsigned char* bytes = nullptr;
    int const length =
        place < 0 ? -1
                  : ASN1_STRING_to_UTF8(&bytes, X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, place)));
    if (length < 0) {
        ERR_clear_error();
        return {};
    }
    std::string text(reinterpret_cast<char const*>(bytes), static_cast<std::size_t>(length));
    OPENSSL_free(bytes);
    return isLabel(text) ? text : "";
}

// The name by which people know the subject; in plain letters when none can be told otherwise.
std::string subjectText(X509 const& certificate) {
    X509_NAME const* const name = X509_get_subject_name(&certificate);
    for (int const type : {NID_commonName, NID_organizationalUnitName, NID_organizationName}) {
        if (std::string text = attributeText(name, type); !text.empty()) {
            return text;
        }
    }
    CryptoObject<BIO> const out(BIO_new(BIO_s_mem()));
    if (out == nullptr) {
        throw std::bad_alloc();
    }
    X509_NAME_print_ex(out.get(), name, 0, XN_FLAG_RFC2253);
    char* bytes = nullptr;
    long const length = BIO_get_mem_data(out.get(), &bytes);
    return {bytes, static_cast<std::size_t>(length)};
}

class ImportReader {
public:
    explicit ImportReader(Passphrase& passphrase) : passphrase_(passphrase) {}

    void readKey(std::string const& path) { addKey(*readPrivateKeyFile(path, passphrase_), path); }

    void readFile(std::string const& path) {
        SecretBytes const bytes = readSecretFile(path);
        std::vector<PemBlock> const blocks = splitPem(bytesOf(bytes));
        bool const isFound = !blocks.empty()
                                 ? readBlocks(blocks, path)
                                 : addCertificate(bytesOf(bytes), path) || readPkcs12(bytesOf(bytes), path);
        if (!isFound) {
            throw Failure(ExitCode::failed, path + ": holds no certificate in PEM, DER or PKCS#12");
        }
    }

    ImportContent finish() {
        for (ImportedKey const& key : keys_) {
            findOwner(key).key = key.key;
        }
        return std::move(content_);
    }

private:
    bool readBlocks(std::vector<PemBlock> const& blocks, std::string const& path) {
        std::size_t certificates = 0;
        for (PemBlock const& block : blocks) {
            if (isPrivateKey(block.name)) {
                addKey(*decodePrivateKey(block.text, path, passphrase_), path);
            } else if (isCertificate(block.name)) {
                ++certificates;
                std::string const place =
                    blocks.size() == 1 ? path : path + ": certificate " + std::to_string(certificates);
                std::optional<SecretBytes> const encoding = decodePem(block);
                if (!encoding || !addCertificate(bytesOf(*encoding), place)) {
                    ++content_.damaged;
                    report(Failure(ExitCode::damaged, place + " is damaged"));
                }
            }
        }
        return certificates != 0;
    }

    bool addCertificate(std::string_view encoding, std::string const& place, std::string friendlyName = "") {
        CryptoObject<X509> const certificate = decodeCertificate(encoding);
        if (certificate == nullptr) {
            ERR_clear_error();
            return false;
        }
        if (friendlyName.empty() || !isLabel(friendlyName)) {
            friendlyName = subjectText(*certificate);
        }
        publicKeys_.push_back(publicKeyOf(X509_get0_pubkey(certificate.get())));
        content_.certificates.push_back({place, std::move(friendlyName), std::string(encoding)});
        return true;
    }

    bool readPkcs12(std::string_view bytes, std::string const& path) {
        std::optional<Pkcs12Content> const content = readPkcs12File(bytes, path, passphrase_);
        if (!content) {
            return false;
        }
        for (Pkcs12Certificate const& certificate : content->certificates) {
            addCertificate(certificate.encoding, path, certificate.friendlyName);
        }
        if (content->key) {
            keys_.push_back({path, content->publicKey, *content->key});
        }
        return !content->certificates.empty();
    }

    void addKey(EVP_PKEY const& key, std::string const& place) {
        keys_.push_back({place, publicKeyOf(&key), keyInClear(key, place)});
    }

    // A certificate that the files hold twice counts once.
    ImportedCertificate& findOwner(ImportedKey const& key) {
        ImportedCertificate* owner = nullptr;
        for (std::size_t i = 0; i < publicKeys_.size(); ++i) {
            ImportedCertificate& certificate = content_.certificates[i];
            if (publicKeys_[i] != key.publicKey ||
                (owner != nullptr && owner->encoding == certificate.encoding)) {
                continue;
            }
            if (owner != nullptr) {
                throw Failure(ExitCode::usage,
                              key.place + ": the private key belongs to more than one certificate",
                              {"import the certificates one by one, each with the key that it is to have"});
            }
            owner = &certificate;
        }
        if (owner == nullptr) {
            throw Failure(ExitCode::usage,
                          key.place + ": the private key belongs to none of the certificates");
        }
        return *owner;
    }

    Passphrase& passphrase_;
    ImportContent content_;
    std::vector<std::string> publicKeys_; // of the certificates, in their order
    std::vector<ImportedKey> keys_;
};

} // namespace

ImportContent readImport(std::vector<std::string> const& files, std::string const& keyFile,
                         Passphrase& passphrase) {
    ImportReader reader(passphrase);
    if (!keyFile.empty()) {
        reader.readKey(keyFile);
    }
    for (std::string const& file : files) {
        reader.readFile(file);
    }
    return reader.finish();
}

} // namespace tvkstore
