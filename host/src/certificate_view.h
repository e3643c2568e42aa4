#pragma once

#include <tvkcore/item/tvkstoreitem.h>

#include <string>

namespace tvkstore {

// What is shown of a certificate of a store.
struct CertificateView {
    std::string label;
    std::string name;    // the label without serial number and issuer: the friendly name, or "cn=" and a name
    std::string subject; // RFC 2253, UTF-8
    std::string issuer;  // RFC 2253, UTF-8
    std::string serial;  // see serial_number.h
    std::string notBefore; // RFC 3339 in UTC; empty where the certificate holds no time
    std::string notAfter;
    std::string sha1; // of the encoding, lower-case hexadecimal digits
    bool hasKey = false;
    std::string encoding; // DER, as it stands in the store
};

// Throws TVKException for an encoding that is no certificate.
CertificateView viewCertificate(TVKCertItem const& item);

} // namespace tvkstore
