#include "hex.h"
#include "support/libcrypto.h"
#include "support/test_certificates.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

std::vector<Bytes> const& bundle() {
    static std::vector<Bytes> const s_bundle = readTrustBundle();
    return s_bundle;
}

std::string encodingOf(TVKASNObject const& object) { return toHex(TVKASNUtility::getDEREncoding(object)); }

template <typename T>
std::string libcryptoEncoding(T const* object, int (*encode)(T const*, unsigned char**)) {
    unsigned char* bytes = nullptr;
    int const length = encode(object, &bytes);
    std::string text = toHex(bytes, static_cast<unsigned long>(length));
    OPENSSL_free(bytes);
    return text;
}

void expectSameTime(TVKASNTarnTime const& time, ASN1_TIME const* libcryptos) {
    struct tm ours = {};
    struct tm theirs = {};
    EXPECT_EQ(time.get_value(ours), TVKASN_OK);
    EXPECT_EQ(ASN1_TIME_to_tm(libcryptos, &theirs), 1);
    EXPECT_EQ(ours.tm_yday, theirs.tm_yday);
    EXPECT_EQ(ours.tm_wday, theirs.tm_wday);
    auto const fields = [](tm const& of) {
        return std::make_tuple(of.tm_year, of.tm_mon, of.tm_mday, of.tm_hour, of.tm_min, of.tm_sec);
    };
    EXPECT_EQ(fields(ours), fields(theirs));
}

void expectSameAsLibcrypto(Bytes const& der, TVKASNx509Certificate const& certificate) {
    auto const x509 = decodeCertificate(der);
    ASSERT_NE(x509, nullptr);
    TVKASNTBSCertificate const& tbs = certificate.tbsCertificate;
    EXPECT_EQ(encodingOf(tbs.issuer), libcryptoEncoding(X509_get_issuer_name(x509.get()), &i2d_X509_NAME));
    EXPECT_EQ(encodingOf(tbs.subject), libcryptoEncoding(X509_get_subject_name(x509.get()), &i2d_X509_NAME));
    EXPECT_EQ(encodingOf(tbs.serialNumber),
              libcryptoEncoding(X509_get0_serialNumber(x509.get()), &i2d_ASN1_INTEGER));
    expectSameTime(tbs.validity.notBefore, X509_get0_notBefore(x509.get()));
    expectSameTime(tbs.validity.notAfter, X509_get0_notAfter(x509.get()));
    EXPECT_EQ(encodingOf(tbs.subjectPublicKeyInfo),
              libcryptoEncoding<X509_PUBKEY>(X509_get_X509_PUBKEY(x509.get()), &i2d_X509_PUBKEY));
    ASN1_BIT_STRING const* signature = nullptr;
    X509_get0_signature(&signature, nullptr, x509.get());
    EXPECT_EQ(encodingOf(certificate.signature), libcryptoEncoding(signature, &i2d_ASN1_BIT_STRING));
    long version = 0;
    tbs.version.get_value(version);
    EXPECT_EQ(version, X509_get_version(x509.get()));
    EXPECT_EQ(static_cast<int>(tbs.extensions.get_count()), std::max(0, X509_get_ext_count(x509.get())));
}

void expectRefusedWhenCut(Bytes const& der) {
    TVKASNx509Certificate certificate(TVKASNNotSecure);
    for (std::size_t length = 0; length < der.size(); ++length) {
        // A copy of that length, so that a read behind it is seen.
        Bytes const cut(der.begin(), der.begin() + static_cast<std::ptrdiff_t>(length));
        TVKASNCBuffer view = viewOf(cut);
        ASSERT_NE(certificate.read(view), TVKASN_OK) << "cut to " << length;
        ASSERT_FALSE(certificate.is_present());
    }
}

} // namespace

TEST(Certificates, OfTheTrustBundleAreTheSameAsInLibcrypto) {
    for (std::size_t i = 0; i < bundle().size(); ++i) {
        SCOPED_TRACE("certificate " + std::to_string(i));
        Decoded<TVKASNx509Certificate> certificate(viewOf(bundle()[i]));
        EXPECT_EQ(encodingOf(certificate), toHex(bundle()[i]));
        expectSameAsLibcrypto(bundle()[i], certificate);
        // Written from its parts, as after a change, it is the same again.
        TVKASNInteger& own = certificate.tbsCertificate.serialNumber;
        Decoded<TVKASNInteger> serial(TVKASNUtility::getDEREncoding(own).get());
        unsigned char* value = nullptr;
        unsigned long length = 0;
        serial.get_value(value, length);
        own.set_value(value, length);
        EXPECT_FALSE(certificate.is_encoding_valid());
        EXPECT_EQ(encodingOf(certificate), toHex(bundle()[i]));
    }
}

