#pragma once

#include "certificate_view.h"

#include <CLI/App.hpp>

#include <string>

namespace tvkstore {

// How a command's arguments name an item of a store: by its label, by serial number and issuer, or by its
// certificate.
class ItemName {
public:
    void define(CLI::App& command);

    // Checks that the item is named in exactly one way and reads what that takes. Throws Failure.
    void check();

    bool names(CertificateView const& view) const;

    // For messages: "with label x".
    std::string description() const;

private:
    std::string m_label;
    std::string m_serial;
    std::string m_issuer;
    std::string m_certificateFile;
    std::string m_encoding;
};

} // namespace tvkstore
