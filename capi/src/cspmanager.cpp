#include "cspmanager.h"

#include "capiglobal.h"
#include "capikryalgorithmfactory.h"
#include "capimanagerutility.h"
#include "cspmanagerutility.h"
#include "failure.h"
#include "platformhandle.h"
#include "tracing.h"
#include "widetext.h"

#include <tvkcore/asn/tvkasnutility.h>
#include <tvkcore/asn/tvkcapiasnkeyrecord.h>
#include <tvkcore/base/tvkexception.h>

#include <array>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace {

constexpr SourceFile kSource{"./capi/src/cspmanager", 2048};

// The provider whose handle every manager holds, whatever name its caller gave.
constexpr char kDefaultProvider[] = "Microsoft Enhanced Cryptographic Provider v1.0";

constexpr unsigned long kPersonalStore = 1;

[[noreturn]] void raiseNotOpened(TVKString const& cspName) {
    if (cspName.size() == 0) {
        raise(kSource, errorNotOpened, CapiManagerUtility::HandleError());
    }
    switch (GetLastError()) {
    case static_cast<DWORD>(NTE_PROV_DLL_NOT_FOUND):
        raise(kSource, errorProviderNotAvailable,
              "The provider DLL file does not exist or not on the current path");
    case static_cast<DWORD>(NTE_PROVIDER_DLL_FAIL):
        raise(kSource, errorProviderNotAvailable,
              "The provider DLL file could not be loaded or failed to initialize.");
    default:
        raise(kSource, errorProviderNotAvailable, CapiManagerUtility::HandleError());
    }
}

} // namespace

CSPManager::CSPManager(TVKString const& cspName, unsigned long storeKind) {
    OperationTrace const trace(kSource, "CSPManager::ctor");
    auto data = std::make_unique<CSPManagerData>();
    OwnedProvider provider;
    if (!CapiManagerUtility::getCSPHandle(provider.receive(), nullptr, kDefaultProvider, PROV_RSA_FULL, 0)) {
        raiseNotOpened(cspName);
    }
    bool const isDefault = cspName.size() == 0 || cspName.compare(kDefaultProvider) == 0;
    data->cspName = isDefault ? TVKString(kDefaultProvider) : cspName;
    // The platform isn't waited for under the lock. A container name that it doesn't tell stays as it was.
    TVKString containerName;
    {
        std::lock_guard<TVKProcessMutex> const guard(s_lastManagerMutex);
        containerName = s_containerName;
    }
    CapiManagerUtility::getProvParam(provider.get(), PP_CONTAINER, containerName);
    {
        std::lock_guard<TVKProcessMutex> const guard(s_lastManagerMutex);
        s_cspName = data->cspName;
        s_containerName = containerName;
    }
    bool admin = false;
    data->hardwareCSP = !isDefault && storeKind == kPersonalStore;
    OwnedStore store(data->hardwareCSP
                         ? CapiManagerUtility::getCertFromSmartCard(data->cspName)
                         : CapiManagerUtility::openCertStore(provider.get(), storeKind, &admin));
    if (!store.isSet()) {
        raise(kSource, errorNotOpened, CapiManagerUtility::HandleError());
    }
    data->hCryptProv = provider.release();
    data->hCertStore = store.release();
    data->certStoreWithAdminMode = admin;
    block = data.release();
}

CSPManager::CSPManager(CSPManager const& other) : TVKCspManager() {
    tvk_atomic_swap(&other.block->count, 1);
    block = other.block;
}

CSPManager::~CSPManager() {
    OperationTrace const trace(kSource, "CSPManager::dtor");
    if (tvk_atomic_swap(&block->count, -1) == 1) {
        releaseMatch(nullptr);
        CryptReleaseContext(block->hCryptProv, 0);
        CertCloseStore(block->hCertStore, 0);
        delete block;
    }
}

TVKCspManager* CSPManager::duplicate() const {
    OperationTrace const trace(kSource, "duplicate");
    return new CSPManager(*this);
}

HCRYPTPROV CSPManager::gethCryptProv() {
    OperationTrace const trace(kSource, "gethCryptProv");
    return block->hCryptProv;
}

