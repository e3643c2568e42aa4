#pragma once

#include <tvkcore/asn/tvkasnx509certificate.h>

#include <string>
#include <string_view>

namespace tvkstore {

// RSAPrivateKey of two primes (RFC 8017, A.1.2).
class RsaPrivateKey : public TVKASNSequence {
public:
    RsaPrivateKey();
    ~RsaPrivateKey() override;

    TVKASNInteger version;
    TVKASNInteger modulus;
    TVKASNInteger publicExponent;
    TVKASNInteger privateExponent;
    TVKASNInteger prime1;
    TVKASNInteger prime2;
    TVKASNInteger exponent1;
    TVKASNInteger exponent2;
    TVKASNInteger coefficient;
};

// Makes it the AlgorithmIdentifier of RSA keys (RFC 8017, A.1).
void setRsa(TVKASNAlgorithmID& algorithm);
bool isRsa(TVKASNAlgorithmID const& algorithm);

// Decodes all of the bytes. False for others; the object is then empty.
bool decodeAll(std::string_view encoding, TVKASNObject& object);

// The SubjectPublicKeyInfo that belongs to a private key.
std::string publicKeyEncoding(RsaPrivateKey const& key);

// A certificate's, written as the one above where it is an RSA key, so that the two can be compared.
std::string publicKeyEncoding(TVKASNSubjectPublicKeyInfo const& key);

} // namespace tvkstore
