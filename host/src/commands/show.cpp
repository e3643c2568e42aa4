#include "certificate_details.h"
#include "certificate_json.h"
#include "certificate_walk.h"
#include "commands/commands.h"
#include "failure.h"
#include "fingerprint.h"
#include "item_name.h"
#include "text.h"

#include <memory>
#include <vector>

namespace tvkstore {

namespace {

struct ShowArguments {
    ItemName item;
    bool keys = false;
};

using Json = nlohmann::ordered_json;

Json detailedJson(CertificateView const& view) {
    Json json = toJson(view);
    json["sha256"] = fingerprint("SHA256", view.encoding);
    if (std::optional<CertificateDetails> const details = certificateDetails(view.encoding)) {
        json["version"] = details->version;
        json["signatureAlgorithm"] = details->signatureAlgorithm;
        json["publicKeyAlgorithm"] = details->publicKeyAlgorithm;
        json["publicKeyBits"] = details->publicKeyBits;
        json["extensions"] = Json::array();
        for (CertificateExtensionText const& extension : details->extensions) {
            json["extensions"].push_back(
                {{"name", extension.name}, {"critical", extension.critical}, {"text", extension.text}});
        }
    }
    return json;
}

class Listing {
public:
    explicit Listing(ByteSink& out) : out_(out) {}

    void line(std::string_view name, std::string_view value) {
        std::string text(name);
        text.resize(22, ' ');
        out_.write(text + printable(value) + '\n');
    }

    void indented(std::string_view lines) {
        for (std::size_t begin = 0; begin <= lines.size();) {
            std::size_t const end = std::min(lines.find('\n', begin), lines.size());
            out_.write("    " + printable(lines.substr(begin, end - begin)) + '\n');
            begin = end + 1;
        }
    }

private:
    ByteSink& out_;
};

void writeDetailed(ByteSink& out, CertificateView const& view) {
    Listing listing(out);
    listing.line("Label", view.label);
    listing.line("Private key", view.hasKey ? "yes" : "no");
    listing.line("Subject", view.subject);
    listing.line("Issuer", view.issuer);
    listing.line("Serial number", view.serial);
    listing.line("Not before", view.notBefore);
    listing.line("Not after", view.notAfter);
    listing.line("SHA-1", view.sha1);
    listing.line("SHA-256", fingerprint("SHA256", view.encoding));
    std::optional<CertificateDetails> const details = certificateDetails(view.encoding);
    if (!details) {
        return;
    }
    listing.line("Version", std::to_string(details->version));
    listing.line("Signature algorithm", details->signatureAlgorithm);
    listing.line("Public key",
                 details->publicKeyAlgorithm + ", " + std::to_string(details->publicKeyBits) + " bits");
    for (CertificateExtensionText const& extension : details->extensions) {
        listing.line("Extension", extension.name + (extension.critical ? " (critical)" : ""));
        listing.indented(extension.text);
    }
}

// A label may name several items, and each is shown.
ExitCode show(Session& session, ShowArguments& arguments) {
    arguments.item.check();
    std::unique_ptr<TVKCspManager> const store = session.openStore();
    std::vector<CertificateView> found;
    Certificates const which = arguments.keys ? Certificates::withKey : Certificates::all;
    bool const complete = walkCertificates(session, *store, which, [&](CertificateView const& view) {
        if (arguments.item.names(view)) {
            found.push_back(view);
        }
    });
    if (found.empty()) {
        std::string const what = "no certificate " + arguments.item.description() + " in store ";
        // Where some couldn't be read, the one may be among them.
        throw Failure(complete ? ExitCode::no : ExitCode::damaged, what + session.options().store);
    }
    bool areKeysKnown = true;
    if (!complete) { // a walk that was cut short showed certificates without their keys
        KeysByCertificate const known = keysByCertificate(*store);
        for (CertificateView& view : found) {
            view.hasKey = view.hasKey || known.keys.contains(view.encoding);
        }
        areKeysKnown = known.failures == 0 && !session.relayLayerLog();
    }
    auto json = Json::array();
    for (CertificateView const& view : found) {
        if (session.options().json) {
            json.push_back(detailedJson(view));
        } else {
            session.output().write(&view == &found.front() ? "" : "\n");
            writeDetailed(session.output(), view);
        }
    }
    if (session.options().json) {
        writeJson(session.output(), json);
    }
    return areKeysKnown ? ExitCode::done : ExitCode::damaged;
}

} // namespace

Work defineShow(CLI::App& command) {
    auto const arguments = std::make_shared<ShowArguments>();
    arguments->item.define(command);
    command.add_flag("--keys", arguments->keys, "only among certificates with a private key");
    return [arguments](Session& session) { return show(session, *arguments); };
}

} // namespace tvkstore
