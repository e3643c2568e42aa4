#include "capimanagerutility.h"

#include "capiglobal.h"
#include "cspmanager.h"
#include "cspmanagerutility.h"
#include "failure.h"
#include "keyprovinfo.h"
#include "platformhandle.h"
#include "tracing.h"
#include "widetext.h"

#include <tvkcore/asn/tvkcapiasnkeyrecord.h>
#include <tvkcore/base/tvkwideinterntable.h>
#include <tvkcore/kry/tvkkrykey.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>

namespace {

constexpr SourceFile kSource{"./capi/src/capimanagerutility", 2048};

struct ErrorText {
    DWORD value;
    char const* text;
};

// In ascending order of the values.
constexpr ErrorText kErrorTexts[] = {
    {ERROR_NOT_ENOUGH_MEMORY, "The operating system ran out of memory"},
    {ERROR_INVALID_PARAMETER, "One of the parameters contains an invalid value"},
    {ERROR_BUSY,
     "the CRYPT_DELETEKEYSET flag value is set and another thread or process is using this key container"},
    {ERROR_MORE_DATA, "buffer was not large enough to hold the data"},
    {static_cast<DWORD>(NTE_BAD_SIGNATURE), "The provider DLL signature could not be verified"},
    {static_cast<DWORD>(NTE_BAD_FLAGS), "The dwFlags parameter has an invalid value."},
    {static_cast<DWORD>(NTE_NO_MEMORY), "The CSP ran out of memory during the operation."},
    {static_cast<DWORD>(NTE_EXISTS),
     "the dwFlags parameter is CRYPT_NEWKEYSET but the key container already exists"},
    {static_cast<DWORD>(NTE_BAD_PROV_TYPE), "The value of the dwProvType parameter is out of range."},
    {static_cast<DWORD>(NTE_BAD_KEYSET), "The key container not be opened or does not exist."},
    {static_cast<DWORD>(NTE_PROV_TYPE_NOT_DEF),
     "No entry exists for the provider type specified by dwProvType."},
    {static_cast<DWORD>(NTE_PROV_TYPE_ENTRY_BAD), "The provider type specified by dwProvType is corrupt."},
    {static_cast<DWORD>(NTE_KEYSET_NOT_DEF),
     "The key container specifed by pszContainer does not exist or the requested provider does not exist"},
    {static_cast<DWORD>(NTE_KEYSET_ENTRY_BAD), "the pszContainer key container was found but is corrupt."},
    {static_cast<DWORD>(NTE_PROV_TYPE_NO_MATCH),
     "The provider type specified by dwProvType does not match the provider type found."},
    {static_cast<DWORD>(NTE_SIGNATURE_FILE_BAD),
     "An error occured while loading the DLL file image, prior to verifying its signature"},
    {static_cast<DWORD>(NTE_PROVIDER_DLL_FAIL),
     "The provider DLL file could not be loaded or failed to initialize."},
    {static_cast<DWORD>(NTE_PROV_DLL_NOT_FOUND),
     "The provider DLL file does not exist or is not on the current path."},
    {static_cast<DWORD>(NTE_BAD_KEYSET_PARAM),
     "The pszContainer or pszProvider parameter is set to an invalid value"},
};

constexpr DWORD toDword(unsigned long value) { return static_cast<DWORD>(value); }

DWORD lengthOf(TVKBuffer const& buffer) { return static_cast<DWORD>(buffer.getLength()); }

// A buffer's storage is its user's to write, although it shows as const.
BYTE* storageOf(TVKBuffer const& buffer) { return const_cast<BYTE*>(buffer.getValue()); }

TVKBuffer bufferOf(DWORD length, BYTE const* bytes) { return {static_cast<unsigned int>(length), bytes}; }

} // namespace

TVKString CapiManagerUtility::HandleError() {
    // Read before the trace, whose sink may call the system.
    DWORD const error = GetLastError();
    OperationTrace const trace(kSource, "CapiManagerUtility::HandleError");
    auto const* const found = std::find_if(std::begin(kErrorTexts), std::end(kErrorTexts),
                                           [error](ErrorText const& entry) { return entry.value == error; });
    if (found != std::end(kErrorTexts)) {
        return found->text;
    }
    char text[128];
    std::snprintf(text, sizeof text,
                  "An error occured in running Microsft Crypto API with return values rc=0x%x",
                  static_cast<unsigned int>(error));
    return text;
}