HCERTSTORE CSPManager::getSystemStore() {
    OperationTrace const trace(kSource, "getSystemStore");
    return block->hCertStore;
}

TVKString CSPManager::getKeyContainerName(HCRYPTPROV provider) {
    OperationTrace const trace(kSource, "getKeyContainerName");
    TVKString name;
    CapiManagerUtility::getProvParam(provider, PP_CONTAINER, name);
    return name;
}

// ---- Walks ----

TVKCspManager::Iterator* CSPManager::getKeyIterator() {
    OperationTrace const trace(kSource, "CSPManager::getKeyIterator()");
    return new CspManagerKeyIterator;
}

TVKCspManager::Iterator* CSPManager::getCertIterator() {
    OperationTrace const trace(kSource, "CSPManager::getCertIterator()");
    return new CspManagerCertIterator;
}

TVKCspManager::Iterator* CSPManager::getKeyCertIterator() {
    OperationTrace const trace(kSource, "CSPManager::getKeyCertIterator()");
    return new CspManagerKeyCertIterator;
}

TVKCspManager::Iterator* CSPManager::getKeyCertReqIterator() {
    OperationTrace const trace(kSource, "CSPManager::getKeyCertReqIterator()");
    return new CspManagerKeyIterator;
}

TVKKeyItem* CSPManager::getNextKeyItem(Iterator& /*iterator*/) {
    OperationTrace const trace(kSource, "CSPManager::getNextKeyItem()");
    return nullptr;
}

namespace {

CspManagerCursorIterator& cursorOf(TVKCspManager::Iterator& iterator) {
    auto* const positioned = dynamic_cast<CspManagerCursorIterator*>(&iterator);
    if (positioned == nullptr) {
        throw TVKException(kSource.path, __LINE__, TVKCORE_WRONG_ATTRIBUTE_TYPE,
                           "the iterator is for a walk without certificates");
    }
    return *positioned;
}

// The next certificate that the joined store shows. One whose access state is that of a system store alone
// comes through the user's store from the machine's, which shows it itself. Where the state can't be read, a
// certificate goes the way of the one before it.
PCCERT_CONTEXT nextShownCertificate(HCERTSTORE store, PCCERT_CONTEXT previous) {
    bool skip = false;
    std::array<BYTE, 4> state{};
    DWORD length = state.size();
    PCCERT_CONTEXT current = previous;
    do {
        current = CapiManagerUtility::getNextCertificateInStore(store, current);
        if (current != nullptr &&
            CertGetCertificateContextProperty(current, CERT_ACCESS_STATE_PROP_ID, state.data(), &length)) {
            skip = state[0] == CERT_ACCESS_STATE_SYSTEM_STORE_FLAG;
        }
    } while (current != nullptr && skip);
    return current;
}

} // namespace

TVKCertItem* CSPManager::getNextCertItem(Iterator& iterator) {
    OperationTrace const trace(kSource, "CSPManager::getNextCertItem()");
    CspManagerCursorIterator& position = cursorOf(iterator);
    PCCERT_CONTEXT const previous = position.cursor;
    position.cursor = nullptr;
    PCCERT_CONTEXT const current =
        block->certStoreWithAdminMode
            ? nextShownCertificate(block->hCertStore, previous)
            : CapiManagerUtility::getNextCertificateInStore(block->hCertStore, previous);
    position.cursor = current;
    return current == nullptr ? nullptr : CspManagerUtility::makeCertItem(current);
}

TVKKeyCertItem* CSPManager::getNextKeyCertItem(Iterator& iterator) {
    OperationTrace const trace(kSource, "CSPManager::getNextKeyCertItem()");
    CspManagerCursorIterator& position = cursorOf(iterator);
    PCCERT_CONTEXT const previous = position.cursor;
    position.cursor = nullptr;
    PCCERT_CONTEXT const current = CapiManagerUtility::getNextPrivateKeyInStore(block->hCertStore, previous);
    position.cursor = current;
    return current == nullptr ? nullptr : CspManagerUtility::makeKeyCertItem(current);
}

TVKKeyCertReqItem* CSPManager::getNextKeyCertReqItem(Iterator& /*iterator*/) {
    OperationTrace const trace(kSource, "CSPManager::getNextKeyCertReqItem()");
    return nullptr;
}

