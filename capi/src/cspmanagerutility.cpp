#include "cspmanagerutility.h"

#include "capimanagerutility.h"
#include "certificateidentifiers.h"
#include "cspmanager.h"
#include "failure.h"
#include "keyprovinfo.h"
#include "platformhandle.h"
#include "searchcondition.h"
#include "tracing.h"
#include "widetext.h"

#include <tvkcore/asn/tvkasnutility.h>
#include <tvkcore/asn/tvkcapiasnkeyrecord.h>
#include <tvkcore/asn/tvkdbutility.h>
#include <tvkcore/base/tvkexception.h>
#include <tvkcore/base/tvkwideinterntable.h>
#include <tvkcore/kry/tvkkryutility.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace {

constexpr SourceFile kSource{"./capi/src/cspmanagerutility", 2048};

// Key references are told apart by the length of their image. On the platform's 32-bit form the lengths are
// these.
static_assert(sizeof(CERT_ID) != sizeof(CRYPT_KEY_PROV_INFO));
static_assert(sizeof(void*) != 4 ||
              (sizeof(CERT_ID) == 20 && sizeof(CRYPT_KEY_PROV_INFO) == 28 && sizeof(CERT_KEY_CONTEXT) == 12 &&
               sizeof(CERT_NAME_BLOB) == 8 && sizeof(HCRYPTKEY) == 4));

constexpr char kSeparator[] = "##";

void append(TVKBuffer& buffer, TVKString const& text) {
    buffer.append(text.length(), reinterpret_cast<unsigned char const*>(text.c_str()));
}

void assign(TVKBuffer& buffer, TVKString const& text) {
    buffer.assign(text.length(), reinterpret_cast<unsigned char const*>(text.c_str()));
}

template <typename Structure>
TVKBuffer imageOf(Structure const& structure) {
    return {sizeof structure, reinterpret_cast<unsigned char const*>(&structure)};
}

} // namespace

TVKBuffer CspManagerUtility::convertLabel(TVKBuffer const& label) {
    OperationTrace const trace(kSource, "CspManagerUtility::convertLabel");
    TVKASNCBuffer view(label.get());
    TVKASNUTF8String text(TVKASNNotSecure);
    // Only a value that takes up the whole label is an encoding; raw text may begin like one.
    if (text.read(view) == TVKASN_OK && view.length == 0) {
        return label;
    }
    text.set_value(label.getValue(), label.getLength());
    return TVKASNUtility::getDEREncoding(text);
}

bool CspManagerUtility::compareLabel(TVKBuffer const& first, TVKBuffer const& second) {
    OperationTrace const trace(kSource, "CspManagerUtility::compareLabel");
    return convertLabel(first).compare(convertLabel(second)) == 0;
}

TVKString CspManagerUtility::makeDefaultLabel(TVKString const& prefix) {
    OperationTrace const trace(kSource, "CspManagerUtility::makeDefaultLabel");
    char seedText[100] = {};
    auto const now = static_cast<std::uint32_t>(std::time(nullptr));
    std::snprintf(seedText, sizeof seedText, "%lu", static_cast<unsigned long>(now));
    TVKBuffer const seed(sizeof seedText, reinterpret_cast<unsigned char const*>(seedText));
    std::unique_ptr<TVKKRYAlgorithmFactory> const factory(
        TVKKRYUtility::getDefaultAlgorithmFactory().duplicate());
    TVKBuffer const random = TVKKRYUtility::generateRandomData(8, &seed.get(), factory.get());

    unsigned char const* bytes = random.getValue();
    auto const littleEndian = [bytes](unsigned int at) {
        return static_cast<unsigned long>(bytes[at]) | static_cast<unsigned long>(bytes[at + 1]) << 8 |
               static_cast<unsigned long>(bytes[at + 2]) << 16 |
               static_cast<unsigned long>(bytes[at + 3]) << 24;
    };
    char digits[64];
    std::snprintf(digits, sizeof digits, "%lu%lu", littleEndian(0), littleEndian(4));
    TVKString name(prefix);
    name += digits;
    return name;
}

