#include "commands/commands.h"
#include "failure.h"
#include "module_failure.h"
#include "pem.h"
#include "result_output.h"
#include "stored_items.h"
#include "toolkit_bytes.h"

#include <tvkcore/asn/tvkasnutility.h>

#include <memory>

namespace tvkstore {

namespace {

struct ExportArguments {
    ItemName item;
    bool certificate = false;
    bool publicKey = false;
    bool privateKey = false;
    bool der = false;
    ResultOutput output;
};

TVKBuffer publicKeyOf(std::string const& encoding) {
    TVKASNx509Certificate certificate(TVKASNNotSecure);
    TVKASNUtility::setDEREncoding(viewOf(encoding), certificate);
    return TVKASNUtility::getDEREncoding(certificate.tbsCertificate.subjectPublicKeyInfo);
}

// The store's index of labels gives the key in clear where it may leave its provider.
TVKBuffer privateKeyOf(TVKCspManager& store, StoredItem const& item) {
    TVKASNUTF8String label(TVKASNNotSecure);
    TVKASNCBuffer const bytes = viewOf(item.view.label);
    label.set_value(bytes.data, bytes.length);
    std::unique_ptr<TVKKeyCertItem> const found(store.getItem(KeyCertUniqueIndexLabel, label));
    if (found == nullptr || bytesOf(found->getCertificateDER()) != item.view.encoding) {
        throw Failure(ExitCode::failed, "another item has the label of " + item.view.name,
                      {"\"tvkstore update --new-label\" gives it another one"});
    }
    TVKKRYKey const key = found->getKey();
    if (key.getFormat() != TVKKRYKey::PrivateKeyInfo) {
        throw Failure(ExitCode::refused,
                      "the private key of " + item.view.name + " may not leave its provider",
                      {"keys that \"tvkstore create\" makes stay where they are"});
    }
    return key.getKeyBlob();
}

ExitCode exportItem(Session& session, ExportArguments& arguments) {
    arguments.item.check();
    arguments.output.open(session, arguments.der ? ResultForm::bytes : ResultForm::pem);
    std::unique_ptr<TVKCspManager> const store = session.openStore();
    StoredItem const item = findOneItem(session, *store, arguments.item);
    if (arguments.privateKey && !item.key) {
        throw Failure(item.isKeyKnown ? ExitCode::no : ExitCode::damaged,
                      item.view.name + " has no private key in store " + session.options().store);
    }
    TVKBuffer const encoding = attempt("can't export " + item.view.name, [&] {
        return arguments.privateKey  ? privateKeyOf(*store, item)
               : arguments.publicKey ? publicKeyOf(item.view.encoding)
                                     : TVKBuffer(viewOf(item.view.encoding));
    });
    if (arguments.privateKey) {
        warn("the private key of " + item.view.name + " is written in clear: whoever reads it can use it");
    }
    if (arguments.der) {
        arguments.output.write(session, bytesOf(encoding));
    } else {
        std::string_view const name = arguments.privateKey  ? kPemPrivateKey
                                      : arguments.publicKey ? kPemPublicKey
                                                            : kPemCertificate;
        arguments.output.write(session, bytesOf(encodePem(name, bytesOf(encoding))));
    }
    return ExitCode::done;
}

} // namespace

Work defineExport(CLI::App& command) {
    auto const arguments = std::make_shared<ExportArguments>();
    arguments->item.define(command);
    CLI::Option* const certificate = command.add_flag("--certificate", arguments->certificate,
                                                      "the certificate, as without any of the three");
    CLI::Option* const publicKey =
        command.add_flag("--public-key", arguments->publicKey, "the certificate's public key");
    command.add_flag("--private-key", arguments->privateKey, "the private key in clear (PKCS#8)")
        ->excludes(certificate)
        ->excludes(publicKey);
    publicKey->excludes(certificate);
    command.add_flag("--der", arguments->der, "write DER instead of PEM");
    arguments->output.define(command);
    return [arguments](Session& session) { return exportItem(session, *arguments); };
}

} // namespace tvkstore
