#include <tvkcore/asn/tvkdbutility.h>

#include <tvkcore/base/tvkexception.h>

namespace {

constexpr char kFile[] = "./toolkit/src/asn/tvkdbutility";

[[noreturn]] void refuse(int line, char const* wanted) {
    throw TVKException(kFile, line, TVKCORE_WRONG_ATTRIBUTE_TYPE, wanted);
}

template <typename T>
T const& downcast(TVKASNObject const& object, int line, char const* wanted) {
    T const* result = dynamic_cast<T const*>(&object);
    if (result == nullptr) {
        refuse(line, wanted);
    }
    return *result;
}

} // namespace

TVKASNBitString const& TVKDBUtility::downcastBitString(TVKASNObject const& object) {
    return downcast<TVKASNBitString>(object, __LINE__, "the attribute isn't a bit string");
}

TVKASNIssuerAndSerialNumber const& TVKDBUtility::downcastIssuerAndSerialNumber(TVKASNObject const& object) {
    return downcast<TVKASNIssuerAndSerialNumber>(object, __LINE__,
                                                 "the attribute isn't an issuer and serial number");
}

TVKASNTBSCertificate const& TVKDBUtility::downcastTBSCertificate(TVKASNObject const& object) {
    return downcast<TVKASNTBSCertificate>(object, __LINE__, "the attribute isn't an unsigned certificate");
}

TVKASNx500Name const& TVKDBUtility::downcastX500name(TVKASNObject const& object) {
    return downcast<TVKASNx500Name>(object, __LINE__, "the attribute isn't a name");
}

TVKASNSubjectPublicKeyInfo const& TVKDBUtility::downcastSubjectPublicKeyInfo(TVKASNObject const& object) {
    if (!object.getRTTI()(object)) {
        refuse(__LINE__, "the attribute isn't a subject public key info");
    }
    return downcast<TVKASNSubjectPublicKeyInfo>(object, __LINE__,
                                                "the attribute isn't a subject public key info");
}