namespace {

// Takes the decoded certificate of an operation that needs one, for those after it.
using Decoded = std::unique_ptr<TVKASNx509Certificate>;

void setSerialNumber(PCCERT_CONTEXT cert, TVKBuffer& text, Decoded& certificate) {
    OperationTrace const trace(kSource, "CspManagerUtility::getCertSeriaNumber");
    certificate = std::make_unique<TVKASNx509Certificate>(TVKASNNotSecure);
    TVKASNUtility::setDEREncoding(TVKASNCBuffer(cert->pbCertEncoded, cert->cbCertEncoded), *certificate);
    unsigned char* serial = nullptr;
    unsigned long length = 0;
    certificate->tbsCertificate.serialNumber.get_value(serial, length);
    std::string out;
    out.reserve(3 * length + 128);
    static constexpr char digits[] = "0123456789abcdef";
    for (unsigned long i = 0; i < length; ++i) {
        if (i != 0) {
            out += ':';
        }
        if (serial[i] >= 0x10) {
            out += digits[serial[i] >> 4];
        }
        out += digits[serial[i] & 0x0F];
    }
    out += kSeparator;
    out += TVKASNUtility::getRFC2253String(certificate->tbsCertificate.issuer, false, TVKASNStrRepRFC2253)
               .view();
    text.assign(static_cast<unsigned int>(out.size()), reinterpret_cast<unsigned char const*>(out.data()));
}

void setLabel(PCCERT_CONTEXT cert, TVKBuffer& label, Decoded& certificate) {
    OperationTrace const trace(kSource, "CspManagerUtility::makeCertLabel");
    TVKBuffer name;
    if (CapiManagerUtility::getCertFriendlyName(cert, name)) {
        assign(label, narrowProperty(name));
    } else {
        CapiManagerUtility::getLabel(cert, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, name);
        // The last two bytes are the terminator and a spare one.
        unsigned long const length = name.getLength() < 2 ? 0 : name.getLength() - 2;
        assign(label, "cn=");
        label.append(static_cast<unsigned int>(length), name.getValue());
    }
    TVKBuffer serialNumber;
    setSerialNumber(cert, serialNumber, certificate);
    append(label, kSeparator);
    label.append(static_cast<unsigned int>(serialNumber.getLength()), serialNumber.getValue());
}

void requireCertificate(PCCERT_CONTEXT cert,
                        std::source_location const& where = std::source_location::current()) {
    if (cert == nullptr) {
        throw TVKException(kSource.path, static_cast<int>(where.line()), errorCertificateMissing,
                           "certPtr is NULL");
    }
}

std::unique_ptr<TVKCertItem> certItemOf(PCCERT_CONTEXT cert, Decoded& certificate) {
    TVKBuffer label;
    setLabel(cert, label, certificate);
    TVKBuffer der;
    der.assign(cert->cbCertEncoded, cert->pbCertEncoded);
    return std::make_unique<TVKCertItem>(der, label);
}

// CspManagerUtility::makeCertItem.
std::unique_ptr<TVKCertItem> newCertItem(PCCERT_CONTEXT cert, Decoded& certificate) {
    OperationTrace const trace(kSource, "CspManagerUtility::makeCertItem");
    requireCertificate(cert);
    return certItemOf(cert, certificate);
}

} // namespace

bool CspManagerUtility::makeCertLabel(PCCERT_CONTEXT cert, TVKBuffer& label) {
    Decoded certificate;
    setLabel(cert, label, certificate);
    return true;
}

bool CspManagerUtility::getCertId(PCCERT_CONTEXT cert, TVKBuffer& id) {
    OperationTrace const trace(kSource, "CspManagerUtility::getCertId");
    CERT_ID image;
    std::memset(&image, 0, sizeof image);
    image.dwIdChoice = CERT_ID_ISSUER_SERIAL_NUMBER;
    image.IssuerSerialNumber.Issuer.cbData = cert->pCertInfo->Issuer.cbData;
    image.IssuerSerialNumber.Issuer.pbData = cert->pCertInfo->Issuer.pbData;
    image.IssuerSerialNumber.SerialNumber.cbData = cert->pCertInfo->SerialNumber.cbData;
    image.IssuerSerialNumber.SerialNumber.pbData = cert->pCertInfo->SerialNumber.pbData;
    CertificateIdentifiers::remember(image);
    id = imageOf(image);
    return true;
}

bool CspManagerUtility::getCertSeriaNumber(PCCERT_CONTEXT cert, TVKBuffer& text) {
    Decoded certificate;
    setSerialNumber(cert, text, certificate);
    return true;
}

bool CspManagerUtility::getCapiKey(TVKBuffer certId, HCERTSTORE store, HCRYPTPROV* provider, HCRYPTKEY* key) {
    OperationTrace const trace(kSource, "CspManagerUtility::getCapiKey");
    std::optional<CertificateIdentifiers::Copy> const copy = CertificateIdentifiers::find(certId);
    if (!copy) {
        return false;
    }
    CERT_ID const id = copy->id();
    OwnedCertificate const cert(CapiManagerUtility::findCertificateInStore(
        store, CapiManagerUtility::encoding, 0, CERT_FIND_CERT_ID, &id, nullptr));
    return cert.isSet() && CapiManagerUtility::getKeyInCert(cert.get(), provider, key);
}

