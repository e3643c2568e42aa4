#include "import_content.h"

#include "bytes.h"
#include "certificate_decoding.h"
#include "failure.h"
#include "pem.h"
#include "pkcs12_file.h"
#include "private_key.h"
#include "text.h"

#include <string_view>

namespace tvkstore {

namespace {

struct ImportedKey {
    std::string place;
    PrivateKey key;
};

class ImportReader {
public:
    explicit ImportReader(Passphrase& passphrase) : passphrase_(passphrase) {}

    void readKey(std::string const& path) { addKey(readPrivateKeyFile(path, passphrase_), path); }

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
            findOwner(key).key = key.key.key;
        }
        return std::move(content_);
    }

private:
    bool readBlocks(std::vector<PemBlock> const& blocks, std::string const& path) {
        std::size_t certificates = 0;
        for (PemBlock const& block : blocks) {
            if (isPrivateKey(block.name)) {
                addKey(decodePrivateKey(block, path, passphrase_), path);
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
        std::optional<CertificateSummary> summary = summariseCertificate(encoding);
        if (!summary) {
            return false;
        }
        if (friendlyName.empty() || !isLabel(friendlyName)) {
            friendlyName = std::move(summary->subject);
        }
        publicKeys_.push_back(std::move(summary->publicKey));
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
            addKey(*content->key, path);
        }
        return !content->certificates.empty();
    }

    void addKey(PrivateKey const& key, std::string const& place) { keys_.push_back({place, key}); }

    // A certificate that the files hold twice counts once.
    ImportedCertificate& findOwner(ImportedKey const& key) {
        ImportedCertificate* owner = nullptr;
        for (std::size_t i = 0; i < publicKeys_.size(); ++i) {
            ImportedCertificate& certificate = content_.certificates[i];
            if (publicKeys_[i] != key.key.publicKey ||
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
            // It may be that of one which is damaged.
            throw Failure(content_.damaged == 0 ? ExitCode::usage : ExitCode::damaged,
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
