#include "tvkcapisubjectpublickeyinfo.h"

#include "tracing.h"

#include <tvkcore/asn/tvkasnutility.h>
#include <tvkcore/base/tvkexception.h>

#include <memory>
#include <source_location>

namespace {

constexpr SourceFile kSource{"./capi/src/tvkcapisubjectpublickeyinfo", 1};

constexpr unsigned int kRsaArcs = 7;

void check(int status, std::source_location const& where = std::source_location::current()) {
    if (status != TVKASN_OK) {
        throw TVKASNException(kSource.path, static_cast<int>(where.line()), status, TVKString());
    }
}

// The number's octets, or none when the algorithm isn't RSA.
TVKBuffer octetsOf(TVKASNInteger const& number, TVKASNAlgorithmID const& algorithm, bool stripLeadingZeros) {
    if (!algorithm.algorithm.is_equal(TVKASNOID::VALUE_RSA, kRsaArcs)) {
        return {};
    }
    unsigned char* value = nullptr;
    unsigned long length = 0;
    check(number.get_value(value, length));
    while (stripLeadingZeros && length > 1 && *value == 0) {
        ++value;
        --length;
    }
    return {static_cast<unsigned int>(length), value};
}

void setOctets(TVKASNInteger& number, TVKBuffer const& value) {
    check(number.set_value(value.getValue(), value.getLength()));
}

void setPositive(TVKASNInteger& number, TVKBuffer const& value) {
    TVKBuffer octets;
    if (value.getLength() != 0 && (value.getValue()[0] & 0x80) != 0) {
        unsigned char const zero = 0;
        octets.append(1, &zero);
    }
    octets.append(static_cast<unsigned int>(value.getLength()), value.getValue());
    setOctets(number, octets);
}

void copyAlgorithm(TVKASNAlgorithmID const& from, TVKASNAlgorithmID& to) {
    TVKASNBuffer buffer(TVKASNNotSecure);
    check(from.write(buffer));
    check(to.read(buffer));
}

void setArcs(TVKASNAlgorithmID& algorithm, unsigned long* arcs, unsigned int count) {
    TVKASNBuffer buffer(TVKASNNotSecure);
    TVKASNNull null(TVKASNNotSecure);
    check(null.write(buffer));
    check(algorithm.parameters.read(buffer));
    check(algorithm.algorithm.set_value(arcs, count));
}

// Puts the decoded key in the place of the old one, which stays when the bytes are no key.
template <typename Key>
void replaceKey(Key*& key, std::unique_ptr<Key> fresh, TVKASNCBuffer const& der) {
    TVKASNUtility::setDEREncoding(der, *fresh);
    delete key;
    key = fresh.release();
}

} // namespace

TVKASNRSAPublicKey::TVKASNRSAPublicKey(TVKASNSecurityType security)
    : TVKASNSequence(security), modulus(TVKASNNotSecure), publicExponent(TVKASNNotSecure) {
    register_child(&modulus);
    register_child(&publicExponent);
}

TVKASNRSAPublicKey::~TVKASNRSAPublicKey() = default;

TVKASNRSAPrivateKey::TVKASNRSAPrivateKey(TVKASNSecurityType security)
    : TVKASNSequence(security), version(security), modulus(security), publicExponent(security),
      privateExponent(security), prime1(security), prime2(security), exponent1(security), exponent2(security),
      coefficient(security) {
    for (TVKASNInteger* const child : {&version, &modulus, &publicExponent, &privateExponent, &prime1,
                                       &prime2, &exponent1, &exponent2, &coefficient}) {
        register_child(child);
    }
}

TVKASNRSAPrivateKey::TVKASNRSAPrivateKey() : TVKASNRSAPrivateKey(TVKASNSecure) { version.set_value(0); }

TVKASNRSAPrivateKey::~TVKASNRSAPrivateKey() = default;

// ---- The public key ----

TVKCapiSubjectPublicKeyInfo::TVKCapiSubjectPublicKeyInfo(TVKASNSecurityType security, Untraced)
    : TVKASNSubjectPublicKeyInfo(security), rsaKey(new TVKASNRSAPublicKey(TVKASNNotSecure)) {}