namespace {

// The provider reference in a buffer, as long as it is one whose strings this process handed out.
std::optional<CRYPT_KEY_PROV_INFO> readReference(TVKBuffer const& image) {
    CRYPT_KEY_PROV_INFO info;
    if (image.getLength() != sizeof info) {
        return std::nullopt;
    }
    std::memcpy(&info, image.getValue(), sizeof info);
    if (!TVKWideInternTable::holds(info.pwszProvName) || !TVKWideInternTable::holds(info.pwszContainerName)) {
        return std::nullopt;
    }
    return info;
}

constexpr char kNotOpened[] = "CryptAcquireContext() return value rc=0x";

} // namespace

void CspManagerUtility::getCapiKeyProv(TVKBuffer keyProvInfo, HCRYPTPROV* provider, DWORD* keySpec,
                                       HCRYPTKEY* key, bool deleteContainer) {
    OperationTrace const trace(kSource, "CspManagerUtility::getCapiKeyProv");
    std::optional<CRYPT_KEY_PROV_INFO> const info = readReference(keyProvInfo);
    std::optional<TVKString> const providerName = info ? narrow(info->pwszProvName) : std::nullopt;
    std::optional<TVKString> const containerName = info ? narrow(info->pwszContainerName) : std::nullopt;
    if (!providerName || !containerName) {
        raiseWithSystemCode(kSource, errorKeyNotReached, kNotOpened, ERROR_INVALID_PARAMETER);
    }
    unsigned long const flags = deleteContainer ? CRYPT_DELETEKEYSET : 0;
    if (!CapiManagerUtility::getCSPHandle(provider, containerName->c_str(), providerName->c_str(),
                                          info->dwProvType, flags)) {
        raiseWithLastError(kSource, errorKeyNotReached, kNotOpened);
    }
    if (deleteContainer) {
        // The platform leaves the handle undefined after a deletion, and sets it when the container was made
        // anew.
        CryptReleaseContext(*provider, 0);
        return;
    }
    if (!CryptGetUserKey(*provider, info->dwKeySpec, key)) {
        raiseWithLastError(kSource, errorKeyNotReached, "CryptGetUserKey() return value rc=0x");
    }
    *keySpec = info->dwKeySpec;
}

bool CspManagerUtility::convertRealKey(TVKBuffer keyProvInfo, TVKBuffer& material) {
    OperationTrace const trace(kSource, "CspManagerUtility::convertRealKey");
    OwnedProvider provider;
    OwnedKey key;
    DWORD keySpec = 0;
    getCapiKeyProv(keyProvInfo, provider.receive(), &keySpec, key.receive(), false);
    char algorithm[] = szOID_RSA_RSA;
    DWORD size = 0;
    if (!CryptExportPKCS8(provider.get(), keySpec, algorithm, 0, nullptr, nullptr, &size)) {
        DWORD const error = GetLastError();
        if (error == static_cast<DWORD>(NTE_BAD_KEY_STATE) || error == static_cast<DWORD>(NTE_BAD_KEY) ||
            error == static_cast<DWORD>(NTE_BAD_TYPE)) {
            return false;
        }
        raiseWithSystemCode(kSource, errorKeyNotReached, "CryptExportPKCS8() return value rc=0x", error);
    }
    // A buffer, because its bytes are wiped when it goes.
    TVKBuffer exported(static_cast<unsigned int>(size), nullptr);
    if (!CryptExportPKCS8(provider.get(), keySpec, algorithm, 0, nullptr,
                          const_cast<BYTE*>(exported.getValue()), &size)) {
        return false;
    }
    material.assign(static_cast<unsigned int>(size), exported.getValue());
    return true;
}

TVKBuffer CspManagerUtility::reverseEndian(TVKBuffer const& input) {
    OperationTrace const trace(kSource, "CspManagerUtility::reverseEndian");
    TVKBuffer reversed(input);
    auto* const bytes = const_cast<unsigned char*>(reversed.getValue());
    std::reverse(bytes, bytes + reversed.getLength());
    return reversed;
}

bool CspManagerUtility::compareSignature(TVKASNx509Certificate const& certificate,
                                         TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CspManagerUtility::compareSignature");
    return TVKASNObject::compare(certificate.signature, TVKDBUtility::downcastBitString(attribute)) == 0;
}

bool CspManagerUtility::compareIssuerAndSerialNumber(TVKASNx509Certificate const& certificate,
                                                     TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CspManagerUtility::compareIssuerAndSerialNumber");
    TVKASNIssuerAndSerialNumber const& wanted = TVKDBUtility::downcastIssuerAndSerialNumber(attribute);
    // Of one issuer's certificates all but one end here, without the copy below.
    if (TVKASNObject::compare(certificate.tbsCertificate.serialNumber, wanted.serialNumber) != 0) {
        return false;
    }
    TVKASNIssuerAndSerialNumber own(TVKASNNotSecure);
    TVKASNUtility::getIssuerAndSerialNumber(certificate.tbsCertificate.issuer,
                                            certificate.tbsCertificate.serialNumber, own);
    return TVKASNObject::compare(own, wanted) == 0;
}