// ---- Lookup ----
// Keys without a certificate and certificate requests don't exist in this store.

TVKKeyCertReqItem* CSPManager::getItem(KeyCertReqUniqueIndex /*index*/, TVKASNObject const& /*attribute*/) {
    OperationTrace const trace(kSource, "CSPManager::getItem(KeyCertReqUniqueIndex)");
    return nullptr;
}

namespace {

// What a unique index looks at; an index that isn't known finds nothing.
CertSearchKind searchKindOf(unsigned int uniqueIndex) {
    switch (uniqueIndex) {
    case CertUniqueIndexLabel:
        return searchLabel;
    case CertUniqueIndexSignature:
        return searchSignature;
    case CertUniqueIndexUnsignedCertificate:
        return searchUnsignedCertificate;
    case CertUniqueIndexIssuerAndSerial:
        return searchIssuerAndSerialNumber;
    default:
        return searchNothing;
    }
}

// What a multi index looks at; an index that isn't known finds everything.
CertSearchKind multiSearchKindOf(unsigned int multiIndex) {
    switch (multiIndex) {
    case CertMultiIndexSubject:
        return searchSubjectName;
    case CertMultiIndexSubjectPublicKey:
        return searchSubjectPublicKeyInfo;
    default:
        return searchAny;
    }
}

// Puts the key's material in the place of the reference, where the provider lets it out.
void convertKey(TVKKeyCertItem& item) {
    TVKKRYKey key = item.getKey();
    TVKCAPIASNKeyRecord const record(key.getKeyBlob());
    TVKBuffer material;
    if (CspManagerUtility::convertRealKey(record.getObjectId(), material)) {
        key.setKeyBlob(material);
        key.setFormat(TVKKRYKey::PrivateKeyInfo);
        item.setKey(key);
    }
}

} // namespace

TVKKeyCertItem* CSPManager::getItem(KeyCertUniqueIndex index, TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CSPManager::getItem(KeyCertUniqueIndex)");
    std::unique_ptr<TVKKeyCertItem> item(
        CspManagerUtility::findCertificate<TVKKeyCertItem>(*this, nullptr, searchKindOf(index), attribute));
    if (item != nullptr && index == KeyCertUniqueIndexLabel) {
        convertKey(*item);
    }
    return item.release();
}

TVKCertItem* CSPManager::getItem(CertUniqueIndex index, TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CSPManager::getItem(CertUniqueIndex)");
    return CspManagerUtility::findCertificate<TVKCertItem>(*this, nullptr, searchKindOf(index), attribute);
}

TVKKeyItem* CSPManager::getItem(KeyUniqueIndex /*index*/, TVKASNObject const& /*attribute*/) {
    OperationTrace const trace(kSource, "CSPManager::getItem(KeyUniqueIndex)");
    return nullptr;
}

TVKKeyCertReqItemContainer* CSPManager::getItem(KeyCertReqMultiIndex /*index*/,
                                                TVKASNObject const& /*attribute*/) {
    OperationTrace const trace(kSource, "CSPManager::getItem(KeyCertReqMultiIndex)");
    return new TVKKeyCertReqItemContainer(TVKOwnershipOwned);
}

TVKKeyCertItemContainer* CSPManager::getItem(KeyCertMultiIndex index, TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CSPManager::getItem(KeyCertMultiIndex)");
    return CspManagerUtility::findCertificate<TVKKeyCertItemContainer>(*this, nullptr,
                                                                       multiSearchKindOf(index), attribute);
}

TVKCertItemContainer* CSPManager::getItem(CertMultiIndex index, TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CSPManager::getItem(CertMultiIndex)");
    return CspManagerUtility::findCertificates(*this, multiSearchKindOf(index), attribute);
}

TVKKeyItemContainer* CSPManager::getItem(KeyMultiIndex /*index*/, TVKASNObject const& /*attribute*/) {
    OperationTrace const trace(kSource, "CSPManager::getItem(KeyMultiIndex)");
    return new TVKKeyItemContainer(TVKOwnershipOwned);
}

