#include "certificate_details.h"

#include "platform_decoding_windows.h"
#include "wide_text.h"

#include <algorithm>

#include <wincrypt.h>

namespace tvkstore {

namespace {

// The platform's name for the object, else its dotted identifier.
std::string objectText(char* identifier) {
    PCCRYPT_OID_INFO const known = CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY, identifier, 0);
    std::string const name = known != nullptr ? utf8Of(known->pwszName) : "";
    return name.empty() ? identifier : name;
}

std::string extensionText(CERT_EXTENSION const& extension) {
    DWORD size = 0;
    auto const format = [&](wchar_t* text) {
        return CryptFormatObject(X509_ASN_ENCODING, 0, CRYPT_FORMAT_STR_MULTI_LINE, nullptr,
                                 extension.pszObjId, extension.Value.pbData, extension.Value.cbData, text,
                                 &size) != 0;
    };
    if (!format(nullptr)) {
        return "can't be decoded";
    }
    // Room for the zero at the end, whether it was counted or not.
    std::wstring wide(size / sizeof(wchar_t) + 1, L'\0');
    if (!format(wide.data())) {
        return "can't be decoded";
    }
    std::string text = utf8Of(wide.c_str());
    std::erase(text, '\r');
    while (text.ends_with('\n')) {
        text.pop_back();
    }
    return text;
}

} // namespace

std::optional<CertificateDetails> certificateDetails(std::string const& encoding) {
    auto const structure = decodeStructure(X509_CERT_TO_BE_SIGNED, encoding);
    if (structure == nullptr) {
        return std::nullopt;
    }
    auto& info = *static_cast<CERT_INFO*>(structure.get());
    CertificateDetails details{};
    details.version = static_cast<long>(info.dwVersion) + 1;
    details.signatureAlgorithm = objectText(info.SignatureAlgorithm.pszObjId);
    details.publicKeyAlgorithm = objectText(info.SubjectPublicKeyInfo.Algorithm.pszObjId);
    details.publicKeyBits =
        static_cast<int>(CertGetPublicKeyLength(X509_ASN_ENCODING, &info.SubjectPublicKeyInfo));
    for (DWORD i = 0; i < info.cExtension; ++i) {
        CERT_EXTENSION const& extension = info.rgExtension[i];
        details.extensions.push_back(
            {objectText(extension.pszObjId), extension.fCritical != FALSE, extensionText(extension)});
    }
    return details;
}

} // namespace tvkstore