bool CspManagerUtility::compareUnsignedCertificate(TVKASNx509Certificate const& certificate,
                                                   TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CspManagerUtility::compareUnsignedCertificate");
    return TVKASNObject::compare(certificate.tbsCertificate,
                                 TVKDBUtility::downcastTBSCertificate(attribute)) == 0;
}

bool CspManagerUtility::compareSubjectName(TVKASNx509Certificate const& certificate,
                                           TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CspManagerUtility::compareSubjectName");
    return TVKASNx500Name::compare(certificate.tbsCertificate.subject,
                                   TVKDBUtility::downcastX500name(attribute)) == 0;
}

bool CspManagerUtility::compareSubjectPublicKeyInfo(TVKASNx509Certificate const& certificate,
                                                    TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CspManagerUtility::compareSubjectPublicKeyInfo");
    return TVKASNObject::compare(certificate.tbsCertificate.subjectPublicKeyInfo,
                                 TVKDBUtility::downcastSubjectPublicKeyInfo(attribute)) == 0;
}

namespace {

// Whether a certificate comes into the joined store from the machine's store through the user's, so that it
// shows twice. One whose access state can't be read is shown.
bool isShownTwice(CSPManager const& manager, PCCERT_CONTEXT cert) {
    if (!manager.isCertStoreWithAdminMode()) {
        return false;
    }
    BYTE state[4] = {};
    DWORD length = sizeof state;
    return CertGetCertificateContextProperty(cert, CERT_ACCESS_STATE_PROP_ID, state, &length) &&
           state[0] == CERT_ACCESS_STATE_SYSTEM_STORE_FLAG;
}

PCCERT_CONTEXT nextInStore(HCERTSTORE store, PCCERT_CONTEXT previous) {
    return CapiManagerUtility::findCertificateInStore(store, CapiManagerUtility::encoding, 0, CERT_FIND_ANY,
                                                      nullptr, previous);
}

// The next certificate with a private key that matches, from `cert` on; an empty holder at the end.
OwnedCertificate nextKeyMatch(HCERTSTORE store, OwnedCertificate cert, SearchCondition& condition) {
    for (; cert.isSet();
         cert = OwnedCertificate(CapiManagerUtility::getNextCertificateInStore(store, cert.release()))) {
        TVKBuffer keyProvInfo;
        if (!CapiManagerUtility::isCertWithPrivateKey(cert.get(), keyProvInfo)) {
            continue;
        }
        Decoded certificate;
        std::unique_ptr<TVKCertItem> const item = newCertItem(cert.get(), certificate);
        if (condition.takes(cert.get(), *item, *certificate)) {
            break;
        }
    }
    return cert;
}

} // namespace

template <>
TVKCertItem* CspManagerUtility::findCertificate(CSPManager& manager, PCCERT_CONTEXT previous,
                                                CertSearchKind kind, TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CspManagerUtility::findCertificate");
    manager.releaseMatch(previous);
    HCERTSTORE const store = manager.getSystemStore();
    SearchCondition condition(kind, attribute);
    OwnedCertificate cert(nextInStore(store, previous));
    for (; cert.isSet(); cert = OwnedCertificate(nextInStore(store, cert.release()))) {
        if (isShownTwice(manager, cert.get())) {
            continue;
        }
        manager.setCurrentCertificate(cert.get());
        Decoded certificate;
        std::unique_ptr<TVKCertItem> item = newCertItem(cert.get(), certificate);
        if (condition.takes(cert.get(), *item, *certificate)) {
            manager.holdMatch(cert.release());
            return item.release();
        }
    }
    return nullptr;
}

template <>
TVKKeyCertItem* CspManagerUtility::findCertificate(CSPManager& manager, PCCERT_CONTEXT previous,
                                                   CertSearchKind kind, TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CspManagerUtility::findCertificate");
    HCERTSTORE const store = manager.getSystemStore();
    SearchCondition condition(kind, attribute);
    OwnedCertificate const cert = nextKeyMatch(
        store, OwnedCertificate(CapiManagerUtility::getNextCertificateInStore(store, previous)), condition);
    return cert.isSet() ? makeKeyCertItem(cert.get()) : nullptr;
}

template <>
TVKKeyCertItemContainer* CspManagerUtility::findCertificate(CSPManager& manager, PCCERT_CONTEXT previous,
                                                            CertSearchKind kind,
                                                            TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CspManagerUtility::findCertificate");
    bool const isKnown = kind == searchAny || kind == searchSubjectName || kind == searchSubjectPublicKeyInfo;
    SearchCondition condition(isKnown ? kind : searchNothing, attribute);
    HCERTSTORE const store = manager.getSystemStore();
    auto items = std::make_unique<TVKKeyCertItemContainer>(TVKOwnershipOwned);
    OwnedCertificate cert(CapiManagerUtility::getNextCertificateInStore(store, previous));
    for (;;) {
        cert = nextKeyMatch(store, std::move(cert), condition);
        if (!cert.isSet()) {
            return items.release();
        }
        std::unique_ptr<TVKKeyCertItem> item(makeKeyCertItem(cert.get()));
        if (items->push_back(item.get())) {
            item.release();
        }
        cert = OwnedCertificate(CapiManagerUtility::getNextCertificateInStore(store, cert.release()));
    }
}

