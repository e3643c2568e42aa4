#include "certificate_decoding.h"

#include "platform_decoding_windows.h"
#include "rsa_encoding_windows.h"
#include "toolkit_bytes.h"
#include "wide_text.h"

#include <tvkcore/asn/tvkasnutility.h>

#include <wincrypt.h>

namespace tvkstore {

namespace {

// Empty for what isn't text.
std::string valueText(CERT_RDN_ATTR const& attribute) {
    if (attribute.dwValueType < CERT_RDN_NUMERIC_STRING) {
        return {};
    }
    std::wstring const wide(reinterpret_cast<wchar_t const*>(attribute.Value.pbData),
                            attribute.Value.cbData / sizeof(wchar_t));
    // A label has no zero inside.
    return wide.find(L'\0') == std::wstring::npos ? utf8Of(wide.c_str()) : "";
}

// Empty where there is none, and where it isn't text.
std::string attributeText(CERT_NAME_INFO const& name, std::string_view type) {
    std::string text;
    // The last one is the most particular.
    for (DWORD i = 0; i < name.cRDN; ++i) {
        CERT_RDN const& relative = name.rgRDN[i];
        for (DWORD k = 0; k < relative.cRDNAttr; ++k) {
            if (type == relative.rgRDNAttr[k].pszObjId) {
                text = valueText(relative.rgRDNAttr[k]);
            }
        }
    }
    return text;
}

std::string subjectText(TVKASNx500Name const& subject) {
    TVKBuffer const encoding = TVKASNUtility::getDEREncoding(subject);
    if (auto const structure = decodeStructure(X509_UNICODE_NAME, bytesOf(encoding))) {
        auto const& name = *static_cast<CERT_NAME_INFO const*>(structure.get());
        for (char const* const type :
             {szOID_COMMON_NAME, szOID_ORGANIZATIONAL_UNIT_NAME, szOID_ORGANIZATION_NAME}) {
            if (std::string text = attributeText(name, type); !text.empty()) {
                return text;
            }
        }
    }
    return std::string(TVKASNUtility::getRFC2253String(subject, true, TVKASNStrRepRFC2253).view());
}

} // namespace

bool isCertificateEncoding(std::string_view encoding) {
    TVKASNx509Certificate certificate(TVKASNNotSecure);
    return decodeAll(encoding, certificate);
}

bool isPublicKeyEncoding(std::string_view encoding) {
    TVKASNSubjectPublicKeyInfo key(TVKASNNotSecure);
    return decodeAll(encoding, key);
}

std::optional<CertificateSummary> summariseCertificate(std::string_view encoding) {
    TVKASNx509Certificate certificate(TVKASNNotSecure);
    if (!decodeAll(encoding, certificate)) {
        return std::nullopt;
    }
    TVKASNTBSCertificate const& content = certificate.tbsCertificate;
    return CertificateSummary{subjectText(content.subject), publicKeyEncoding(content.subjectPublicKeyInfo)};
}

} // namespace tvkstore
