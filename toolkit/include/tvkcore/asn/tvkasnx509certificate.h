#pragma once

#include <tvkcore/asn/tvkasnprimitive.h>
#include <tvkcore/asn/tvkasntime.h>
#include <tvkcore/asn/tvkasnx500name.h>

// AlgorithmIdentifier (RFC 5280, 4.1.1.2).
class TVK_API TVKASNAlgorithmID : public TVKASNSequence {
public:
    explicit TVKASNAlgorithmID(TVKASNSecurityType security);
    ~TVKASNAlgorithmID() override;

    TVKASNObjectID algorithm;
    TVKASNAny parameters; // optional
};

// Validity (RFC 5280, 4.1.2.5).
class TVK_API TVKASNValidity : public TVKASNSequence {
public:
    explicit TVKASNValidity(TVKASNSecurityType security);
    ~TVKASNValidity() override;

    TVKASNTarnTime notBefore;
    TVKASNTarnTime notAfter;
};

// SubjectPublicKeyInfo (RFC 5280, 4.1.2.7).
class TVK_API TVKASNSubjectPublicKeyInfo : public TVKASNSequence {
public:
    explicit TVKASNSubjectPublicKeyInfo(TVKASNSecurityType security);
    ~TVKASNSubjectPublicKeyInfo() override;

    bool (*getRTTI() const)(TVKASNObject const&) override;

    TVKASNAlgorithmID algorithm;
    TVKASNBitString subjectPublicKey;
};

// PrivateKeyInfo (RFC 5208, 5). Its bytes are wiped before their memory is given back, whatever the security
// type.
class TVK_API TVKASNPrivateKeyInfo : public TVKASNSequence {
public:
    explicit TVKASNPrivateKeyInfo(TVKASNSecurityType security);
    ~TVKASNPrivateKeyInfo() override;

    TVKASNInteger version;
    TVKASNAlgorithmID privateKeyAlgorithm;
    TVKASNOctetString privateKey;
    TVKASNAny attributes; // optional, [0] IMPLICIT SET OF Attribute
};

// The certificate extensions (RFC 5280, 4.1.2.9): a SEQUENCE whose structure is checked when it is read.
class TVK_API TVKASNExtensions : public TVKASNObject {
public:
    explicit TVKASNExtensions(TVKASNSecurityType security);
    ~TVKASNExtensions() override;

    int decode_value(TVKASNCBuffer& content, unsigned long length) override;
    int encode_value(TVKASNBuffer& out) const override;
    int display(TVKASNBuffer& out) const override;

    // Number of extensions.
    unsigned int get_count() const;

    // Finds the first extension with this object identifier. `value` then shows the content of its extnValue,
    // valid as long as this object is unchanged. False, with both results as they were, when there is none.
    bool find(unsigned long const* arcs, unsigned int count, bool& critical, TVKASNCBuffer& value) const;
};

// TBSCertificate (RFC 5280, 4.1.2): the unsigned part of a certificate.
class TVK_API TVKASNTBSCertificate : public TVKASNSequence {
public:
    explicit TVKASNTBSCertificate(TVKASNSecurityType security);
    ~TVKASNTBSCertificate() override;

    TVKASNInteger version; // 0 stands for version 1; absent means 0
    TVKASNExplicit versionTag;
    TVKASNInteger serialNumber;
    TVKASNAlgorithmID signature;
    TVKASNx500Name issuer;
    TVKASNValidity validity;
    TVKASNx500Name subject;
    TVKASNSubjectPublicKeyInfo subjectPublicKeyInfo;
    TVKASNBitString issuerUniqueID;  // optional
    TVKASNBitString subjectUniqueID; // optional
    TVKASNExtensions extensions;     // optional
    TVKASNExplicit extensionsTag;
};

// An X.509 certificate (RFC 5280, 4.1). Beside DER it takes the other encodings of X.690, as other decoders
// do; it still writes the bytes that it read. The signature isn't verified.
class TVK_API TVKASNx509Certificate : public TVKASNSequence {
public:
    explicit TVKASNx509Certificate(TVKASNSecurityType security);
    ~TVKASNx509Certificate() override;

    TVKASNTBSCertificate tbsCertificate;
    TVKASNAlgorithmID signatureAlgorithm;
    TVKASNBitString signature; // the signature value
};

// IssuerAndSerialNumber (RFC 5652, 10.2.4).
class TVK_API TVKASNIssuerAndSerialNumber : public TVKASNSequence {
public:
    explicit TVKASNIssuerAndSerialNumber(TVKASNSecurityType security);
    ~TVKASNIssuerAndSerialNumber() override;

    TVKASNx500Name issuer;
    TVKASNInteger serialNumber;
};
