#pragma once

#include <tvkcore/asn/tvkasnx509certificate.h>
#include <tvkcore/base/tvkbuffer.h>
#include <tvkcore/base/tvkstring.h>

// The forms in which a name can be shown.
enum TVKASNStrRepType : int { TVKASNStrRepRFC2253 = 5 };

// Object identifiers, one element an arc.
struct TVK_API TVKASNOID {
    static constexpr unsigned int RSA_LENGTH = 7;

    static unsigned long VALUE_RSA[7];                  // 1.2.840.113549.1.1.1, rsaEncryption
    static unsigned long VALUE_MD5WithRSASignature[7];  // 1.2.840.113549.1.1.4, md5WithRSAEncryption
    static unsigned long VALUE_SHA1WithRSASignature[7]; // 1.2.840.113549.1.1.5, sha1WithRSAEncryption
};

class TVK_API TVKASNUtility {
public:
    // Decodes `der`, all of it, into `out`. Throws TVKASNException with the status on bad input; `out` is
    // then empty.
    static void setDEREncoding(TVKASNCBuffer const& der, TVKASNObject& out);

    // The DER encoding. Throws TVKASNException with the status when a value is missing.
    static TVKBuffer getDEREncoding(TVKASNObject const& object);

    // Joins the two into `out`. Throws TVKASNException when one has no value; `out` is then empty.
    static void getIssuerAndSerialNumber(TVKASNx500Name const& issuer, TVKASNInteger const& serial,
                                         TVKASNIssuerAndSerialNumber& out);

    // The name as an RFC 2253 string in UTF-8, last relative name first. An attribute type without a short
    // name is shown as a dotted object identifier; its value, and any other that is no text or not whole
    // characters of its type, as '#' and the hexadecimal digits of its encoding. The bytes of a UTF8String go
    // as they are. With `escapeNonASCII` each byte above 127 is shown as a backslash and two hexadecimal
    // digits. The empty string for a name without parts or without a value.
    // Throws TVKException TVKCORE_UNKNOWN_STRING_FORM for another `type`.
    static TVKString getRFC2253String(TVKASNx500Name const& name, bool escapeNonASCII,
                                      TVKASNStrRepType const& type);
};
