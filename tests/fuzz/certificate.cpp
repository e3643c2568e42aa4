// Certificates, by the toolkit's decoder, the layer's and libcrypto's: what they accept they see alike. What
// both of the others accept the toolkit has to; each of them alone is more generous than X.690.
#include "fuzz.h"
#include "support/libcrypto.h"

#include <tvkcore/asn/tvkasnutility.h>

#include <openssl/err.h>

#include <wincrypt.h>

#include <ctime>
#include <stdexcept>

using namespace fuzz;
using namespace test_support;

namespace {

TVKASNTBSCertificate const* ours = nullptr;

TVKBuffer encodingOf(TVKASNObject const& object) { return TVKASNUtility::getDEREncoding(object); }

Owned<X509_NAME> decodeName(unsigned char const* bytes, unsigned long length) {
    return Owned<X509_NAME>(d2i_X509_NAME(nullptr, &bytes, static_cast<long>(length)));
}

void compareNames(TVKASNx500Name const& name, X509_NAME const* theirs) {
    TVKString const text = TVKASNUtility::getRFC2253String(name, false, TVKASNStrRepRFC2253);
    // Values that aren't texts differ in their encodings, and libcrypto gives up on damaged ones.
    if (theirs == nullptr || text.view().find("=#") != std::string_view::npos)
        return;
    TVKBuffer const encoding = encodingOf(name);
    auto const again = decodeName(encoding.getValue(), encoding.getLength());
    require(again == nullptr || X509_NAME_cmp(again.get(), theirs) == 0, "name");
    attempt<std::runtime_error>([&] { require(text.view() == nameText(theirs), "text of a name"); });
}

void compareTimes(TVKASNTarnTime const& time, ASN1_TIME const* theirs) {
    std::tm a{};
    std::tm b{};
    if (time.get_value(a) == TVKASN_OK && ASN1_TIME_to_tm(theirs, &b) == 1)
        require(::timegm(&a) == ::timegm(&b), "time");
}

void compare(X509* theirs) {
    X509_NAME const* const issuer = X509_get_issuer_name(theirs);
    X509_NAME const* const subject = X509_get_subject_name(theirs);
    compareNames(ours->issuer, issuer);
    compareNames(ours->subject, subject);
    bool const same = TVKASNx500Name::compare(ours->issuer, ours->subject) == 0;
    require(same == (TVKASNx500Name::compare(ours->subject, ours->issuer) == 0), "names in either order");
    require(same || X509_NAME_cmp(issuer, subject) != 0, "names that are equal to libcrypto");
    compareTimes(ours->validity.notBefore, X509_get0_notBefore(theirs));
    compareTimes(ours->validity.notAfter, X509_get0_notAfter(theirs));
    unsigned char* serial = nullptr;
    int const length = i2d_ASN1_INTEGER(X509_get0_serialNumber(theirs), &serial);
    TVKBuffer const made(static_cast<unsigned int>(length), serial);
    OPENSSL_free(serial);
    require(made.compare(encodingOf(ours->serialNumber)) == 0, "serial number");
    unsigned char* bits = nullptr;
    unsigned long count = 0;
    ours->subjectPublicKeyInfo.subjectPublicKey.get_value(bits, count);
    ASN1_BIT_STRING const* const key = X509_get0_pubkey_bitstr(theirs);
    require(static_cast<int>(count + 7) / 8 == key->length && std::equal(bits, bits + count / 8, key->data),
            "key");
    require(static_cast<int>(ours->extensions.get_count()) == X509_get_ext_count(theirs), "extensions");
}

void compare(CERT_INFO const& layers) {
    compareNames(ours->issuer, decodeName(layers.Issuer.pbData, layers.Issuer.cbData).get());
    compareNames(ours->subject, decodeName(layers.Subject.pbData, layers.Subject.cbData).get());
    require(ours->extensions.get_count() == layers.cExtension, "the layer's extensions");
}

} // namespace

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    TVKASNCBuffer rest(data, size);
    TVKASNx509Certificate certificate(TVKASNNotSecure);
    ours = certificate.read(rest) == TVKASN_OK ? &certificate.tbsCertificate : nullptr;
    auto const length = static_cast<unsigned int>(rest.data - data);
    require(ours == nullptr || encodingOf(certificate).compare(TVKBuffer(length, data)) == 0, "as it was");
    unsigned char const* end = data;
    Owned<X509> const theirs(d2i_X509(nullptr, &end, static_cast<long>(size)));
    if (ours != nullptr && theirs != nullptr)
        compare(theirs.get());
    ERR_clear_error();
    auto const* layers = CertCreateCertificateContext(X509_ASN_ENCODING, data, static_cast<DWORD>(size));
    require(ours != nullptr || theirs == nullptr || layers == nullptr, "what the others take is taken");
    if (ours != nullptr && layers != nullptr)
        compare(*layers->pCertInfo);
    CertFreeCertificateContext(layers);
    return 0;
}
