#include "argument_checks.h"
#include "certificate_json.h"
#include "change_failures.h"
#include "commands/commands.h"
#include "import_content.h"
#include "progress.h"
#include "stored_items.h"

#include <memory>
#include <vector>

namespace tvkstore {

namespace {

struct ImportArguments {
    std::vector<std::string> files;
    std::optional<std::string> label;
    std::string keyFile;
    Passphrase passphrase;
};

// What the module throws for a certificate that the store has.
constexpr int kExists = 578009;

void applyLabel(ImportContent& content, std::string const& label) {
    std::vector<ImportedCertificate*> named;
    for (ImportedCertificate& certificate : content.certificates) {
        if (certificate.key) {
            named.push_back(&certificate);
        }
    }
    if (named.empty() && content.certificates.size() == 1) {
        named.push_back(&content.certificates.front());
    }
    if (named.size() != 1) {
        throw Failure(ExitCode::usage, "--label names one item, and the files hold several",
                      {"without it each gets its own name"});
    }
    named.front()->label = label;
}

class Importer {
public:
    // Opens the stores that the content needs.
    Importer(Session& session, ImportContent const& content) : session_(session), failures_(session) {
        for (ImportedCertificate const& certificate : content.certificates) {
            std::string const& name = storeOf(certificate);
            if (!stores_.contains(name)) {
                stores_[name] = session.openStore(name);
            }
        }
    }

    void add(ImportedCertificate const& certificate, Progress& progress) {
        TVKCspManager& store = *stores_.at(storeOf(certificate));
        bool isDuplicate = false;
        try {
            if (certificate.key) {
                TVKKeyCertItem item = keyItem(certificate.encoding, *certificate.key, certificate.label);
                store.insertItem(item);
            } else {
                TVKCertItem item = certificateItem(certificate.encoding, certificate.label);
                store.insertItem(item);
            }
        } catch (TVKException const& exception) {
            isDuplicate = exception.getCode() == kExists;
            if (!isDuplicate) {
                progress.hide();
                failures_.add(certificate.place + ": can't be imported", exception);
                return;
            }
        }
        tell(certificate, isDuplicate);
    }

    ExitCode finish(std::size_t damaged) {
        ExitCode const worst = failures_.finish();
        if (session_.options().json) {
            writeJson(session_.output(), {{"imported", imported_},
                                          {"duplicates", duplicates_},
                                          {"damaged", damaged},
                                          {"failed", failures_.count()},
                                          {"items", items_}});
        } else {
            std::string text = lines_ + "imported " + std::to_string(imported_);
            text += duplicates_ != 0 ? ", duplicates " + std::to_string(duplicates_) : "";
            text += damaged != 0 ? ", damaged " + std::to_string(damaged) : "";
            text += failures_.count() != 0 ? ", failed " + std::to_string(failures_.count()) : "";
            session_.output().write(text + '\n');
        }
        return worst != ExitCode::done ? worst
               : damaged != 0          ? ExitCode::damaged
               : duplicates_ != 0      ? ExitCode::no
                                       : ExitCode::done;
    }

private:
    // Where the key form writes is where a duplicate has to be looked for.
    std::string const& storeOf(ImportedCertificate const& certificate) const {
        return certificate.key ? keyStore_ : session_.options().store;
    }

    void tell(ImportedCertificate const& certificate, bool isDuplicate) {
        std::string const& storeName = storeOf(certificate);
        ++(isDuplicate ? duplicates_ : imported_);
        if (session_.options().json) {
            items_.push_back({{"place", certificate.place},
                              {"name", certificate.label},
                              {"store", storeName},
                              {"withKey", certificate.key.has_value()},
                              {"duplicate", isDuplicate}});
            return;
        }
        if (!certificate.key && !isDuplicate) {
            return;
        }
        std::string line = certificate.place + ": ";
        if (isDuplicate) {
            line += "duplicate: store " + storeName + " has this certificate already";
            line += certificate.key ? ", and the private key was not imported" : "";
        } else {
            line += '"' + certificate.label + "\" and its private key are in store " + storeName;
            line += storeName == session_.options().store
                        ? ""
                        : ", not in " + session_.options().store + ": keys go there whatever the store";
        }
        lines_ += printable(line) + '\n';
    }

    std::string const keyStore_ = kKeyStore;
    Session& session_;
    ChangeFailures failures_;
    std::map<std::string, std::unique_ptr<TVKCspManager>> stores_;
    std::size_t imported_ = 0;
    std::size_t duplicates_ = 0;
    std::string lines_;
    nlohmann::ordered_json items_ = nlohmann::ordered_json::array();
};

ExitCode import(Session& session, ImportArguments& arguments) {
    ImportContent content = readImport(arguments.files, arguments.keyFile, arguments.passphrase);
    if (arguments.label) {
        applyLabel(content, *arguments.label);
    }
    Importer importer(session, content);
    {
        Progress progress("importing", content.certificates.size());
        for (ImportedCertificate const& certificate : content.certificates) {
            progress.step();
            importer.add(certificate, progress);
        }
    }
    return importer.finish(content.damaged);
}

} // namespace

Work defineImport(CLI::App& command) {
    auto const arguments = std::make_shared<ImportArguments>();
    command
        .add_option("FILE", arguments->files,
                    "certificates in PEM, also many in a file, or DER; or PKCS#12 with private keys")
        ->required()
        ->type_name("")
        ->check(checkNotEmpty);
    command.add_option("--label", arguments->label, "the item's name, instead of its common name")
        ->type_name("TEXT")
        ->check(checkLabel);
    command
        .add_option("--key", arguments->keyFile,
                    "the private key that belongs to the certificate: PKCS#8 or RSA, PEM or DER")
        ->type_name("FILE")
        ->check(checkNotEmpty);
    arguments->passphrase.define(command);
    return [arguments](Session& session) { return import(session, *arguments); };
}

} // namespace tvkstore