TVKCertItemContainer* CspManagerUtility::findCertificates(CSPManager& manager, CertSearchKind kind,
                                                          TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CspManagerUtility::findCertificates");
    auto items = std::make_unique<TVKCertItemContainer>(TVKOwnershipOwned);
    PCCERT_CONTEXT position = nullptr;
    for (;;) {
        std::unique_ptr<TVKCertItem> item(findCertificate<TVKCertItem>(manager, position, kind, attribute));
        if (item == nullptr) {
            return items.release();
        }
        position = manager.getCurrentCertificate();
        items->push_back(item.get());
        item.release();
    }
}

namespace {

TVKBuffer subjectImageOf(PCCERT_CONTEXT cert) {
    CERT_NAME_BLOB subject;
    std::memset(&subject, 0, sizeof subject);
    subject.cbData = cert->pCertInfo->Subject.cbData;
    subject.pbData = cert->pCertInfo->Subject.pbData;
    return imageOf(subject);
}

void setReference(TVKKRYKey& key, TVKString const& providerName, TVKBuffer const& objectId,
                  unsigned long keySizeBits, TVKBuffer const& subject) {
    TVKCAPIASNKeyRecord const record(providerName, objectId, static_cast<unsigned int>(keySizeBits), subject);
    key.setFormat(TVKKRYKey::KeyRecord);
    key.setKeyBlob(record.getBuffer());
}

// The slot's public key in DER; empty when it can't be exported or encoded.
TVKBuffer exportPublicKey(HCRYPTPROV provider, DWORD keySpec) {
    TVKBuffer test;
    DWORD size = 0;
    if (!CapiManagerUtility::getPublicKeyInfo(provider, keySpec, test) ||
        !CryptExportPublicKeyInfo(provider, keySpec, CapiManagerUtility::encoding, nullptr, &size)) {
        return {};
    }
    auto const block = std::make_unique<BYTE[]>(std::max<std::size_t>(size, sizeof(CERT_PUBLIC_KEY_INFO)));
    auto* const info = reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(block.get());
    if (!CryptExportPublicKeyInfo(provider, keySpec, CapiManagerUtility::encoding, info, &size)) {
        return {};
    }
    DWORD encodedSize = 0;
    if (!CryptEncodeObject(CapiManagerUtility::encoding, X509_PUBLIC_KEY_INFO, info, nullptr, &encodedSize)) {
        return {};
    }
    auto const encoded = std::make_unique<BYTE[]>(encodedSize);
    if (!CryptEncodeObject(CapiManagerUtility::encoding, X509_PUBLIC_KEY_INFO, info, encoded.get(),
                           &encodedSize)) {
        return {};
    }
    return {static_cast<unsigned int>(encodedSize), encoded.get()};
}

void setPublicKey(TVKKRYKey& key, HCRYPTPROV provider, DWORD keySpec) {
    key.setFormat(TVKKRYKey::SubjectPublicKeyInfo);
    OwnedKey handle;
    if (!CryptGetUserKey(provider, keySpec, handle.receive())) {
        raiseWithLastError(kSource, errorKeyNotReached, "CryptGetUserKey() return values rc=0x");
    }
    key.setKeyBlob(exportPublicKey(provider, keySpec));
}

void setReferenceByCertificate(TVKKRYKey& key, TVKString const& providerName, PCCERT_CONTEXT cert) {
    unsigned long const keySizeBits = CapiManagerUtility::getKeySizeInBits(cert);
    TVKBuffer const subject = subjectImageOf(cert);
    TVKBuffer objectId;
    CapiManagerUtility::isCertWithPrivateKey(cert, objectId);
    setReference(key, providerName, objectId, keySizeBits, subject);
}

void setReferenceByContainer(TVKKRYKey& key, TVKString const& containerName, TVKString const& providerName,
                             DWORD keySpec) {
    // A reference without a certificate says 512, whatever the key's size.
    constexpr unsigned long unknownKeySizeBits = 512;
    CRYPT_KEY_PROV_INFO info;
    std::memset(&info, 0, sizeof info);
    info.pwszContainerName = widenForGood(containerName);
    info.pwszProvName = widenForGood(providerName);
    info.dwProvType = PROV_RSA_FULL;
    info.dwKeySpec = keySpec;
    setReference(key, providerName, imageOf(info), unknownKeySizeBits, TVKBuffer());
}

} // namespace