TVKCapiSubjectPublicKeyInfo::TVKCapiSubjectPublicKeyInfo(TVKASNSecurityType security)
    : TVKCapiSubjectPublicKeyInfo(security, Untraced()) {
    OperationTrace const trace(kSource, "TVKCapiSubjectPublicKeyInfo::ctor()");
}

TVKCapiSubjectPublicKeyInfo::TVKCapiSubjectPublicKeyInfo(TVKBuffer const& der)
    : TVKCapiSubjectPublicKeyInfo(TVKASNNotSecure, Untraced()) {
    OperationTrace const trace(kSource, "TVKCapiSubjectPublicKeyInfo::ctor()");
    setDER(der);
}

TVKCapiSubjectPublicKeyInfo::TVKCapiSubjectPublicKeyInfo(TVKASNSubjectPublicKeyInfo const& other)
    : TVKCapiSubjectPublicKeyInfo(TVKASNNotSecure, Untraced()) {
    OperationTrace const trace(kSource, "TVKCapiSubjectPublicKeyInfo::ctor()");
    copyFrom(other, *this);
}

TVKCapiSubjectPublicKeyInfo::TVKCapiSubjectPublicKeyInfo(TVKCapiSubjectPublicKeyInfo const& other)
    : TVKCapiSubjectPublicKeyInfo(TVKASNNotSecure, Untraced()) {
    OperationTrace const trace(kSource, "TVKCapiSubjectPublicKeyInfo::ctor()");
    copyFrom(other, *this);
}

TVKCapiSubjectPublicKeyInfo& TVKCapiSubjectPublicKeyInfo::operator=(TVKASNSubjectPublicKeyInfo const& other) {
    OperationTrace const trace(kSource, "TVKCapiSubjectPublicKeyInfo::operator=()");
    copyFrom(other, *this);
    return *this;
}

TVKCapiSubjectPublicKeyInfo&
TVKCapiSubjectPublicKeyInfo::operator=(TVKCapiSubjectPublicKeyInfo const& other) {
    return *this = static_cast<TVKASNSubjectPublicKeyInfo const&>(other);
}

TVKCapiSubjectPublicKeyInfo::~TVKCapiSubjectPublicKeyInfo() { delete rsaKey; }

TVKBuffer TVKCapiSubjectPublicKeyInfo::numberOf(TVKASNInteger const& member, bool stripLeadingZeros) const {
    return octetsOf(member, algorithm, stripLeadingZeros);
}

TVKBuffer TVKCapiSubjectPublicKeyInfo::getModulus(bool stripLeadingZeros) {
    OperationTrace const trace(kSource, "TVKCapiSubjectPublicKeyInfo::getModulus()");
    return numberOf(rsaKey->modulus, stripLeadingZeros);
}

void TVKCapiSubjectPublicKeyInfo::setModulus(TVKBuffer const& value) {
    OperationTrace const trace(kSource, "TVKCapiSubjectPublicKeyInfo::setModulus()");
    setPositive(rsaKey->modulus, value);
}

TVKBuffer TVKCapiSubjectPublicKeyInfo::getPublicExponent() {
    OperationTrace const trace(kSource, "TVKCapiSubjectPublicKeyInfo::getPublicExponent()");
    return numberOf(rsaKey->publicExponent, false);
}

void TVKCapiSubjectPublicKeyInfo::setPublicExponent(TVKBuffer const& value) {
    OperationTrace const trace(kSource, "TVKCapiSubjectPublicKeyInfo::setPublicExponent()");
    setOctets(rsaKey->publicExponent, value);
}

TVKASNAlgorithmID& TVKCapiSubjectPublicKeyInfo::getAlgorithm(TVKASNAlgorithmID& out) {
    OperationTrace const trace(kSource, "TVKCapiSubjectPublicKeyInfo::getAlgorithm()");
    copyAlgorithm(algorithm, out);
    return out;
}

void TVKCapiSubjectPublicKeyInfo::setAlgorithm(TVKASNAlgorithmID const& algorithmID) {
    OperationTrace const trace(kSource, "TVKCapiSubjectPublicKeyInfo::setAlgorithm()");
    copyAlgorithm(algorithmID, algorithm);
}

void TVKCapiSubjectPublicKeyInfo::setAlgorithm(unsigned long* arcs, unsigned int count) {
    OperationTrace const trace(kSource, "TVKCapiSubjectPublicKeyInfo::setAlgorithm()");
    setArcs(algorithm, arcs, count);
}