TEST(Certificates, AreRefusedWhenCutAnywhere) {
    for (Bytes const& der : bundle())
        expectRefusedWhenCut(der);
}

// Whatever single byte is wrong, the outcome is a certificate that can be written or an error.
TEST(Certificates, SurviveAnyWrongByte) {
    Bytes der = bundle().front();
    TVKASNx509Certificate certificate(TVKASNNotSecure);
    for (std::size_t at = 0; at < der.size(); ++at) {
        std::uint8_t const right = der[at];
        for (unsigned int const wrong : {right ^ 0x01U, right ^ 0x80U, 0x00U, 0xFFU, 0x80U}) {
            der[at] = static_cast<std::uint8_t>(wrong);
            TVKASNCBuffer view = viewOf(der);
            if (certificate.read(view) == TVKASN_OK) {
                TVKASNBuffer out(TVKASNNotSecure);
                EXPECT_EQ(certificate.write(out), TVKASN_OK);
                struct tm time = {};
                certificate.tbsCertificate.validity.notAfter.get_value(time);
                TVKASNUtility::getRFC2253String(certificate.tbsCertificate.issuer, false,
                                                TVKASNStrRepRFC2253);
            }
        }
        der[at] = right;
    }
}

namespace {

// A length in more octets than needed, for the value at `at`.
Bytes withLongLength(Bytes const& der, unsigned int octets) {
    Bytes out = {der[0], static_cast<std::uint8_t>(0x80U | octets)};
    unsigned long const length = static_cast<unsigned long>(der[2]) << 8 | der[3];
    for (unsigned int i = octets; i > 0; --i)
        out.push_back(static_cast<std::uint8_t>(i > 4 ? 0 : length >> (8 * (i - 1))));
    out.insert(out.end(), der.begin() + 4, der.end());
    return out;
}

Bytes withIndefiniteLength(Bytes const& der) {
    Bytes out = {der[0], 0x80};
    out.insert(out.end(), der.begin() + 4, der.end());
    out.insert(out.end(), {0, 0});
    return out;
}

// The signature, which stands last, as a constructed string of two pieces.
Bytes withSignatureInPieces(Bytes const& der, std::size_t signatureLength) {
    std::size_t const start = der.size() - signatureLength - 4;
    Bytes pieces = {0x23, 0x80, 0x03, 0x05, 0x00};
    auto const bits = der.end() - static_cast<std::ptrdiff_t>(signatureLength);
    pieces.insert(pieces.end(), bits, bits + 4);
    pieces.insert(pieces.end(), {0x03, 0x81, static_cast<std::uint8_t>(signatureLength - 3), 0x00});
    pieces.insert(pieces.end(), bits + 4, der.end());
    pieces.insert(pieces.end(), {0, 0});
    Bytes out(der.begin(), der.begin() + static_cast<std::ptrdiff_t>(start));
    out.insert(out.end(), pieces.begin(), pieces.end());
    return withIndefiniteLength(out);
}

} // namespace

TEST(Certificates, AreTakenInTheOtherEncodingsThatLibcryptoTakes) {
    TestKey const& key = TestKey::shared(1024);
    Bytes const der = makeCertificate({}, key);
    Decoded<TVKASNx509Certificate> plain(viewOf(der));
    std::pair<Bytes, char const*> const rows[] = {{withLongLength(der, 3), "length in one octet more"},
                                                  {withLongLength(der, 8), "length in eight octets"},
                                                  {withIndefiniteLength(der), "indefinite length"},
                                                  {withSignatureInPieces(der, 128), "constructed signature"}};
    for (auto const& [bytes, why] : rows) {
        SCOPED_TRACE(why);
        Decoded<TVKASNx509Certificate> certificate(viewOf(bytes));
        EXPECT_EQ(encodingOf(certificate), toHex(bytes));
        EXPECT_EQ(encodingOf(certificate.tbsCertificate), encodingOf(plain.tbsCertificate));
        EXPECT_EQ(encodingOf(certificate.signature), encodingOf(plain.signature));
        EXPECT_NE(decodeCertificate(bytes), nullptr) << "the case itself is wrong";
        expectRefusedWhenCut(bytes);
        // Other values are read by the distinguished rules alone.
        TVKASNSequence sequence(TVKASNNotSecure);
        TVKASNCBuffer view = viewOf(bytes);
        EXPECT_NE(sequence.read(view), TVKASN_OK);
    }
    Bytes indefinite;
    for (int i = 0; i < 100000; ++i)
        indefinite.insert(indefinite.end(), {0x30, 0x80});
    for (Bytes const& nested : {Bytes(100000, 0xA0), indefinite}) {
        TVKASNx509Certificate certificate(TVKASNNotSecure);
        TVKASNCBuffer view = viewOf(nested);
        EXPECT_NE(certificate.read(view), TVKASN_OK) << "nested without end";
    }
}