TVKCertItem* CspManagerUtility::makeCertItem(PCCERT_CONTEXT cert) {
    Decoded certificate;
    return newCertItem(cert, certificate).release();
}

TVKKeyCertItem* CspManagerUtility::makeKeyCertItem(PCCERT_CONTEXT cert) {
    OperationTrace const trace(kSource, "CspManagerUtility::makeKeyCertItem");
    requireCertificate(cert);
    Decoded certificate;
    std::unique_ptr<TVKCertItem> const certItem = certItemOf(cert, certificate);
    std::unique_ptr<TVKKeyItem> const keyItem(makeKeyItem(0, 0, true, cert));
    if (certItem == nullptr || keyItem == nullptr) {
        return nullptr;
    }
    return new TVKKeyCertItem(*keyItem, *certItem);
}

TVKKeyItem* CspManagerUtility::makeKeyItem(HCRYPTPROV provider, DWORD keySpec, bool isPrivate,
                                           PCCERT_CONTEXT cert) {
    OperationTrace const trace(kSource, "CspManagerUtility::makeKeyItem");
    TVKString containerName;
    TVKString providerName;
    if (provider != 0) {
        CapiManagerUtility::getProvParam(provider, PP_CONTAINER, containerName);
        CapiManagerUtility::getProvParam(provider, PP_NAME, providerName);
    }
    TVKKRYKey key;
    key.setType(isPrivate ? TVKKRYKey::Private : TVKKRYKey::Public);
    key.setAlgorithm(TVKKRYKey::RSA);
    if (!isPrivate) {
        setPublicKey(key, provider, keySpec);
    } else if (cert != nullptr) {
        setReferenceByCertificate(key, providerName, cert);
    } else {
        setReferenceByContainer(key, containerName, providerName, keySpec);
    }
    return new TVKKeyItem(key, TVKBuffer(containerName));
}

TVKKeyItem* CspManagerUtility::makeKeyItem(CSPManager& manager, PCCERT_CONTEXT cert) {
    OperationTrace const trace(kSource, "CspManagerUtility::makeKeyItem");
    requireCertificate(cert);
    TVKBuffer label;
    makeCertLabel(cert, label);
    TVKKRYKey key;
    key.setType(TVKKRYKey::Private);
    key.setAlgorithm(TVKKRYKey::RSA);
    TVKBuffer objectId;
    getCertId(cert, objectId);
    setReference(key, manager.getCSPName(), objectId, CapiManagerUtility::getKeySizeInBits(cert),
                 subjectImageOf(cert));
    return new TVKKeyItem(key, label);
}

// ---- Change ----

namespace {

unsigned long dispositionOf(bool addNew) {
    return addNew ? CERT_STORE_ADD_NEW : CERT_STORE_ADD_REPLACE_EXISTING;
}

Decoded decoded(TVKCertItem const& item) {
    auto certificate = std::make_unique<TVKASNx509Certificate>(TVKASNNotSecure);
    TVKASNUtility::setDEREncoding(item.getCertificateDER().get(), *certificate);
    return certificate;
}

// The first certificate of the store with this signature, or none.
OwnedCertificate findBySignature(HCERTSTORE store, TVKASNObject const& signature) {
    OwnedCertificate cert;
    do {
        cert = OwnedCertificate(CapiManagerUtility::findCertificateInStore(
            store, CapiManagerUtility::encoding, 0, CERT_FIND_ANY, nullptr, cert.release()));
        if (!cert.isSet()) {
            break;
        }
        Decoded certificate;
        std::unique_ptr<TVKCertItem> const item = newCertItem(cert.get(), certificate);
        if (CspManagerUtility::compareSignature(*certificate, signature)) {
            break;
        }
    } while (true);
    return cert;
}

} // namespace

bool CspManagerUtility::addCertificate(CSPManager& manager, TVKCertItem const& item, TVKString const& label,
                                       bool addNew) {
    OperationTrace const trace(kSource, "CspManagerUtility::addCertificate");
    return CapiManagerUtility::addCertificate(manager, CapiManagerUtility::encoding, item.getCertificateDER(),
                                              label, dispositionOf(addNew), TVKKRYKey(), false);
}

bool CspManagerUtility::addCertificate(CSPManager& manager, TVKKeyCertItem const& item,
                                       TVKString const& label, bool addNew, TVKKRYKey const& key) {
    OperationTrace const trace(kSource, "CspManagerUtility::addCertificate");
    return CapiManagerUtility::addCertificate(manager, CapiManagerUtility::encoding, item.getCertificateDER(),
                                              label, dispositionOf(addNew), key, true);
}