unsigned int CSPManager::getItemCount(KeyCertReqMultiIndex index, TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CSPManager::getItemCount(KeyCertReqMultiIndex)");
    std::unique_ptr<TVKKeyCertReqItemContainer> const items(getItem(index, attribute));
    return items->size();
}

unsigned int CSPManager::getItemCount(KeyCertMultiIndex index, TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CSPManager::getItemCount(KeyCertMultiIndex)");
    std::unique_ptr<TVKKeyCertItemContainer> const items(getItem(index, attribute));
    return items->size();
}

unsigned int CSPManager::getItemCount(CertMultiIndex index, TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CSPManager::getItemCount(CertMultiIndex)");
    std::unique_ptr<TVKCertItemContainer> const items(getItem(index, attribute));
    return items->size();
}

unsigned int CSPManager::getItemCount(KeyMultiIndex index, TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CSPManager::getItemCount(KeyMultiIndex)");
    std::unique_ptr<TVKKeyItemContainer> const items(getItem(index, attribute));
    return items->size();
}

// ---- Change ----

unsigned int CSPManager::insertItem(TVKKeyCertReqItem& /*item*/) {
    OperationTrace const trace(kSource, "CSPManager::insertItem(TVKKeyCertReqItem)");
    return 0;
}

namespace {

// The item of the manager's store whose unsigned certificate is the item's, or null. Throws the toolkit's
// exception for a certificate that doesn't decode.
template <typename Item>
std::unique_ptr<TVKCertItem> findSame(CSPManager& manager, Item const& item) {
    auto const certificate = std::make_unique<TVKASNx509Certificate>(TVKASNNotSecure);
    TVKASNUtility::setDEREncoding(item.getCertificateDER().get(), *certificate);
    return std::unique_ptr<TVKCertItem>(CspManagerUtility::findCertificate<TVKCertItem>(
        manager, nullptr, searchUnsignedCertificate, certificate->tbsCertificate));
}

bool add(CSPManager& manager, TVKCertItem const& item, bool addNew) {
    return CspManagerUtility::addCertificate(manager, item, item.getLabelAsString(), addNew);
}

bool add(CSPManager& manager, TVKKeyCertItem const& item, bool addNew) {
    return CspManagerUtility::addCertificate(manager, item, item.getLabelAsString(), addNew, item.getKey());
}

template <typename Item>
unsigned int insertNew(CSPManager& manager, Item const& item) {
    if (findSame(manager, item) != nullptr) {
        raise(kSource, errorCertificateNotCreated, "certificate exist");
    }
    return add(manager, item, true) ? 1 : 0;
}

template <typename Item>
unsigned int updateExisting(CSPManager& manager, Item const& item) {
    return findSame(manager, item) != nullptr && add(manager, item, false) ? 1 : 0;
}

} // namespace

unsigned int CSPManager::insertItem(TVKKeyCertItem& item) {
    OperationTrace const trace(kSource, "CSPManager::insertItem(TVKKeyCertItem)");
    return insertNew(*this, item);
}

unsigned int CSPManager::insertItem(TVKCertItem& item) {
    OperationTrace const trace(kSource, "CSPManager::insertItem(TVKCertItem)");
    return insertNew(*this, item);
}

unsigned int CSPManager::insertItem(TVKKeyItem& /*item*/) {
    OperationTrace const trace(kSource, "CSPManager::insertItem(TVKKeyItem)");
    return 0;
}

unsigned int CSPManager::updateItem(TVKStoreItem& /*item*/, unsigned long /*reserved*/) {
    OperationTrace const trace(kSource, "CSPManager::updateItem(TVKStoreItem)");
    return 0;
}

unsigned int CSPManager::updateItem(TVKKeyCertReqItem& /*item*/, unsigned long /*reserved*/) {
    OperationTrace const trace(kSource, "CSPManager::updateItem(TVKKeyCertReqItem)");
    return 0;
}

unsigned int CSPManager::updateItem(TVKKeyCertItem& item, unsigned long /*reserved*/) {
    OperationTrace const trace(kSource, "CSPManager::updateItem(TVKKeyCertItem)");
    return updateExisting(*this, item);
}

unsigned int CSPManager::updateItem(TVKCertItem& item, unsigned long /*reserved*/) {
    OperationTrace const trace(kSource, "CSPManager::updateItem(TVKCertItem)");
    return updateExisting(*this, item);
}