CSPEntryContainer* CapiManagerUtility::enumProviders() {
    OperationTrace const trace(kSource, "CapiManagerUtility::enumProviders");
    struct EntryDeleter {
        void operator()(CSPEntry* entry) const { tvkDestroyElement(entry); }
    };
    auto container = std::make_unique<CSPEntryContainer>(TVKOwnershipOwned);
    DWORD type = 0;
    DWORD size = 0;
    DWORD index = 0;
    while (CryptEnumProvidersA(index, nullptr, 0, &type, nullptr, &size)) {
        std::unique_ptr<CSPEntry, EntryDeleter> entry(new CSPEntry{0, nullptr});
        // One byte more than announced, so that the text ends whatever the platform wrote.
        auto const name = std::make_unique<char[]>(size + std::size_t{1});
        if (!CryptEnumProvidersA(index, nullptr, 0, &type, name.get(), &size)) {
            raise(kSource, errorNotOpened, HandleError());
        }
        ++index;
        entry->type = type;
        entry->name = tvk_strdup(name.get(), nullptr);
        container->set.insert(entry.get());
        entry.release();
    }
    return container.release();
}

bool CapiManagerUtility::getCSPHandle(HCRYPTPROV* provider, char const* container, char const* cspName,
                                      unsigned long provType, unsigned long flags) {
    OperationTrace const trace(kSource, "CapiManagerUtility::getCSPHandle");
    HCRYPTPROV handle = 0;
    if (CryptAcquireContextA(&handle, container, cspName, toDword(provType), toDword(flags))) {
        *provider = handle;
        return true;
    }
    if (GetLastError() == static_cast<DWORD>(NTE_BAD_KEYSET) &&
        CryptAcquireContextA(&handle, container, cspName, toDword(provType), CRYPT_NEWKEYSET)) {
        *provider = handle;
        return true;
    }
    return false;
}

bool CapiManagerUtility::getProvParam(HCRYPTPROV provider, unsigned long param, TVKString& value) {
    OperationTrace const trace(kSource, "CapiManagerUtility::getProvParam");
    DWORD size = 0;
    bool const sized = CryptGetProvParam(provider, toDword(param), nullptr, &size, 0) != 0;
    auto const buffer = std::make_unique<char[]>(size + std::size_t{1});
    if (!CryptGetProvParam(provider, toDword(param), reinterpret_cast<BYTE*>(buffer.get()), &size, 0)) {
        return false;
    }
    value = TVKString(buffer.get());
    return sized;
}

bool CapiManagerUtility::getKeyParam(HCRYPTKEY key, unsigned long param, TVKBuffer& value) {
    OperationTrace const trace(kSource, "CapiManagerUtility::getKeyParam");
    DWORD size = 0;
    bool const sized = CryptGetKeyParam(key, toDword(param), nullptr, &size, 0) != 0;
    auto const buffer = std::make_unique<BYTE[]>(size + std::size_t{1});
    if (!CryptGetKeyParam(key, toDword(param), buffer.get(), &size, 0)) {
        return false;
    }
    value = bufferOf(size, buffer.get());
    return sized;
}

unsigned long CapiManagerUtility::getKeySizeInBits(PCCERT_CONTEXT cert) {
    OperationTrace const trace(kSource, "CapiManagerUtility::getKeySizeInBits");
    return CertGetPublicKeyLength(encoding, &cert->pCertInfo->SubjectPublicKeyInfo);
}

namespace {

// The certificate's key property in one block, or null without it.
std::unique_ptr<BYTE[]> readKeyProvInfo(PCCERT_CONTEXT cert) {
    DWORD size = 0;
    if (!CertGetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, nullptr, &size)) {
        return nullptr;
    }
    auto block = std::make_unique<BYTE[]>(std::max<std::size_t>(size, sizeof(CRYPT_KEY_PROV_INFO)));
    if (!CertGetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, block.get(), &size)) {
        return nullptr;
    }
    return block;
}

} // namespace