bool CspManagerUtility::deleteCertificate(HCERTSTORE store, TVKCertItem const& item, bool keepKey) {
    OperationTrace const trace(kSource, "CspManagerUtility::deleteCertificate");
    Decoded const target = decoded(item);
    OwnedCertificate cert = findBySignature(store, target->signature);
    if (!cert.isSet()) {
        return false;
    }
    TVKBuffer keyProvInfo;
    if (CapiManagerUtility::isCertWithPrivateKey(cert.get(), keyProvInfo) && !keepKey) {
        HCRYPTPROV provider = 0;
        HCRYPTKEY key = 0;
        DWORD keySpec = 0;
        getCapiKeyProv(keyProvInfo, &provider, &keySpec, &key, true);
    }
    return CapiManagerUtility::deleteCertificate(cert.release());
}

namespace {

bool isAlgorithm(TVKASNAlgorithmID const& algorithm, unsigned long const* arcs) {
    return algorithm.algorithm.is_equal(arcs, 7);
}

SYSTEMTIME endOf(TVKASNValidity const& validity) {
    struct tm end = {};
    int const status = validity.notAfter.get_value(end);
    if (status != TVKASN_OK) {
        throw TVKASNException(kSource.path, __LINE__, status, TVKString());
    }
    SYSTEMTIME result;
    std::memset(&result, 0, sizeof result);
    result.wYear = static_cast<WORD>(end.tm_year + 1900);
    result.wMonth = static_cast<WORD>(end.tm_mon + 1);
    result.wDayOfWeek = static_cast<WORD>(end.tm_wday);
    result.wDay = static_cast<WORD>(end.tm_mday);
    result.wHour = static_cast<WORD>(end.tm_hour);
    result.wMinute = static_cast<WORD>(end.tm_min);
    result.wSecond = static_cast<WORD>(end.tm_sec);
    return result;
}

} // namespace

PCCERT_CONTEXT CspManagerUtility::createSelfSignCertificate(HCRYPTPROV* provider, TVKString const& label,
                                                            TVKBuffer const& subject,
                                                            TVKASNValidity const& validity,
                                                            TVKASNAlgorithmID const& algorithm) {
    OperationTrace const trace(kSource, "CspManagerUtility::createSelfSignCertificate");
    TVKString providerName;
    TVKString containerName;
    // Without these names the certificate would be made with another key, that of the default container.
    if (!CapiManagerUtility::getProvParam(*provider, PP_NAME, providerName) ||
        !CapiManagerUtility::getProvParam(*provider, PP_CONTAINER, containerName)) {
        raiseWithLastError(kSource, errorAddFailed, "create self sign certificate fail. return values rc=0x");
    }
    KeyProvInfo info(containerName, providerName, AT_KEYEXCHANGE);
    char md5[] = szOID_RSA_MD5RSA;
    char sha1[] = szOID_RSA_SHA1RSA;
    CRYPT_ALGORITHM_IDENTIFIER algorithmId;
    std::memset(&algorithmId, 0, sizeof algorithmId);
    if (isAlgorithm(algorithm, TVKASNOID::VALUE_MD5WithRSASignature)) {
        algorithmId.pszObjId = md5;
    } else if (isAlgorithm(algorithm, TVKASNOID::VALUE_SHA1WithRSASignature)) {
        algorithmId.pszObjId = sha1;
    }
    SYSTEMTIME endTime = endOf(validity);
    OwnedCertificate cert(
        CapiManagerUtility::createSelfSignCertificate(subject, info.get(), &algorithmId, &endTime));
    if (cert.isSet()) {
        CapiManagerUtility::setCertFriendlyName(cert.get(), label);
    }
    return cert.release();
}

// ---- Certificates on cards ----

namespace {

constexpr unsigned long kPersonalStore = 1;

constexpr char kCardNotRead[] = "Fail to get Key from key container with rc=0x";

// Gives the certificate the friendly name of the one that the store knows by the same issuer and serial
// number. False when the store knows none.
bool takeFriendlyName(PCCERT_CONTEXT cert, TVKBuffer const& id, HCERTSTORE store) {
    OwnedCertificate const found(CapiManagerUtility::findCertificateInStore(
        store, CapiManagerUtility::encoding, 0, CERT_FIND_CERT_ID, id.getValue(), nullptr));
    TVKBuffer name;
    if (found.isSet() && CapiManagerUtility::getCertFriendlyName(found.get(), name)) {
        CRYPT_DATA_BLOB blob;
        blob.cbData = static_cast<DWORD>(name.getLength());
        blob.pbData = const_cast<BYTE*>(name.getValue());
        if (!CertSetCertificateContextProperty(cert, CERT_FRIENDLY_NAME_PROP_ID, 0, &blob)) {
            raise(kSource, errorAddFailed, "add certificate label fail");
        }
    }
    return found.isSet();
}

void addReplacing(HCERTSTORE store, PCCERT_CONTEXT cert) {
    if (!CertAddCertificateContextToStore(store, cert, CERT_STORE_ADD_REPLACE_EXISTING, nullptr)) {
        raise(kSource, errorAddFailed, "add certificate to cert store fail");
    }
}

} // namespace