unsigned int CSPManager::updateItem(TVKKeyItem& /*item*/, unsigned long /*reserved*/) {
    OperationTrace const trace(kSource, "CSPManager::updateItem(TVKKeyItem)");
    return 0;
}

namespace {

// Deletes the item that a lookup gave.
template <typename Item>
unsigned int deleteFound(CSPManager& manager, Item* found) {
    std::unique_ptr<Item> const item(found);
    return item == nullptr ? 0 : manager.deleteItem(*item);
}

// Deletes all items that a lookup gave. An exception ends it; what was deleted stays deleted.
template <typename Container>
TVKDeleteCount deleteAllFound(CSPManager& manager, Container* found) {
    std::unique_ptr<Container> const items(found);
    TVKDeleteCount count{0, 0};
    for (auto item = std::unique_ptr<std::remove_pointer_t<decltype(items->pop_front())>>(items->pop_front());
         item != nullptr; item.reset(items->pop_front())) {
        count.deleted += manager.deleteItem(*item);
    }
    return count;
}

} // namespace

unsigned int CSPManager::deleteItem(KeyCertReqUniqueIndex index, TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CSPManager::deleteItem(KeyCertReqUniqueIndex)");
    return deleteFound(*this, getItem(index, attribute));
}

unsigned int CSPManager::deleteItem(KeyCertUniqueIndex index, TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CSPManager::deleteItem(KeyCertUniqueIndex)");
    return deleteFound(*this, getItem(index, attribute));
}

unsigned int CSPManager::deleteItem(CertUniqueIndex index, TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CSPManager::deleteItem(CertUniqueIndex)");
    return deleteFound(*this, getItem(index, attribute));
}

unsigned int CSPManager::deleteItem(KeyUniqueIndex index, TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CSPManager::deleteItem(KeyUniqueIndex)");
    return deleteFound(*this, getItem(index, attribute));
}

unsigned int CSPManager::deleteItem(TVKKeyCertReqItem& /*item*/) {
    OperationTrace const trace(kSource, "CSPManager::deleteItem(TVKKeyCertReqItem)");
    return 0;
}

unsigned int CSPManager::deleteItem(TVKKeyCertItem& item) {
    OperationTrace const trace(kSource, "CSPManager::deleteItem(TVKKeyCertItem)");
    TVKCertItem const& certItem = item.getCertItem();
    if (!CspManagerUtility::deleteCertificate(getSystemStore(), certItem, false)) {
        return 0;
    }
    if (isHardwareCSP()) {
        // The certificate stands in the user's "MY" too. Its key went with the card's.
        bool joined = false;
        OwnedStore const personal(CapiManagerUtility::openCertStore(0, kPersonalStore, &joined));
        if (personal.isSet()) {
            CspManagerUtility::deleteCertificate(personal.get(), certItem, true);
        }
    }
    return 1;
}

unsigned int CSPManager::deleteItem(TVKCertItem& item) {
    OperationTrace const trace(kSource, "CSPManager::deleteItem(TVKCertItem)");
    return CspManagerUtility::deleteCertificate(getSystemStore(), item, false) ? 1 : 0;
}

unsigned int CSPManager::deleteItem(TVKKeyItem& /*item*/) {
    OperationTrace const trace(kSource, "CSPManager::deleteItem(TVKKeyItem)");
    return 0;
}

TVKDeleteCount CSPManager::deleteItems(KeyCertReqMultiIndex index, TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CSPManager::deleteItems(KeyCertReqMultiIndex)");
    return deleteAllFound(*this, getItem(index, attribute));
}

TVKDeleteCount CSPManager::deleteItems(KeyCertMultiIndex index, TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CSPManager::deleteItems(KeyCertMultiIndex)");
    return deleteAllFound(*this, getItem(index, attribute));
}

TVKDeleteCount CSPManager::deleteItems(CertMultiIndex index, TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CSPManager::deleteItems(CertMultiIndex)");
    return deleteAllFound(*this, getItem(index, attribute));
}

TVKDeleteCount CSPManager::deleteItems(KeyMultiIndex index, TVKASNObject const& attribute) {
    OperationTrace const trace(kSource, "CSPManager::deleteItems(KeyMultiIndex)");
    return deleteAllFound(*this, getItem(index, attribute));
}