bool CapiManagerUtility::compareCSPName(TVKString const& cspName, PCCERT_CONTEXT cert) {
    OperationTrace const trace(kSource, "CapiManagerUtility::compareCSPName");
    auto const block = readKeyProvInfo(cert);
    if (block == nullptr) {
        return false;
    }
    auto const* info = reinterpret_cast<CRYPT_KEY_PROV_INFO const*>(block.get());
    auto const wide = std::make_unique<wchar_t[]>(cspName.length() + std::size_t{1});
    return widen(cspName, wide.get()) && info->pwszProvName != nullptr &&
           std::wcscmp(wide.get(), info->pwszProvName) == 0;
}

BOOL CapiManagerUtility::compareSubjetNameBlob(PCCERT_CONTEXT cert, TVKBuffer const& nameBlob) {
    OperationTrace const trace(kSource, "CapiManagerUtility::compareSubjetNameBlob");
    CERT_NAME_BLOB blob;
    if (nameBlob.getLength() != sizeof blob) {
        return FALSE;
    }
    std::memcpy(&blob, nameBlob.getValue(), sizeof blob);
    return CertCompareCertificateName(encoding, &cert->pCertInfo->Subject, &blob);
}

bool CapiManagerUtility::generateRandomData(HCRYPTPROV provider, TVKBuffer& data) {
    OperationTrace const trace(kSource, "CapiManagerUtility::generateRandomData");
    if (!CryptGenRandom(provider, lengthOf(data), storageOf(data))) {
        raiseWithLastError(kSource, errorRandomData, "CryptGenRandom() return values rc=0x");
    }
    return true;
}

bool CapiManagerUtility::generateKey(HCRYPTPROV provider, ALG_ID algorithm, unsigned long flags,
                                     TVKBuffer& keyHandle) {
    OperationTrace const trace(kSource, "CapiManagerUtility::generateKey");
    HCRYPTKEY handle = 0;
    if (!CryptGenKey(provider, algorithm, toDword(flags), &handle)) {
        raiseWithLastError(kSource, errorKeyNotReached, "CryptGenKey() return values rc=0x");
    }
    keyHandle = TVKBuffer(sizeof handle, reinterpret_cast<unsigned char const*>(&handle));
    return true;
}

bool CapiManagerUtility::generateKeyPair(HCRYPTPROV provider, ALG_ID algorithm, unsigned long flags,
                                         TVKBuffer& keyHandle) {
    OperationTrace const trace(kSource, "CapiManagerUtility::generateKeyPair");
    TVKBuffer handle;
    generateKey(provider, algorithm, flags, handle);
    keyHandle = handle;
    return true;
}

bool CapiManagerUtility::encryptUpdate(HCRYPTKEY key, TVKBuffer const& data, TVKBuffer& result, bool final) {
    OperationTrace const trace(kSource, "CapiManagerUtility::encryptUpdate");
    DWORD dataLength = lengthOf(data);
    DWORD bufferLength = lengthOf(data);
    // The platform works in place and its result can be longer than the input: the buffer, a copy that is
    // wiped at the end, has the size that it asks for.
    TVKBuffer buffer;
    if (CryptEncrypt(key, 0, final, 0, nullptr, &dataLength, bufferLength)) {
        dataLength = std::max(dataLength, lengthOf(data));
        buffer = TVKBuffer(static_cast<unsigned int>(dataLength), nullptr);
        if (data.getLength() != 0) {
            std::memcpy(storageOf(buffer), data.getValue(), data.getLength());
        }
        bufferLength = dataLength;
    }
    dataLength = lengthOf(data);
    if (!CryptEncrypt(key, 0, final, 0, storageOf(buffer), &dataLength, bufferLength) ||
        dataLength > buffer.getLength()) {
        raiseWithLastError(kSource, errorEncryption, "CryptEncrypt() return values rc=0x");
    }
    result = bufferOf(dataLength, buffer.getValue());
    return true;
}

bool CapiManagerUtility::encryptFinal(HCRYPTKEY key, TVKBuffer const& data, TVKBuffer& result) {
    OperationTrace const trace(kSource, "CapiManagerUtility::encryptFinal");
    return encryptUpdate(key, data, result, true);
}