TEST(Certificates, GivePartsForSearches) {
    TVKASNx509Certificate first(TVKASNNotSecure);
    TVKASNx509Certificate second(TVKASNNotSecure);
    for (auto const& [serial, made] : {std::pair(0xC3, &first), {0xC4, &second}}) {
        CertificateFields fields{.serial = {static_cast<std::uint8_t>(serial)}};
        fields.extensions = {{"basicConstraints", "critical,CA:TRUE"}, {"subjectAltName", "DNS:example.org"}};
        Bytes const der = makeCertificate(fields, TestKey::shared(1024));
        TVKASNUtility::setDEREncoding(viewOf(der), *made);
    }
    auto const& tbs = first.tbsCertificate;
    auto const& others = second.tbsCertificate;
    TVKASNIssuerAndSerialNumber a(TVKASNNotSecure);
    TVKASNIssuerAndSerialNumber b(TVKASNNotSecure);
    TVKASNUtility::getIssuerAndSerialNumber(tbs.issuer, tbs.serialNumber, a);
    TVKASNUtility::getIssuerAndSerialNumber(tbs.subject, tbs.serialNumber, b);
    EXPECT_EQ(TVKASNObject::compare(a, b), 0);
    TVKASNUtility::getIssuerAndSerialNumber(others.issuer, others.serialNumber, b);
    EXPECT_NE(TVKASNObject::compare(a, b), 0);
    EXPECT_THROW(TVKASNUtility::getIssuerAndSerialNumber(TVKASNx500Name(TVKASNNotSecure), a.serialNumber, b),
                 TVKASNException);
    EXPECT_FALSE(b.is_present());
    EXPECT_NE(TVKASNObject::compare(tbs, others), 0);
    EXPECT_EQ(TVKASNObject::compare(tbs.subjectPublicKeyInfo, others.subjectPublicKeyInfo), 0);

    unsigned long const basicConstraints[] = {2, 5, 29, 19};
    unsigned long const keyUsage[] = {2, 5, 29, 15};
    bool critical = false;
    TVKASNCBuffer value;
    EXPECT_TRUE(tbs.extensions.find(basicConstraints, 4, critical, value));
    EXPECT_TRUE(critical);
    EXPECT_EQ(toHex(value), "30030101ff");
    EXPECT_FALSE(tbs.extensions.find(keyUsage, 4, critical, value));
}

TEST(Attributes, AreCastToTheirTypeOrRefused) {
    TVKASNx509Certificate const certificate(TVKASNNotSecure);
    TVKASNTBSCertificate const& tbs = certificate.tbsCertificate;
    TVKASNIssuerAndSerialNumber const issuerAndSerial(TVKASNNotSecure);
    EXPECT_EQ(&TVKDBUtility::downcastBitString(certificate.signature), &certificate.signature);
    EXPECT_EQ(&TVKDBUtility::downcastTBSCertificate(tbs), &tbs);
    EXPECT_EQ(&TVKDBUtility::downcastX500name(tbs.issuer), &tbs.issuer);
    EXPECT_EQ(&TVKDBUtility::downcastSubjectPublicKeyInfo(tbs.subjectPublicKeyInfo),
              &tbs.subjectPublicKeyInfo);
    EXPECT_EQ(&TVKDBUtility::downcastIssuerAndSerialNumber(issuerAndSerial), &issuerAndSerial);
    EXPECT_THROW(TVKDBUtility::downcastBitString(tbs), TVKException);
    EXPECT_THROW(TVKDBUtility::downcastTBSCertificate(certificate), TVKException);
    EXPECT_THROW(TVKDBUtility::downcastX500name(certificate.signature), TVKException);
    EXPECT_THROW(TVKDBUtility::downcastSubjectPublicKeyInfo(tbs), TVKException);
    EXPECT_THROW(TVKDBUtility::downcastIssuerAndSerialNumber(tbs.issuer), TVKException);
}
