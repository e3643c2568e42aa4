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
    add("--label", m_label, "TEXT", "the item's name as it is listed, or its whole label");
    add("--serial", m_serial, "HEX", "the serial number in hexadecimal digits, with --issuer");
    add("--issuer", m_issuer, "NAME", "the issuer as it is listed, with --serial");
    add("--cert", m_certificateFile, "FILE", "a file with the item's certificate, PEM or DER");
}

void ItemName::check() {
    bool const bySerial = !m_serial.empty() || !m_issuer.empty();
    int const ways = int{!m_label.empty()} + int{bySerial} + int{!m_certificateFile.empty()};
    if (ways != 1) {
        throw Failure(ExitCode::usage,
                      ways == 0 ? "no item is named" : "the item is named in more than one way",
                      {"an item is named by --label, by --serial with --issuer, or by --cert"});
    }
    if (bySerial) {
        if (m_serial.empty() || m_issuer.empty()) {
            throw Failure(ExitCode::usage, "--serial and --issuer go together");
        }
        std::optional<std::string> const serial = parseSerial(m_serial);
        if (!serial) {
            throw Failure(ExitCode::usage,
                          "--serial: \"" + m_serial + "\" isn't a number in hexadecimal digits");
        }
        m_serial = *serial;
    }
    if (!m_certificateFile.empty()) {
        m_encoding = readCertificateFile(m_certificateFile);
    }
}

bool ItemName::names(CertificateView const& view) const {
    if (!m_label.empty()) {
        return view.label == m_label || view.name == m_label;
    }
    if (!m_serial.empty()) {
        return view.serial == m_serial && view.issuer == m_issuer;
    }
    return view.encoding == m_encoding;
}

std::string ItemName::description() const {
    if (!m_label.empty()) {
        return "with label " + m_label;
    }
    if (!m_serial.empty()) {
        return "with serial number " + m_serial + " of " + m_issuer;
    }
    return "equal to that of " + m_certificateFile;
}

} // namespace tvkstore