bool CapiManagerUtility::decryptUpdate(HCRYPTKEY key, TVKBuffer const& data, TVKBuffer& result, bool final) {
    OperationTrace const trace(kSource, "CapiManagerUtility::decryptUpdate");
    DWORD dataLength = lengthOf(data);
    if (!CryptDecrypt(key, 0, final, 0, storageOf(data), &dataLength)) {
        raiseWithLastError(kSource, errorDecryption, "CryptDecrypt() return values rc=0x");
    }
    result = bufferOf(dataLength, data.getValue());
    return true;
}

bool CapiManagerUtility::decryptFinal(HCRYPTKEY key, TVKBuffer const& data, TVKBuffer& result) {
    OperationTrace const trace(kSource, "CapiManagerUtility::decryptFinal");
    return decryptUpdate(key, data, result, true);
}

bool CapiManagerUtility::signInit(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTHASH* hash) {
    OperationTrace const trace(kSource, "CapiManagerUtility::signInit");
    if (!CryptCreateHash(provider, algorithm, 0, 0, hash)) {
        raise(kSource, errorSigning, TVKString());
    }
    return true;
}

bool CapiManagerUtility::signUpdate(HCRYPTHASH hash, TVKBuffer const& data, bool hashData) {
    OperationTrace const trace(kSource, "CapiManagerUtility::signUpdate");
    if (hashData) {
        if (!CryptHashData(hash, data.getValue(), lengthOf(data), 0)) {
            raise(kSource, errorSigning, TVKString());
        }
        return true;
    }
    // An MD5 and a SHA-1 digest: the platform takes the length from the algorithm and reads that many bytes.
    constexpr unsigned int digestLength = 36;
    TVKBuffer value(data);
    if (value.getLength() < digestLength) {
        TVKBuffer const zeros(digestLength - static_cast<unsigned int>(value.getLength()), nullptr);
        value.append(static_cast<unsigned int>(zeros.getLength()), zeros.getValue());
    }
    if (!CryptSetHashParam(hash, HP_HASHVAL, value.getValue(), 0)) {
        raiseWithLastError(kSource, errorSigning, "CryptSetHashParam() return values rc=0x");
    }
    return true;
}

bool CapiManagerUtility::signFinal(HCRYPTHASH hash, TVKBuffer& signature, unsigned long keySpec) {
    OperationTrace const trace(kSource, "CapiManagerUtility::signFinal");
    DWORD size = 0;
    if (!CryptSignHashA(hash, toDword(keySpec), nullptr, 0, nullptr, &size)) {
        raise(kSource, errorSigning, TVKString());
    }
    auto const buffer = std::make_unique<BYTE[]>(size);
    if (!CryptSignHashA(hash, toDword(keySpec), nullptr, 0, buffer.get(), &size)) {
        raise(kSource, errorSigning, TVKString());
    }
    signature = bufferOf(size, buffer.get());
    return true;
}

bool CapiManagerUtility::verifyInit(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTHASH* hash) {
    OperationTrace const trace(kSource, "CapiManagerUtility::verifyInit");
    if (!CryptCreateHash(provider, algorithm, 0, 0, hash)) {
        raise(kSource, errorVerification, TVKString());
    }
    return true;
}

bool CapiManagerUtility::verifyUpdate(HCRYPTHASH hash, TVKBuffer const& data) {
    OperationTrace const trace(kSource, "CapiManagerUtility::verifyUpdate");
    if (!CryptHashData(hash, data.getValue(), lengthOf(data), 0)) {
        raise(kSource, errorVerification, TVKString());
    }
    return true;
}

bool CapiManagerUtility::verifyFinal(HCRYPTHASH hash, TVKBuffer const& signature, HCRYPTKEY publicKey) {
    OperationTrace const trace(kSource, "CapiManagerUtility::verifyFinal");
    if (!CryptVerifySignatureA(hash, signature.getValue(), lengthOf(signature), publicKey, nullptr, 0)) {
        raise(kSource, errorVerification, TVKString());
    }
    return true;
}

