#include <tvkcore/asn/tvkasnutility.h>

#include <tvkcore/base/tvkexception.h>

namespace {

constexpr char kFile[] = "./toolkit/src/asn/tvkasnutility";

void check(int status, int line) {
    if (status != TVKASN_OK) {
        throw TVKASNException(kFile, line, status, tvkasnStatusText(status));
    }
}

} // namespace

unsigned long TVKASNOID::VALUE_RSA[7] = {1, 2, 840, 113549, 1, 1, 1};
unsigned long TVKASNOID::VALUE_MD5WithRSASignature[7] = {1, 2, 840, 113549, 1, 1, 4};
unsigned long TVKASNOID::VALUE_SHA1WithRSASignature[7] = {1, 2, 840, 113549, 1, 1, 5};

void TVKASNUtility::setDEREncoding(TVKASNCBuffer const& der, TVKASNObject& out) {
    TVKASNCBuffer view(der);
    int status = out.read(view);
    if (status == TVKASN_OK && view.length != 0) {
        out.empty();
        status = TVKASN_TRAILING_DATA;
    }
    check(status, __LINE__);
}

TVKBuffer TVKASNUtility::getDEREncoding(TVKASNObject const& object) {
    TVKASNBuffer encoding(TVKASNSecure);
    check(object.write(encoding), __LINE__);
    return TVKBuffer(encoding);
}

void TVKASNUtility::getIssuerAndSerialNumber(TVKASNx500Name const& issuer, TVKASNInteger const& serial,
                                             TVKASNIssuerAndSerialNumber& out) {
    // Both are written before `out` is touched, of which they may be parts.
    TVKASNBuffer issuerEncoding(TVKASNNotSecure);
    TVKASNBuffer serialEncoding(TVKASNNotSecure);
    int status = issuer.write(issuerEncoding);
    if (status == TVKASN_OK) {
        status = serial.write(serialEncoding);
    }
    out.empty();
    check(status, __LINE__);
    status = out.issuer.read(issuerEncoding);
    if (status == TVKASN_OK) {
        status = out.serialNumber.read(serialEncoding);
    }
    check(status, __LINE__);
}
