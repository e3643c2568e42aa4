#include <tvkcore/asn/tvkasnx509certificate.h>

#include "dercursor.h"
#include "objectid.h"

TVKASNAlgorithmID::TVKASNAlgorithmID(TVKASNSecurityType security)
    : TVKASNSequence(security), algorithm(security), parameters(security) {
    register_child(&algorithm);
    register_child(&parameters);
    parameters.set_optional(true);
}

TVKASNAlgorithmID::~TVKASNAlgorithmID() = default;

TVKASNValidity::TVKASNValidity(TVKASNSecurityType security)
    : TVKASNSequence(security), notBefore(security), notAfter(security) {
    register_child(&notBefore);
    register_child(&notAfter);
}

TVKASNValidity::~TVKASNValidity() = default;

TVKASNSubjectPublicKeyInfo::TVKASNSubjectPublicKeyInfo(TVKASNSecurityType security)
    : TVKASNSequence(security), algorithm(security), subjectPublicKey(security) {
    register_child(&algorithm);
    register_child(&subjectPublicKey);
}

TVKASNSubjectPublicKeyInfo::~TVKASNSubjectPublicKeyInfo() = default;

namespace {

bool isSubjectPublicKeyInfo(TVKASNObject const& object) {
    return dynamic_cast<TVKASNSubjectPublicKeyInfo const*>(&object) != nullptr;
}

} // namespace

bool (*TVKASNSubjectPublicKeyInfo::getRTTI() const)(TVKASNObject const&) { return &isSubjectPublicKeyInfo; }

TVKASNPrivateKeyInfo::TVKASNPrivateKeyInfo(TVKASNSecurityType security)
    : TVKASNSequence(security), version(security), privateKeyAlgorithm(security), privateKey(security),
      attributes(security) {
    register_child(&version);
    register_child(&privateKeyAlgorithm);
    register_child(&privateKey);
    register_child(&attributes);
    attributes.set_class(TVKASNContextSpecific);
    attributes.set_tag(0);
    attributes.set_optional(true);
    TVKASNObject::set_secure(TVKASNSecure);
}

TVKASNPrivateKeyInfo::~TVKASNPrivateKeyInfo() = default;

namespace {

// One extension, as views.
struct Extension {
    TVKASNCBuffer type;
    bool critical = false;
    TVKASNCBuffer value;
};

int readExtension(tvk::DerCursor& list, Extension& extension) {
    TVKASNCBuffer body;
    if (int const status = list.expect(tvk::kSequenceOctet, body); status != TVKASN_OK) {
        return status;
    }
    tvk::DerCursor parts(body.data, body.length);
    if (int const status = parts.expect(tvk::kTagObjectID, extension.type); status != TVKASN_OK) {
        return status;
    }
    if (!tvk::isObjectIDContent(extension.type.data, extension.type.length)) {
        return TVKASN_BAD_VALUE;
    }
    extension.critical = false;
    if (!parts.atEnd() && *parts.position() == tvk::kTagBoolean) {
        // Any octet but 0 counts as true: not all issuers write 0xFF.
        TVKASNCBuffer flag;
        if (int const status = parts.expect(tvk::kTagBoolean, flag); status != TVKASN_OK) {
            return status;
        }
        if (flag.length != 1) {
            return TVKASN_BAD_VALUE;
        }
        extension.critical = flag.data[0] != 0;
    }
    if (int const status = parts.expect(tvk::kTagOctetString, extension.value); status != TVKASN_OK) {
        return status;
    }
    return parts.atEnd() ? TVKASN_OK : TVKASN_TRAILING_DATA;
}

} // namespace

TVKASNExtensions::TVKASNExtensions(TVKASNSecurityType security)
    : TVKASNObject(security, TVKASNUniversal, tvk::kTagSequence, true) {}

TVKASNExtensions::~TVKASNExtensions() = default;