bool CapiManagerUtility::getKeyInCert(PCCERT_CONTEXT cert, HCRYPTPROV* provider, HCRYPTKEY* key) {
    OperationTrace const trace(kSource, "CapiManagerUtility::getKeyInCert");
    DWORD keySpec = 0;
    if (!CryptAcquireCertificatePrivateKey(cert, 0, nullptr, provider, &keySpec, nullptr)) {
        raiseWithLastError(kSource, errorKeyNotReached,
                           "CryptAcquireCertificatePrivateKey() return values rc=0x");
    }
    if (!CryptGetUserKey(*provider, keySpec, key)) {
        raiseWithLastError(kSource, errorKeyNotReached, "CryptGetUserKey() return values rc=0x");
    }
    return true;
}

namespace {

enum StoreKind : unsigned long { storeCA = 0, storeMY = 1, storeUserDS = 2, storeROOT = 3 };

constexpr char kPersonalStore[] = "MY";

HCERTSTORE openSystemStore(HCRYPTPROV provider, DWORD scope, wchar_t const* name) {
    return CertOpenStore(CERT_STORE_PROV_SYSTEM_W, CapiManagerUtility::encoding, provider,
                         scope | CERT_STORE_OPEN_EXISTING_FLAG, name);
}

HCERTSTORE openJoinedStore(HCRYPTPROV provider, wchar_t const* name, bool* adminMode) {
    OwnedStore user(openSystemStore(provider, CERT_SYSTEM_STORE_CURRENT_USER, name));
    if (!user.isSet()) {
        raise(kSource, errorNotOpened, CapiManagerUtility::HandleError());
    }
    OwnedStore machine(openSystemStore(provider, CERT_SYSTEM_STORE_LOCAL_MACHINE, name));
    if (!machine.isSet()) {
        return user.release();
    }
    if (!CertAddStoreToCollection(machine.get(), user.get(), CERT_PHYSICAL_STORE_ADD_ENABLE_FLAG, 0)) {
        raise(kSource, errorNotOpened, CapiManagerUtility::HandleError());
    }
    *adminMode = true;
    return machine.release();
}

} // namespace

HCERTSTORE CapiManagerUtility::openCertStore(HCRYPTPROV provider, unsigned long storeKind, bool* adminMode) {
    OperationTrace const trace(kSource, "CapiManagerUtility::openCertStore");
    switch (storeKind) {
    case storeCA:
        return openJoinedStore(provider, L"CA", adminMode);
    case storeROOT:
        return openJoinedStore(provider, L"ROOT", adminMode);
    case storeMY:
        return CertOpenSystemStoreA(provider, kPersonalStore);
    case storeUserDS:
        return CertOpenSystemStoreA(provider, "UserDS");
    default:
        raise(kSource, errorNotOpened, "We ONLY support to open certificate store with MY, UserDS, CA, ROOT");
    }
}

PCCERT_CONTEXT CapiManagerUtility::getNextCertificateInStore(HCERTSTORE store, PCCERT_CONTEXT previous) {
    OperationTrace const trace(kSource, "CapiManagerUtility::getNextCertificateInStore");
    return CertEnumCertificatesInStore(store, previous);
}

PCCERT_CONTEXT CapiManagerUtility::findCertificateInStore(HCERTSTORE store, unsigned long encodingType,
                                                          unsigned long findFlags, unsigned long findType,
                                                          void const* findPara, PCCERT_CONTEXT previous) {
    OperationTrace const trace(kSource, "CapiManagerUtility::findCertificateInStore");
    return CertFindCertificateInStore(store, toDword(encodingType), toDword(findFlags), toDword(findType),
                                      findPara, previous);
}

PCCERT_CONTEXT CapiManagerUtility::getNextPrivateKeyInStore(HCERTSTORE store, PCCERT_CONTEXT previous) {
    OperationTrace const trace(kSource, "CapiManagerUtility::getNextPrivateKeyInStore");
    DWORD const id = CERT_KEY_PROV_INFO_PROP_ID;
    OwnedCertificate current(previous);
    do {
        current = OwnedCertificate(
            findCertificateInStore(store, encoding, 0, CERT_FIND_PROPERTY, &id, current.release()));
        TVKBuffer scratch;
        if (!current.isSet() || isCertWithPrivateKey(current.get(), scratch)) {
            break;
        }
    } while (true);
    return current.release();
}