TVKBuffer TVKCapiSubjectPublicKeyInfo::getDER() {
    OperationTrace const trace(kSource, "TVKCapiSubjectPublicKeyInfo::getDER()");
    TVKBuffer const keyDER = TVKASNUtility::getDEREncoding(*rsaKey);
    check(subjectPublicKey.set_value(const_cast<unsigned char*>(keyDER.getValue()), keyDER.getLength() * 8));
    return TVKASNUtility::getDEREncoding(*this);
}

void TVKCapiSubjectPublicKeyInfo::setDER(TVKBuffer const& der) {
    OperationTrace const trace(kSource, "TVKCapiSubjectPublicKeyInfo::setDER()");
    TVKASNUtility::setDEREncoding(der.get(), *this);
    syncKey();
}

void TVKCapiSubjectPublicKeyInfo::syncKey() {
    unsigned char* value = nullptr;
    unsigned long length = 0;
    check(subjectPublicKey.get_value(value, length));
    replaceKey(rsaKey, std::make_unique<TVKASNRSAPublicKey>(TVKASNNotSecure),
               TVKASNCBuffer(value, (length + 7) / 8));
}

void TVKCapiSubjectPublicKeyInfo::copyFrom(TVKASNObject const& source, TVKASNObject& target) {
    TVKBuffer const der = TVKASNUtility::getDEREncoding(source);
    TVKASNUtility::setDEREncoding(der.get(), target);
    syncKey();
}

// ---- The private key ----

TVKCapiPrivateKeyInfo::TVKCapiPrivateKeyInfo(TVKASNSecurityType security, Untraced)
    : TVKASNPrivateKeyInfo(security), rsaKey(new TVKASNRSAPrivateKey) {}

TVKCapiPrivateKeyInfo::TVKCapiPrivateKeyInfo(TVKASNSecurityType security)
    : TVKCapiPrivateKeyInfo(security, Untraced()) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::ctor()");
    begin();
}

TVKCapiPrivateKeyInfo::TVKCapiPrivateKeyInfo(TVKBuffer const& der)
    : TVKCapiPrivateKeyInfo(TVKASNNotSecure, Untraced()) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::ctor()");
    begin();
    setDER(der);
}

TVKCapiPrivateKeyInfo::TVKCapiPrivateKeyInfo(TVKASNPrivateKeyInfo const& other)
    : TVKCapiPrivateKeyInfo(TVKASNNotSecure, Untraced()) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::ctor()");
    begin();
    copyFrom(other, *this);
}

TVKCapiPrivateKeyInfo::TVKCapiPrivateKeyInfo(TVKCapiPrivateKeyInfo const& other)
    : TVKCapiPrivateKeyInfo(TVKASNNotSecure, Untraced()) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::ctor()");
    begin();
    copyFrom(other, *this);
}

TVKCapiPrivateKeyInfo& TVKCapiPrivateKeyInfo::operator=(TVKASNPrivateKeyInfo const& other) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::operator=()");
    begin();
    copyFrom(other, *this);
    return *this;
}

TVKCapiPrivateKeyInfo& TVKCapiPrivateKeyInfo::operator=(TVKCapiPrivateKeyInfo const& other) {
    return *this = static_cast<TVKASNPrivateKeyInfo const&>(other);
}

TVKCapiPrivateKeyInfo::~TVKCapiPrivateKeyInfo() { delete rsaKey; }

TVKBuffer TVKCapiPrivateKeyInfo::numberOf(TVKASNInteger const& member, bool stripLeadingZeros) const {
    return octetsOf(member, privateKeyAlgorithm, stripLeadingZeros);
}

TVKBuffer TVKCapiPrivateKeyInfo::getModulus(bool stripLeadingZeros) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::getModulus()");
    return numberOf(rsaKey->modulus, stripLeadingZeros);
}

void TVKCapiPrivateKeyInfo::setModulus(TVKBuffer const& value) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::setModulus()");
    setPositive(rsaKey->modulus, value);
}

TVKBuffer TVKCapiPrivateKeyInfo::getPublicExponent() {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::getPublicExponent()");
    return numberOf(rsaKey->publicExponent, false);
}

void TVKCapiPrivateKeyInfo::setPublicExponent(TVKBuffer const& value) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::setPublicExponent()");
    setOctets(rsaKey->publicExponent, value);
}

