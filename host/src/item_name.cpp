#include "item_name.h"

#include "argument_checks.h"
#include "certificate_file.h"
#include "failure.h"
#include "serial_number.h"

namespace tvkstore {

void ItemName::define(CLI::App& command) {
    auto const add = [&command](char const* option, std::string& value, char const* type, char const* text) {
        command.add_option(option, value, text)->type_name(type)->check(checkNotEmpty);
    };
    add("--label", label_, "TEXT", "the item's name as it is listed, or its whole label");
    add("--serial", serial_, "HEX", "the serial number in hexadecimal digits, with --issuer");
    add("--issuer", issuer_, "NAME", "the issuer as it is listed, with --serial");
    add("--cert", certificateFile_, "FILE", "a file with the item's certificate, PEM or DER");
}

void ItemName::check() {
    bool const bySerial = !serial_.empty() || !issuer_.empty();
    int const ways = int{!label_.empty()} + int{bySerial} + int{!certificateFile_.empty()};
    if (ways != 1) {
        throw Failure(ExitCode::usage,
                      ways == 0 ? "no item is named" : "the item is named in more than one way",
                      {"an item is named by --label, by --serial with --issuer, or by --cert"});
    }
    if (bySerial) {
        if (serial_.empty() || issuer_.empty()) {
            throw Failure(ExitCode::usage, "--serial and --issuer go together");
        }
        std::optional<std::string> const serial = parseSerial(serial_);
        if (!serial) {
            throw Failure(ExitCode::usage,
                          "--serial: \"" + serial_ + "\" isn't a number in hexadecimal digits");
        }
        serial_ = *serial;
    }
    if (!certificateFile_.empty()) {
        encoding_ = readCertificateFile(certificateFile_);
    }
}

bool ItemName::isGiven() const {
    return !label_.empty() || !serial_.empty() || !issuer_.empty() || !certificateFile_.empty();
}

bool ItemName::names(CertificateView const& view) const {
    if (!label_.empty()) {
        return view.label == label_ || view.name == label_;
    }
    if (!serial_.empty()) {
        return view.serial == serial_ && view.issuer == issuer_;
    }
    return view.encoding == encoding_;
}

std::string ItemName::description() const {
    if (!label_.empty()) {
        return "with label " + label_;
    }
    if (!serial_.empty()) {
        return "with serial number " + serial_ + " of " + issuer_;
    }
    return "equal to that of " + certificateFile_;
}

} // namespace tvkstore