bool CapiManagerUtility::isCertWithPrivateKey(PCCERT_CONTEXT cert, TVKBuffer& keyProvInfo) {
    OperationTrace const trace(kSource, "CapiManagerUtility::isCertWithPrivateKey");
    auto const block = readKeyProvInfo(cert);
    if (block == nullptr) {
        return false;
    }
    auto const* property = reinterpret_cast<CRYPT_KEY_PROV_INFO const*>(block.get());
    if (property->pwszContainerName != nullptr && property->pwszProvName != nullptr) {
        CRYPT_KEY_PROV_INFO image;
        std::memset(&image, 0, sizeof image);
        image.pwszContainerName = TVKWideInternTable::intern(property->pwszContainerName);
        image.pwszProvName = TVKWideInternTable::intern(property->pwszProvName);
        image.dwProvType = property->dwProvType;
        image.dwFlags = property->dwFlags;
        image.dwKeySpec = property->dwKeySpec;
        keyProvInfo = TVKBuffer(sizeof image, reinterpret_cast<unsigned char const*>(&image));
    }
    return property->dwKeySpec == AT_SIGNATURE || property->dwKeySpec == AT_KEYEXCHANGE;
}

bool CapiManagerUtility::getLabel(PCCERT_CONTEXT cert, unsigned long nameType, unsigned long flags,
                                  TVKBuffer& label) {
    OperationTrace const trace(kSource, "CapiManagerUtility::getLabel");
    DWORD const length = CertGetNameStringA(cert, toDword(nameType), toDword(flags), nullptr, nullptr, 0);
    auto const buffer = std::make_unique<char[]>(length + std::size_t{1});
    bool const read =
        CertGetNameStringA(cert, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, buffer.get(), length + 1) != 0;
    label = read ? bufferOf(length + 1, reinterpret_cast<BYTE const*>(buffer.get())) : TVKBuffer();
    return read && length != 0;
}

bool CapiManagerUtility::getCertFriendlyName(PCCERT_CONTEXT cert, TVKBuffer& name) {
    OperationTrace const trace(kSource, "CapiManagerUtility::getCertFriendlyName");
    DWORD size = 0;
    if (CertGetCertificateContextProperty(cert, CERT_FRIENDLY_NAME_PROP_ID, nullptr, &size)) {
        auto const buffer = std::make_unique<BYTE[]>(size + std::size_t{1});
        if (CertGetCertificateContextProperty(cert, CERT_FRIENDLY_NAME_PROP_ID, buffer.get(), &size)) {
            name = bufferOf(size + 1, buffer.get());
            return true;
        }
    }
    name = TVKBuffer();
    return false;
}

namespace {

// Sets the friendly name to a text of `length` narrow characters. `wide` has room for as many and a
// terminator, zero behind the text.
void storeFriendlyName(PCCERT_CONTEXT cert, wchar_t* wide, unsigned long length) {
    CRYPT_DATA_BLOB blob;
    blob.cbData = static_cast<DWORD>((length + std::size_t{1}) * sizeof(wchar_t));
    blob.pbData = reinterpret_cast<BYTE*>(wide);
    if (!CertSetCertificateContextProperty(cert, CERT_FRIENDLY_NAME_PROP_ID, 0, &blob)) {
        raise(kSource, errorAddFailed, "add certificate label fail");
    }
}

} // namespace

bool CapiManagerUtility::setCertFriendlyName(PCCERT_CONTEXT cert, TVKString const& name) {
    OperationTrace const trace(kSource, "CapiManagerUtility::setCertFriendlyName");
    auto const wide = std::make_unique<wchar_t[]>(name.length() + std::size_t{1});
    if (!widen(name, wide.get())) {
        raise(kSource, errorAddFailed, "add certificate label fail");
    }
    storeFriendlyName(cert, wide.get(), name.length());
    return true;
}

bool CapiManagerUtility::getPublicKeyInfo(HCRYPTPROV provider, unsigned long keySpec, TVKBuffer& info) {
    OperationTrace const trace(kSource, "CapiManagerUtility::getPublicKeyInfo");
    DWORD size = 0;
    bool const sized = CryptExportPublicKeyInfo(provider, toDword(keySpec), encoding, nullptr, &size) != 0;
    auto const block = std::make_unique<BYTE[]>(std::max<std::size_t>(size, sizeof(CERT_PUBLIC_KEY_INFO)));
    auto* const structure = reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(block.get());
    if (!CryptExportPublicKeyInfo(provider, toDword(keySpec), encoding, structure, &size)) {
        return false;
    }
    info = bufferOf(size, block.get());
    return sized;
}