TVKKRYAlgorithmFactory* CSPManager::getTVKKRYAlgorithmFactory() {
    OperationTrace const trace(kSource, "CSPManager::getTVKKRYAlgorithmFactory()");
    return new CAPIKRYAlgorithmFactory(*this);
}

TVKKeyCertItem* CSPManager::createSelfSignCertificate(TVKString const& label, TVKBuffer const& subject,
                                                      TVKASNValidity const& validity,
                                                      TVKASNAlgorithmID const& algorithm,
                                                      TVKBuffer const& /*extra*/) {
    OperationTrace const trace(kSource, "CSPManager::createSelfSignCertificate()");
    // Nothing is made for a label that can't be set.
    requireConvertible(label);
    TVKString const name = getCSPName();
    OwnedProvider provider;
    if (!CapiManagerUtility::getCSPHandle(provider.receive(), label.c_str(), name.c_str(), PROV_RSA_FULL,
                                          CRYPT_NEWKEYSET)) {
        raiseWithLastError(kSource, errorCertificateNotCreated,
                           "Create self sign certificate fail. return values rc=0x");
    }
    HCRYPTPROV handle = provider.get();
    OwnedCertificate const cert(
        CspManagerUtility::createSelfSignCertificate(&handle, label, subject, validity, algorithm));
    if (!cert.isSet()) {
        return nullptr;
    }
    std::unique_ptr<TVKKeyCertItem> item(CspManagerUtility::makeKeyCertItem(cert.get()));
    if (isHardwareCSP()) {
        CapiManagerUtility::addCertToSmartCard(&handle, cert.get());
    }
    return item.release();
}

// ---- Attributes ----

TVKString CSPManager::getCSPName() {
    OperationTrace const trace(kSource, "getCSPName");
    return TVKString(block->cspName, 0, TVKString::npos);
}

bool CSPManager::isKindOf(TVKString const& name) const { return name.compare("TVKCspManager") == 0; }

TVKString CSPManager::getInstanceName() { return "TVKCspManager"; }

PCCERT_CONTEXT CSPManager::getCurrentCertificate() {
    OperationTrace const trace(kSource, "getCurrentCertificate");
    return block->currentCertificate;
}

void CSPManager::setCurrentCertificate(PCCERT_CONTEXT certificate) {
    OperationTrace const trace(kSource, "setCurrentCertificate");
    block->currentCertificate = certificate;
}

void CSPManager::holdMatch(PCCERT_CONTEXT certificate) { block->match = certificate; }

void CSPManager::releaseMatch(PCCERT_CONTEXT previous) {
    PCCERT_CONTEXT const match = std::exchange(block->match, nullptr);
    if (match != nullptr && match != previous) {
        CertFreeCertificateContext(match);
    }
}

bool CSPManager::isCertStoreWithAdminMode() const {
    OperationTrace const trace(kSource, "CSPManager::isCertStoreWithAdminMode()");
    return block->certStoreWithAdminMode;
}

bool CSPManager::isHardwareCSP() const {
    OperationTrace const trace(kSource, "CSPManager::isHardwareCSP()");
    return block->hardwareCSP;
}

// ---- Iterators ----

bool CspManagerKeyIterator::isKindOf(TVKString const& name) const {
    return name.compare("CspManagerKeyIterator") == 0;
}

TVKString CspManagerKeyIterator::getInstanceName() { return "CspManagerKeyIterator"; }

CspManagerCursorIterator::~CspManagerCursorIterator() {
    if (cursor != nullptr) {
        CertFreeCertificateContext(cursor);
    }
}

bool CspManagerCertIterator::isKindOf(TVKString const& name) const {
    return name.compare("CspManagerCertIterator") == 0;
}

TVKString CspManagerCertIterator::getInstanceName() { return "CspManagerCertIterator"; }

bool CspManagerKeyCertIterator::isKindOf(TVKString const& name) const {
    return name.compare("CspManagerKeyCertIterator") == 0;
}

TVKString CspManagerKeyCertIterator::getInstanceName() { return "CspManagerKeyCertIterator"; }
