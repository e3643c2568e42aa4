#pragma once

#include <tvkcore/asn/tvkasnx509certificate.h>
#include <tvkcore/base/tvkbuffer.h>

// RSAPublicKey (RFC 8017, A.1.1).
class TVKASNRSAPublicKey : public TVKASNSequence {
public:
    explicit TVKASNRSAPublicKey(TVKASNSecurityType security);
    ~TVKASNRSAPublicKey() override;

    TVKASNInteger modulus;
    TVKASNInteger publicExponent;
};

// RSAPrivateKey with two primes (RFC 8017, A.1.2).
class TVKASNRSAPrivateKey : public TVKASNSequence {
public:
    explicit TVKASNRSAPrivateKey(TVKASNSecurityType security);

    // Of version 0, with values that are wiped before their memory is given back.
    TVKASNRSAPrivateKey();
    ~TVKASNRSAPrivateKey() override;

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

// What the operations of both records below have in common:
// - Getters of numbers give the content octets of the INTEGER, most significant first, and with
//   `stripLeadingZeros` those from the first that isn't zero on; of the number zero one octet stays. They are
//   empty when the algorithm isn't RSA.
// - Setters of numbers take content octets as they are; setModulus alone puts a zero octet in front where the
//   number would read as negative. They don't look at the algorithm. An empty value is refused.
// - The numbers and the encoded key inside the record agree after setDER, after a copy and after getDER,
//   which brings the numbers in; until then setters change the numbers alone.
// Failures are a TVKASNException with the toolkit's status, also for a number that has no value yet. One
// thread at a time: getDER writes to the object.

// SubjectPublicKeyInfo (RFC 5280, 4.1.2.7) of an RSA key, with the key's numbers in reach.
class TVKCapiSubjectPublicKeyInfo : public TVKASNSubjectPublicKeyInfo {
public:
    explicit TVKCapiSubjectPublicKeyInfo(TVKASNSecurityType security);
    explicit TVKCapiSubjectPublicKeyInfo(TVKBuffer const& der);
    explicit TVKCapiSubjectPublicKeyInfo(TVKASNSubjectPublicKeyInfo const& other);
    TVKCapiSubjectPublicKeyInfo(TVKCapiSubjectPublicKeyInfo const& other);
    TVKCapiSubjectPublicKeyInfo& operator=(TVKASNSubjectPublicKeyInfo const& other);
    TVKCapiSubjectPublicKeyInfo& operator=(TVKCapiSubjectPublicKeyInfo const& other);
    ~TVKCapiSubjectPublicKeyInfo() override;

    TVKBuffer getModulus(bool stripLeadingZeros);
    void setModulus(TVKBuffer const& value);
    TVKBuffer getPublicExponent();
    void setPublicExponent(TVKBuffer const& value);

    // Gives `out`.
    TVKASNAlgorithmID& getAlgorithm(TVKASNAlgorithmID& out);
    void setAlgorithm(TVKASNAlgorithmID const& algorithmID);

    // The algorithm of `count` arcs, with the parameters NULL.
    void setAlgorithm(unsigned long* arcs, unsigned int count);

    TVKBuffer getDER();

    // When the record decodes and the key in it doesn't, the record holds the new value and the numbers are
    // as they were.
    void setDER(TVKBuffer const& der);

private:
    struct Untraced {};

    TVKCapiSubjectPublicKeyInfo(TVKASNSecurityType security, Untraced);
    TVKBuffer numberOf(TVKASNInteger const& member, bool stripLeadingZeros) const;
    void syncKey();
    void copyFrom(TVKASNObject const& source, TVKASNObject& target);

    TVKASNRSAPublicKey* rsaKey;
};

// PrivateKeyInfo (RFC 5208, 5) of version 0 of an RSA key, with the key's numbers in reach. The bytes are
// wiped before their memory is given back.
class TVKCapiPrivateKeyInfo : public TVKASNPrivateKeyInfo {
public:
    explicit TVKCapiPrivateKeyInfo(TVKASNSecurityType security);
    explicit TVKCapiPrivateKeyInfo(TVKBuffer const& der);
    explicit TVKCapiPrivateKeyInfo(TVKASNPrivateKeyInfo const& other);
    TVKCapiPrivateKeyInfo(TVKCapiPrivateKeyInfo const& other);
    TVKCapiPrivateKeyInfo& operator=(TVKASNPrivateKeyInfo const& other);
    TVKCapiPrivateKeyInfo& operator=(TVKCapiPrivateKeyInfo const& other);
    ~TVKCapiPrivateKeyInfo() override;

    TVKBuffer getModulus(bool stripLeadingZeros);
    void setModulus(TVKBuffer const& value);
    TVKBuffer getPublicExponent();
    void setPublicExponent(TVKBuffer const& value);
    TVKBuffer getPrivateExponent(bool stripLeadingZeros);
    void setPrivateExponent(TVKBuffer const& value);
    TVKBuffer getPrime1(bool stripLeadingZeros);
    void setPrime1(TVKBuffer const& value);
    TVKBuffer getPrime2(bool stripLeadingZeros);
    void setPrime2(TVKBuffer const& value);
    TVKBuffer getExponent1(bool stripLeadingZeros);
    void setExponent1(TVKBuffer const& value);
    TVKBuffer getExponent2(bool stripLeadingZeros);
    void setExponent2(TVKBuffer const& value);
    TVKBuffer getCoefficient(bool stripLeadingZeros);
    void setCoefficient(TVKBuffer const& value);

    // Gives `out`.
    TVKASNAlgorithmID& getAlgorithm(TVKASNAlgorithmID& out);
    void setAlgorithm(TVKASNAlgorithmID const& algorithmID);

    // The algorithm of `count` arcs, with the parameters NULL.
    void setAlgorithm(unsigned long* arcs, unsigned int count);

    TVKBuffer getDER();

    // As that of TVKCapiSubjectPublicKeyInfo.
    void setDER(TVKBuffer const& der);

private:
    struct Untraced {};

    TVKCapiPrivateKeyInfo(TVKASNSecurityType security, Untraced);
    void begin();
    TVKBuffer numberOf(TVKASNInteger const& member, bool stripLeadingZeros) const;
    void syncKey();
    void copyFrom(TVKASNObject const& source, TVKASNObject& target);

    TVKASNRSAPrivateKey* rsaKey;
};
