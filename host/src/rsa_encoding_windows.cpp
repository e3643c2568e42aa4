#include "rsa_encoding_windows.h"

#include "toolkit_bytes.h"

#include <tvkcore/asn/tvkasnutility.h>

namespace tvkstore {

namespace {

// RSAPublicKey (RFC 8017, A.1.1).
class RsaPublicKey : public TVKASNSequence {
public:
    RsaPublicKey() : TVKASNSequence(TVKASNNotSecure), modulus(TVKASNNotSecure), exponent(TVKASNNotSecure) {
        register_child(&modulus);
        register_child(&exponent);
    }

    TVKASNInteger modulus;
    TVKASNInteger exponent;
};

void copy(TVKASNInteger const& from, TVKASNInteger& to) {
    unsigned char* value = nullptr;
    unsigned long length = 0;
    if (from.get_value(value, length) == TVKASN_OK) {
        to.set_value(value, length);
    }
}

std::string publicKeyEncoding(RsaPublicKey const& key) {
    TVKBuffer const bits = TVKASNUtility::getDEREncoding(key);
    TVKASNSubjectPublicKeyInfo info(TVKASNNotSecure);
    setRsa(info.algorithm);
    info.subjectPublicKey.set_value(bits.get().data, bits.getLength() * 8);
    return std::string(bytesOf(TVKASNUtility::getDEREncoding(info)));
}

} // namespace

RsaPrivateKey::RsaPrivateKey()
    : TVKASNSequence(TVKASNSecure), version(TVKASNSecure), modulus(TVKASNSecure),
      publicExponent(TVKASNSecure), privateExponent(TVKASNSecure), prime1(TVKASNSecure), prime2(TVKASNSecure),
      exponent1(TVKASNSecure), exponent2(TVKASNSecure), coefficient(TVKASNSecure) {
    for (TVKASNInteger* const number : {&version, &modulus, &publicExponent, &privateExponent, &prime1,
                                        &prime2, &exponent1, &exponent2, &coefficient}) {
        register_child(number);
    }
}

RsaPrivateKey::~RsaPrivateKey() = default;

void setRsa(TVKASNAlgorithmID& algorithm) {
    algorithm.algorithm.set_value(TVKASNOID::VALUE_RSA, TVKASNOID::RSA_LENGTH);
    TVKASNNull const none(TVKASNNotSecure);
    TVKASNUtility::setDEREncoding(TVKASNUtility::getDEREncoding(none).get(), algorithm.parameters);
}

bool isRsa(TVKASNAlgorithmID const& algorithm) {
    return algorithm.algorithm.is_equal(TVKASNOID::VALUE_RSA, TVKASNOID::RSA_LENGTH);
}

bool decodeAll(std::string_view encoding, TVKASNObject& object) {
    TVKASNCBuffer left = viewOf(encoding);
    if (object.read(left) != TVKASN_OK) {
        return false;
    }
    if (left.length != 0) {
        object.empty();
    }
    return left.length == 0;
}

std::string publicKeyEncoding(RsaPrivateKey const& key) {
    RsaPublicKey publicKey;
    copy(key.modulus, publicKey.modulus);
    copy(key.publicExponent, publicKey.exponent);
    return publicKeyEncoding(publicKey);
}

std::string publicKeyEncoding(TVKASNSubjectPublicKeyInfo const& key) {
    unsigned char* bits = nullptr;
    unsigned long length = 0;
    RsaPublicKey rsa;
    if (isRsa(key.algorithm) && key.subjectPublicKey.get_value(bits, length) == TVKASN_OK &&
        decodeAll({reinterpret_cast<char const*>(bits), length / 8}, rsa)) {
        return publicKeyEncoding(rsa);
    }
    return std::string(bytesOf(TVKASNUtility::getDEREncoding(key)));
}

} // namespace tvkstore
