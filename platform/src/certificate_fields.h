// One pass over a certificate (RFC 5280, 4.1), and the published structure filled from it.
#pragma once

#include "bytes.h"

#include <wincrypt.h>

namespace wincrypt {

struct AlgorithmView {
    ByteView objectId;   // content octets
    ByteView parameters; // whole element, empty when absent
};

struct BitStringView {
    ByteView bits;
    DWORD unused = 0;
};

struct PublicKeyView {
    ByteView whole; // SubjectPublicKeyInfo
    AlgorithmView algorithm;
    BitStringView key;
};

// Views into the encoding that was parsed.
struct CertificateFields {
    ByteView encoding;
    DWORD version = CERT_V1;
    ByteView serialNumber; // content octets, as they stand
    AlgorithmView signatureAlgorithm;
    ByteView issuer;  // whole Name
    ByteView subject; // whole Name
    FILETIME notBefore{};
    FILETIME notAfter{};
    PublicKeyView publicKey;
    BitStringView issuerUniqueId;
    BitStringView subjectUniqueId;
    ByteView extensions; // content of the SEQUENCE OF Extension
    DWORD extensionCount = 0;
};

// False when the bytes are not one complete certificate: what is parsed can be filled into the published
// structure, so that nothing is stored that no walk could give. A time that can't be read is left zero: the
// entry stays usable, and who needs the time finds it in the encoding.
bool parseCertificate(ByteView encoding, CertificateFields& fields);

// The extension's value, empty when the certificate has none.
ByteView extensionValue(CertificateFields const& fields, ByteView objectId);

// Whether the bytes are one Name (RFC 5280, 4.1.2.4) with every attribute in its place.
bool isName(ByteView encoding);

bool parsePublicKey(ByteView subjectPublicKeyInfo, PublicKeyView& view);

// Room that fillCertificateInfo needs behind a copy of the encoding.
std::size_t certificateInfoRoom(CertificateFields const& fields);

// Fills the structure with pointers into `encoding`, an equal copy of what was parsed, and into `room`, which
// is aligned for any type. False when an object identifier in it is none.
bool fillCertificateInfo(CertificateFields const& fields, std::uint8_t const* encoding, std::byte* room,
                         CERT_INFO& info);

} // namespace wincrypt