TVKBuffer TVKCapiPrivateKeyInfo::getPrivateExponent(bool stripLeadingZeros) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::getPrivateExponent()");
    return numberOf(rsaKey->privateExponent, stripLeadingZeros);
}

void TVKCapiPrivateKeyInfo::setPrivateExponent(TVKBuffer const& value) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::setPrivateExponent()");
    setOctets(rsaKey->privateExponent, value);
}

TVKBuffer TVKCapiPrivateKeyInfo::getPrime1(bool stripLeadingZeros) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::getPrime1()");
    return numberOf(rsaKey->prime1, stripLeadingZeros);
}

void TVKCapiPrivateKeyInfo::setPrime1(TVKBuffer const& value) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::setPrime1()");
    setOctets(rsaKey->prime1, value);
}

TVKBuffer TVKCapiPrivateKeyInfo::getPrime2(bool stripLeadingZeros) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::getPrime2()");
    return numberOf(rsaKey->prime2, stripLeadingZeros);
}

void TVKCapiPrivateKeyInfo::setPrime2(TVKBuffer const& value) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::setPrime2()");
    setOctets(rsaKey->prime2, value);
}

TVKBuffer TVKCapiPrivateKeyInfo::getExponent1(bool stripLeadingZeros) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::getExponent1()");
    return numberOf(rsaKey->exponent1, stripLeadingZeros);
}

void TVKCapiPrivateKeyInfo::setExponent1(TVKBuffer const& value) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::setExponent1()");
    setOctets(rsaKey->exponent1, value);
}

TVKBuffer TVKCapiPrivateKeyInfo::getExponent2(bool stripLeadingZeros) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::getExponent2()");
    return numberOf(rsaKey->exponent2, stripLeadingZeros);
}

void TVKCapiPrivateKeyInfo::setExponent2(TVKBuffer const& value) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::setExponent2()");
    setOctets(rsaKey->exponent2, value);
}

TVKBuffer TVKCapiPrivateKeyInfo::getCoefficient(bool stripLeadingZeros) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::getCoefficient()");
    return numberOf(rsaKey->coefficient, stripLeadingZeros);
}

void TVKCapiPrivateKeyInfo::setCoefficient(TVKBuffer const& value) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::setCoefficient()");
    setOctets(rsaKey->coefficient, value);
}

TVKASNAlgorithmID& TVKCapiPrivateKeyInfo::getAlgorithm(TVKASNAlgorithmID& out) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::getAlgorithm()");
    copyAlgorithm(privateKeyAlgorithm, out);
    return out;
}

void TVKCapiPrivateKeyInfo::setAlgorithm(TVKASNAlgorithmID const& algorithmID) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::setAlgorithm()");
    copyAlgorithm(algorithmID, privateKeyAlgorithm);
}

void TVKCapiPrivateKeyInfo::setAlgorithm(unsigned long* arcs, unsigned int count) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::setAlgorithm()");
    setArcs(privateKeyAlgorithm, arcs, count);
}

TVKBuffer TVKCapiPrivateKeyInfo::getDER() {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::getDER()");
    TVKBuffer const keyDER = TVKASNUtility::getDEREncoding(*rsaKey);
    check(privateKey.set_value(keyDER.getValue(), keyDER.getLength()));
    check(version.set_value(0));
    return TVKASNUtility::getDEREncoding(*this);
}

void TVKCapiPrivateKeyInfo::setDER(TVKBuffer const& der) {
    OperationTrace const trace(kSource, "TVKCapiPrivateKeyInfo::setDER()");
    TVKASNUtility::setDEREncoding(der.get(), *this);
    syncKey();
}

void TVKCapiPrivateKeyInfo::syncKey() {
    unsigned char* value = nullptr;
    unsigned long length = 0;
    check(privateKey.get_value(value, length));
    replaceKey(rsaKey, std::make_unique<TVKASNRSAPrivateKey>(), TVKASNCBuffer(value, length));
}

void TVKCapiPrivateKeyInfo::copyFrom(TVKASNObject const& source, TVKASNObject& target) {
    TVKBuffer const der = TVKASNUtility::getDEREncoding(source);
    TVKASNUtility::setDEREncoding(der.get(), target);
    syncKey();
}

void TVKCapiPrivateKeyInfo::begin() {
    check(version.set_value(0));
    attributes.empty();
}
