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

    // Whether the arguments say anything of an item.
    bool isGiven() const;

    // Checks that the item is named in exactly one way and reads what that takes. Throws Failure.
    void check();

    bool names(CertificateView const& view) const;

    // The encoding of the certificate that names the item; empty when it is named in another way.
    std::string const& certificate() const { return encoding_; }

    // For messages: "with label x".
    std::string description() const;

private:
    std::string label_;
    std::string serial_;
    std::string issuer_;
    std::string certificateFile_;
    std::string encoding_;
};

} // namespace tvkstore