wchar_t* CapiManagerUtility::convertWildChar(TVKString const& text) {
    OperationTrace const trace(kSource, "CapiManagerUtility::convertWildChar");
    std::size_t const characters = text.length() + std::size_t{1};
    auto* const wide = static_cast<wchar_t*>(::operator new(characters * sizeof(wchar_t)));
    if (!widen(text, wide)) {
        ::operator delete(wide);
        raiseNotConvertible();
    }
    return wide;
}

PCCERT_CONTEXT CapiManagerUtility::createSelfSignCertificate(TVKBuffer const& subject,
                                                             CRYPT_KEY_PROV_INFO* keyProvInfo,
                                                             CRYPT_ALGORITHM_IDENTIFIER* algorithm,
                                                             SYSTEMTIME* endTime) {
    CERT_NAME_BLOB name;
    name.cbData = lengthOf(subject);
    name.pbData = storageOf(subject);
    OwnedCertificate const cert(
        CertCreateSelfSignCertificate(0, &name, 0, keyProvInfo, algorithm, nullptr, endTime, nullptr));
    if (!cert.isSet()) {
        raiseWithLastError(kSource, errorAddFailed, "create self sign certificate fail. return values rc=0x");
    }
    OwnedProvider provider;
    DWORD keySpec = 0;
    if (!CryptAcquireCertificatePrivateKey(cert.get(), 0, nullptr, provider.receive(), &keySpec, nullptr)) {
        raiseWithLastError(kSource, errorAddFailed, "get Key Provider fail. return values rc=0x");
    }
    OwnedStore const store(CertOpenSystemStoreA(provider.get(), kPersonalStore));
    OwnedCertificate added;
    if (!store.isSet() ||
        !CertAddCertificateContextToStore(store.get(), cert.get(), CERT_STORE_ADD_ALWAYS, added.receive())) {
        raiseWithLastError(kSource, errorAddFailed,
                           "Add certificate to personal certificate store fail. return values rc=0x");
    }
    return added.release();
}

bool CapiManagerUtility::deleteCertificate(PCCERT_CONTEXT cert) {
    OperationTrace const trace(kSource, "CapiManagerUtility::deleteCertificate");
    if (CertDeleteCertificateFromStore(cert)) {
        return true;
    }
    DWORD const error = GetLastError();
    if (error == static_cast<DWORD>(E_ACCESSDENIED)) {
        raise(kSource, errorDeleteFailed,
              "the store was opened as read-only and a delete operation is not allowed");
    }
    if (error == ERROR_CANCELLED) {
        raise(kSource, errorCancelled, "delete certificate");
    }
    raise(kSource, errorDeleteFailed, "failed in CertDeleteCertificate()");
}

// ---- Adding ----

HCRYPTPROV CapiManagerUtility::addPrivateKey(TVKKRYKey const& key) {
    OperationTrace const trace(kSource, "CapiManagerUtility::addPrivateKey");
    if (key.getFormat() == TVKKRYKey::KeyRecord) {
        TVKCAPIASNKeyRecord const record(key.getKeyBlob());
        OwnedProvider provider;
        OwnedKey keyHandle;
        DWORD keySpec = 0;
        CspManagerUtility::getCapiKeyProv(record.getObjectId(), provider.receive(), &keySpec,
                                          keyHandle.receive(), false);
        keyHandle.reset();
        return provider.release();
    }
    CRYPT_PKCS8_IMPORT_PARAMS parameters;
    std::memset(&parameters, 0, sizeof parameters);
    parameters.PrivateKey.cbData = lengthOf(key.getKeyBlob());
    parameters.PrivateKey.pbData = storageOf(key.getKeyBlob());
    parameters.pResolvehCryptProvFunc = cryptResolvehCryptProvFunc;
    parameters.pVoidResolveFunc = reinterpret_cast<void*>(&voidResolveFunc);
    HCRYPTPROV provider = 0;
    if (!CryptImportPKCS8(parameters, CRYPT_EXPORTABLE, &provider, nullptr)) {
        auto const error = static_cast<unsigned int>(GetLastError());
        char text[64];
        std::snprintf(text, sizeof text, "Import private key fail. return values rc=0x%x", error);
        raise(kSource, errorAddFailed, text);
    }
    return provider;
}

