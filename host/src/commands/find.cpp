#include "argument_checks.h"
#include "certificate_file.h"
#include "certificate_listing.h"
#include "certificate_walk.h"
#include "commands/commands.h"
#include "failure.h"
#include "module_failure.h"
#include "name_text.h"
#include "serial_number.h"
#include "toolkit_bytes.h"

#include <tvkcore/asn/tvkasnutility.h>

#include <memory>

namespace tvkstore {

namespace {

struct FindArguments {
    std::string label;
    std::string subject;
    std::string serial;
    std::string issuer;
    std::string publicKeyFile;
    std::string certificateFile;
};

// What a search finds is shown to `visit`.
using Visit = std::function<void(TVKCertItem const&)>;
using Search = std::function<void(TVKCspManager& store, Visit const& visit)>;

Search searchFor(CertUniqueIndex index, std::shared_ptr<TVKASNObject> const& attribute) {
    return [=](TVKCspManager& store, Visit const& visit) {
        std::unique_ptr<TVKCertItem> const item(store.getItem(index, *attribute));
        if (item != nullptr) {
            visit(*item);
        }
    };
}

Search searchFor(CertMultiIndex index, std::shared_ptr<TVKASNObject> const& attribute) {
    return [=](TVKCspManager& store, Visit const& visit) {
        std::unique_ptr<TVKCertItemContainer> const items(store.getItem(index, *attribute));
        while (std::unique_ptr<TVKCertItem> const item{items->pop_front()}) {
            visit(*item);
        }
    };
}

template <typename Attribute>
std::shared_ptr<Attribute> decode(std::string const& encoding) {
    auto attribute = std::make_shared<Attribute>(TVKASNNotSecure);
    TVKASNUtility::setDEREncoding(viewOf(encoding), *attribute);
    return attribute;
}

Search searchForLabel(std::string const& label) {
    auto attribute = std::make_shared<TVKASNUTF8String>(TVKASNNotSecure);
    TVKASNCBuffer const bytes = viewOf(label);
    attribute->set_value(bytes.data, bytes.length);
    return searchFor(CertUniqueIndexLabel, attribute);
}

Search searchForSerial(std::string const& serial, std::string const& issuer) {
    if (serial.empty() || issuer.empty()) {
        throw Failure(ExitCode::usage, "--serial and --issuer go together");
    }
    std::optional<std::string> const number = parseSerial(serial);
    if (!number) {
        throw Failure(ExitCode::usage, "--serial: \"" + serial + "\" isn't a number in hexadecimal digits");
    }
    auto const name = decode<TVKASNx500Name>(encodeName("--issuer", issuer));
    auto const integer = decode<TVKASNInteger>(encodeSerial(*number));
    auto attribute = std::make_shared<TVKASNIssuerAndSerialNumber>(TVKASNNotSecure);
    TVKASNUtility::getIssuerAndSerialNumber(*name, *integer, *attribute);
    return searchFor(CertUniqueIndexIssuerAndSerial, attribute);
}

// By the signature, which tells a certificate from all others.
Search searchForCertificate(std::string const& path) {
    auto const certificate = decode<TVKASNx509Certificate>(readCertificateFile(path));
    return searchFor(CertUniqueIndexSignature,
                     std::shared_ptr<TVKASNObject>(certificate, &certificate->signature));
}

Search makeSearch(FindArguments const& arguments) {
    bool const bySerial = !arguments.serial.empty() || !arguments.issuer.empty();
    int const ways = int{!arguments.label.empty()} + int{!arguments.subject.empty()} + int{bySerial} +
                     int{!arguments.publicKeyFile.empty()} + int{!arguments.certificateFile.empty()};
    if (ways != 1) {
        throw Failure(ExitCode::usage,
                      ways == 0 ? "nothing is searched for" : "more than one search is asked for",
                      {"a search is by --label, --subject, --serial with --issuer, --public-key or --cert"});
    }
    if (!arguments.label.empty()) {
        return searchForLabel(arguments.label);
    }
    if (!arguments.subject.empty()) {
        return searchFor(CertMultiIndexSubject,
                         decode<TVKASNx500Name>(encodeName("--subject", arguments.subject)));
    }
    if (bySerial) {
        return searchForSerial(arguments.serial, arguments.issuer);
    }
    if (!arguments.publicKeyFile.empty()) {
        return searchFor(CertMultiIndexSubjectPublicKey,
                         decode<TVKASNSubjectPublicKeyInfo>(readPublicKeyFile(arguments.publicKeyFile)));
    }
    return searchForCertificate(arguments.certificateFile);
}

ExitCode find(Session& session, FindArguments const& arguments) {
    Search const search = attempt("can't search for this", [&] { return makeSearch(arguments); });
    std::unique_ptr<TVKCspManager> const store = session.openStore();
    std::string const& name = session.options().store;
    KeysByCertificate const withKey = keysByCertificate(*store);
    CertificateListing listing(session.options().json);
    bool found = false;
    bool isKeyKnown = true;
    attempt("can't search store " + name, [&] {
        search(*store, [&](TVKCertItem const& item) {
            CertificateView view = viewCertificate(item);
            view.hasKey = withKey.keys.contains(view.encoding);
            isKeyKnown = isKeyKnown && (view.hasKey || withKey.failures == 0);
            listing.add(view);
            found = true;
        });
    });
    bool const complete = !session.relayLayerLog();
    if (!found) {
        throw Failure(complete ? ExitCode::no : ExitCode::damaged, "no such certificate in store " + name);
    }
    listing.write(session.output());
    if (!isKeyKnown) {
        report(Failure(ExitCode::failed, "a private key of store " + name + " can't be read"));
    }
    return complete && isKeyKnown ? ExitCode::done : ExitCode::damaged;
}

} // namespace

Work defineFind(CLI::App& command) {
    auto const arguments = std::make_shared<FindArguments>();
    auto const add = [&command](char const* option, std::string& value, char const* type, char const* text) {
        command.add_option(option, value, text)->type_name(type)->check(checkNotEmpty);
    };
    add("--label", arguments->label, "TEXT", "the first one with this friendly name or whole label");
    add("--subject", arguments->subject, "NAME", "all with this subject, as RFC 2253 writes it");
    add("--serial", arguments->serial, "HEX", "the serial number in hexadecimal digits, with --issuer");
    add("--issuer", arguments->issuer, "NAME", "the issuer as RFC 2253 writes it, with --serial");
    add("--public-key", arguments->publicKeyFile, "FILE", "all with this public key, PEM or DER");
    add("--cert", arguments->certificateFile, "FILE", "the one with this certificate's signature");
    return [arguments](Session& session) { return find(session, *arguments); };
}

} // namespace tvkstore
