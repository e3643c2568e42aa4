#pragma once

#include <tvkcore/asn/tvkasnx509certificate.h>

// Casts of search attributes to their type. Each throws TVKException TVKCORE_WRONG_ATTRIBUTE_TYPE for an
// object of another type; the result refers to the argument.
class TVK_API TVKDBUtility {
public:
    static TVKASNBitString const& downcastBitString(TVKASNObject const& object);
    static TVKASNIssuerAndSerialNumber const& downcastIssuerAndSerialNumber(TVKASNObject const& object);
    static TVKASNTBSCertificate const& downcastTBSCertificate(TVKASNObject const& object);
    static TVKASNx500Name const& downcastX500name(TVKASNObject const& object);
    static TVKASNSubjectPublicKeyInfo const& downcastSubjectPublicKeyInfo(TVKASNObject const& object);
};