HCERTSTORE CapiManagerUtility::getCertFromSmartCard(TVKString providerName) {
    OperationTrace const trace(kSource, "CapiManagerUtility::getCertFromSmartCard");
    OwnedStore memoryStore(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    if (!memoryStore.isSet()) {
        raise(kSource, errorNotOpened, "A memory store create fail");
    }
    OwnedProvider provider;
    if (!getCSPHandle(provider.receive(), nullptr, providerName.c_str(), PROV_RSA_FULL, 0)) {
        if (GetLastError() == static_cast<DWORD>(NTE_KEYSET_NOT_DEF)) {
            return memoryStore.release();
        }
        raiseWithLastError(kSource, errorNotOpened, kCardNotRead);
    }
    for (DWORD const keySpec : {AT_KEYEXCHANGE, AT_SIGNATURE}) {
        BYTE* data = nullptr;
        DWORD length = 0;
        bool const hasKey = getCertFromKey(provider.get(), keySpec, &data, &length);
        DWORD const error = GetLastError();
        std::unique_ptr<BYTE[]> const owned(data);
        if (!hasKey && error != static_cast<DWORD>(NTE_NO_KEY)) {
            raiseWithSystemCode(kSource, errorNotOpened, kCardNotRead, error);
        }
        if (hasKey && !addCertToMemoryStore(provider.get(), keySpec, data, length, memoryStore.get())) {
            raise(kSource, errorNotOpened, "Fail to add certificate to a memory store");
        }
    }
    provider.reset();
    return memoryStore.release();
}

bool CapiManagerUtility::getCertFromKey(HCRYPTPROV provider, DWORD keySpec, BYTE** data, DWORD* length) {
    OperationTrace const trace(kSource, "CapiManagerUtility::getCertFromKey");
    if (data == nullptr || length == nullptr) {
        return false;
    }
    OwnedKey key;
    bool const hasKey = CryptGetUserKey(provider, keySpec, key.receive()) != 0;
    DWORD size = 0;
    std::unique_ptr<BYTE[]> certificate;
    if (key.isSet()) {
        CryptGetKeyParam(key.get(), KP_CERTIFICATE, nullptr, &size, 0);
        DWORD const room = size;
        certificate = std::make_unique<BYTE[]>(room);
        CryptGetKeyParam(key.get(), KP_CERTIFICATE, certificate.get(), &size, 0);
        // It may have become longer in between, and is then not whole.
        size = std::min(size, room);
    }
    *data = certificate.release();
    *length = size;
    return hasKey;
}

bool CapiManagerUtility::addCertToMemoryStore(HCRYPTPROV provider, DWORD keySpec, BYTE* data, DWORD length,
                                              HCERTSTORE memoryStore) {
    OperationTrace const trace(kSource, "CapiManagerUtility::addCertToMemoryStore");
    constexpr char notTied[] = "fail to set key provider information";
    TVKString containerName;
    TVKString providerName;
    // Without these names the certificate would be tied to another key, that of the default container.
    if (provider != 0 && (!getProvParam(provider, PP_CONTAINER, containerName) ||
                          !getProvParam(provider, PP_NAME, providerName))) {
        raise(kSource, errorAddFailed, notTied);
    }
    OwnedCertificate const cert(CertCreateCertificateContext(X509_ASN_ENCODING, data, length));
    if (!cert.isSet()) {
        raise(kSource, errorAddFailed, "create certificate context fail");
    }
    TVKBuffer id;
    CspManagerUtility::getCertId(cert.get(), id);
    bool admin = false;
    OwnedStore const personal(openCertStore(0, kPersonalStore, &admin));
    bool const isMissing = personal.isSet() && !takeFriendlyName(cert.get(), id, personal.get());
    if (!KeyProvInfo(containerName, providerName, keySpec).setOn(cert.get())) {
        raise(kSource, errorAddFailed, notTied);
    }
    addReplacing(memoryStore, cert.get());
    if (isMissing) {
        addReplacing(personal.get(), cert.get());
    }
    return true;
}

bool CapiManagerUtility::addCertToSmartCard(HCRYPTPROV* provider, PCCERT_CONTEXT cert) {
    OperationTrace const trace(kSource, "CapiManagerUtility::addCertToSmartCard");
    OwnedKey key;
    if (!CryptGetUserKey(*provider, AT_KEYEXCHANGE, key.receive())) {
        raiseWithLastError(kSource, errorKeyNotReached, "CryptGetUserKey() return values rc=0x");
    }
    if (!CryptSetKeyParam(key.get(), KP_CERTIFICATE, cert->pbCertEncoded, 0)) {
        raiseWithLastError(kSource, errorKeyNotReached, "CryptSetKeyParam() return values rc=0x");
    }
    return true;
}
