#include "certificate_view.h"

#include "fingerprint.h"
#include "serial_number.h"
#include "toolkit_bytes.h"

#include <tvkcore/asn/tvkasnutility.h>

#include <cstdio>
#include <string_view>

namespace tvkstore {

namespace {

std::string_view octetsOf(TVKASNInteger const& number) {
    unsigned char* value = nullptr;
    unsigned long length = 0;
    if (number.get_value(value, length) != TVKASN_OK) {
        return {};
    }
    return {reinterpret_cast<char const*>(value), length};
}

std::string rfc3339(TVKASNTarnTime const& time) {
    struct tm parts {};
    if (time.get_value(parts) != TVKASN_OK) {
        return {};
    }
    char text[80];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ", parts.tm_year + 1900, parts.tm_mon + 1,
                  parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
    return text;
}

std::string nameText(TVKASNx500Name const& name) {
    return std::string(TVKASNUtility::getRFC2253String(name, false, TVKASNStrRepRFC2253).view());
}

// A label ends in "##", the serial number's octets in lower-case digits without leading zeros and with ':'
// between them, "##" and the issuer.
std::string nameInLabel(std::string_view label, std::string_view serialOctets, std::string_view issuer) {
    std::string tail = "##";
    for (std::size_t i = 0; i < serialOctets.size(); ++i) {
        char digits[8];
        std::snprintf(digits, sizeof digits, i == 0 ? "%x" : ":%x",
                      static_cast<unsigned char>(serialOctets[i]));
        tail += digits;
    }
    tail.append("##").append(issuer);
    if (label.ends_with(tail)) {
        label.remove_suffix(tail.size());
    }
    return std::string(label);
}

} // namespace

CertificateView viewCertificate(TVKCertItem const& item) {
    TVKBuffer const encoding = item.getCertificateDER();
    TVKASNx509Certificate certificate(TVKASNNotSecure);
    TVKASNUtility::setDEREncoding(encoding.get(), certificate);
    TVKASNTBSCertificate const& content = certificate.tbsCertificate;
    std::string_view const serialOctets = octetsOf(content.serialNumber);

    CertificateView view;
    view.label = item.getLabelAsString().view();
    view.issuer = nameText(content.issuer);
    view.name = nameInLabel(view.label, serialOctets, view.issuer);
    view.subject = nameText(content.subject);
    view.serial = serialText(serialOctets);
    view.notBefore = rfc3339(content.validity.notBefore);
    view.notAfter = rfc3339(content.validity.notAfter);
    view.encoding = bytesOf(encoding);
    view.sha1 = fingerprint("SHA1", view.encoding);
    return view;
}

} // namespace tvkstore