BOOL WINAPI CapiManagerUtility::cryptResolvehCryptProvFunc(CRYPT_PRIVATE_KEY_INFO* /*keyInfo*/,
                                                           HCRYPTPROV* provider, void* context) {
    OperationTrace const trace(kSource, "CapiManagerUtility::cryptResolvehCryptProvFunc");
    if (context != nullptr) {
        voidResolveFunc();
    }
    auto const [cspName, containerName] = [] {
        std::lock_guard<TVKProcessMutex> const guard(s_lastManagerMutex);
        return std::pair(s_cspName, s_containerName);
    }();
    TVKString const container = CspManagerUtility::makeDefaultLabel(containerName);
    if (context != nullptr) {
        voidResolveFunc();
    }
    if (!CryptAcquireContextA(provider, container.c_str(), cspName.c_str(), PROV_RSA_FULL, CRYPT_NEWKEYSET)) {
        raiseWithLastError(kSource, errorKeyNotReached, "CryptAcquireContext() return values rc=0x");
    }
    return TRUE;
}

unsigned long CapiManagerUtility::voidResolveFunc() {
    OperationTrace const trace(kSource, "CapiManagerUtility::voidResolveFunc");
    return 0;
}

namespace {

[[noreturn]] void raiseNotAdded() {
    raise(kSource, GetLastError() == ERROR_CANCELLED ? errorCancelled : errorAddFailed, "add certificate");
}

constexpr char kKeyInfoNotSet[] = "add certificate key info property fail";

// Ties a certificate to the exchange key of the provider handle's container. The certificate's context takes
// the handle over.
void storeKey(PCCERT_CONTEXT cert, TVKString const& cspName, OwnedProvider& provider) {
    TVKString containerName;
    // Without its name the certificate would be tied to another container, the default one.
    if (!CapiManagerUtility::getProvParam(provider.get(), PP_CONTAINER, containerName)) {
        raise(kSource, errorAddFailed, kKeyInfoNotSet);
    }
    if (!KeyProvInfo(containerName, cspName, AT_KEYEXCHANGE, CERT_SET_KEY_CONTEXT_PROP_ID).setOn(cert)) {
        raise(kSource, errorAddFailed, kKeyInfoNotSet);
    }
    CERT_KEY_CONTEXT context;
    std::memset(&context, 0, sizeof context);
    context.cbSize = sizeof context;
    context.hCryptProv = provider.get();
    context.dwKeySpec = AT_KEYEXCHANGE;
    if (!CertSetCertificateContextProperty(cert, CERT_KEY_CONTEXT_PROP_ID, 0, &context)) {
        raise(kSource, errorAddFailed, "add certificate key context fail");
    }
    provider.release();
}

} // namespace

bool CapiManagerUtility::addCertificate(CSPManager& manager, unsigned long encodingType, TVKBuffer const& der,
                                        TVKString const& label, unsigned long disposition,
                                        TVKKRYKey const& key, bool withKey) {
    OperationTrace const trace(kSource, "CapiManagerUtility::addCertificate");
    // Nothing is changed for a label that can't be set.
    requireConvertible(label);
    HCERTSTORE store = manager.getSystemStore();
    TVKString const cspName = manager.getCSPName();
    OwnedProvider provider;
    OwnedStore personal;
    if (withKey) {
        provider.reset(addPrivateKey(key));
        personal.reset(CertOpenSystemStoreA(provider.get(), kPersonalStore));
        // The platform would take no store for a wish for a certificate outside of every store.
        if (!personal.isSet()) {
            raiseNotAdded();
        }
        store = personal.get();
    }
    OwnedCertificate added;
    if (!CertAddEncodedCertificateToStore(store, toDword(encodingType), der.getValue(), lengthOf(der),
                                          toDword(disposition), added.receive())) {
        raiseNotAdded();
    }
    WideText const wide(convertWildChar(label));
    storeFriendlyName(added.get(), wide.get(), label.length());
    if (withKey) {
        storeKey(added.get(), cspName, provider);
    }
    return true;
}