int TVKASNExtensions::decode_value(TVKASNCBuffer& content, unsigned long length) {
    if (length > content.length) {
        return TVKASN_TRUNCATED;
    }
    tvk::DerCursor list(content.data, length);
    Extension extension;
    while (!list.atEnd()) {
        if (int const status = readExtension(list, extension); status != TVKASN_OK) {
            return status;
        }
    }
    content.data += length;
    content.length -= length;
    return TVKASN_OK;
}

int TVKASNExtensions::encode_value(TVKASNBuffer& out) const {
    if (!is_present()) {
        return TVKASN_NO_VALUE;
    }
    out.append(content(), content_length());
    return TVKASN_OK;
}

int TVKASNExtensions::display(TVKASNBuffer& out) const {
    if (!is_present()) {
        return TVKASN_NO_VALUE;
    }
    tvk::DerCursor list(content(), content_length());
    Extension extension;
    std::string text;
    while (!list.atEnd() && readExtension(list, extension) == TVKASN_OK) {
        text += text.empty() ? "" : " ";
        text += tvk::dottedObjectID(extension.type.data, extension.type.length);
        text += extension.critical ? "!" : "";
    }
    out.append(reinterpret_cast<unsigned char const*>(text.data()), text.size());
    return TVKASN_OK;
}

unsigned int TVKASNExtensions::get_count() const {
    tvk::DerCursor list(content(), is_present() ? content_length() : 0);
    Extension extension;
    unsigned int count = 0;
    while (!list.atEnd() && readExtension(list, extension) == TVKASN_OK) {
        ++count;
    }
    return count;
}

bool TVKASNExtensions::find(unsigned long const* arcs, unsigned int count, bool& critical,
                            TVKASNCBuffer& value) const {
    tvk::DerCursor list(content(), is_present() ? content_length() : 0);
    Extension extension;
    while (!list.atEnd() && readExtension(list, extension) == TVKASN_OK) {
        if (tvk::equalsObjectID(extension.type.data, extension.type.length, arcs, count)) {
            critical = extension.critical;
            value = extension.value;
            return true;
        }
    }
    return false;
}

TVKASNTBSCertificate::TVKASNTBSCertificate(TVKASNSecurityType security)
    : TVKASNSequence(security), version(security), versionTag(security, 0, version), serialNumber(security),
      signature(security), issuer(security), validity(security), subject(security),
      subjectPublicKeyInfo(security), issuerUniqueID(security), subjectUniqueID(security),
      extensions(security), extensionsTag(security, 3, extensions) {
    register_child(&versionTag);
    register_child(&serialNumber);
    register_child(&signature);
    register_child(&issuer);
    register_child(&validity);
    register_child(&subject);
    register_child(&subjectPublicKeyInfo);
    register_child(&issuerUniqueID);
    register_child(&subjectUniqueID);
    register_child(&extensionsTag);
    issuerUniqueID.set_class(TVKASNContextSpecific);
    issuerUniqueID.set_tag(1);
    subjectUniqueID.set_class(TVKASNContextSpecific);
    subjectUniqueID.set_tag(2);
    versionTag.set_optional(true);
    issuerUniqueID.set_optional(true);
    subjectUniqueID.set_optional(true);
    extensionsTag.set_optional(true);
}

TVKASNTBSCertificate::~TVKASNTBSCertificate() = default;

TVKASNx509Certificate::TVKASNx509Certificate(TVKASNSecurityType security)
    : TVKASNSequence(security), tbsCertificate(security), signatureAlgorithm(security), signature(security) {
    register_child(&tbsCertificate);
    register_child(&signatureAlgorithm);
    register_child(&signature);
    accept_other_encodings();
}

TVKASNx509Certificate::~TVKASNx509Certificate() = default;

TVKASNIssuerAndSerialNumber::TVKASNIssuerAndSerialNumber(TVKASNSecurityType security)
    : TVKASNSequence(security), issuer(security), serialNumber(security) {
    register_child(&issuer);
    register_child(&serialNumber);
}

TVKASNIssuerAndSerialNumber::~TVKASNIssuerAndSerialNumber() = default;
