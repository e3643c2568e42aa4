#pragma once

#include <tvkcore/base/tvkglobal.h>
#include <tvkcore/store/tvkcspmanager.h>

#include <windows.h>

#include <wincrypt.h>

// What the copies of a CSPManager share.
struct CSPManagerData {
    long count = 1;
    TVKMutex mutex;
    HCRYPTPROV hCryptProv = 0;                   // owned
    HCERTSTORE hCertStore = nullptr;             // owned
    PCCERT_CONTEXT currentCertificate = nullptr; // borrowed: where the latest search stands
    TVKString cspName;
    bool certStoreWithAdminMode = false;
    bool hardwareCSP = false;
    PCCERT_CONTEXT match =
        nullptr; // owned: the certificate of the latest item-form match, until the next search
};

// The key store: one provider handle on the default provider, one certificate store and one provider name.
// Every item that it hands out is made on demand from the store's certificates. Copies share one state; it is
// released with the last of them.
class CSPManager : public TVKCspManager {
public:
    // An empty `cspName` or the default provider's gives a default manager; another name is reported and used
    // where a key is made, while the provider handle stays the default provider's. `storeKind` as
    // CapiManagerUtility's openCertStore takes it; with another provider's name 1 stands for a memory store
    // of the certificates on its card, as they are now. Throws TVKCAPIException 578001 or 578002; 578006 for
    // a key on the card without a certificate that can be taken.
    CSPManager(TVKString const& cspName, unsigned long storeKind);
    CSPManager(CSPManager const& other);
    CSPManager& operator=(CSPManager const&) = delete;
    ~CSPManager() override;

    TVKCspManager* duplicate() const override;
    HCRYPTPROV gethCryptProv() override;
    HCERTSTORE getSystemStore() override;
    TVKString getKeyContainerName(HCRYPTPROV provider) override;

    Iterator* getKeyIterator() override;
    Iterator* getCertIterator() override;
    Iterator* getKeyCertIterator() override;
    Iterator* getKeyCertReqIterator() override;
    TVKKeyItem* getNextKeyItem(Iterator& iterator) override;
    TVKCertItem* getNextCertItem(Iterator& iterator) override;
    TVKKeyCertItem* getNextKeyCertItem(Iterator& iterator) override;
    TVKKeyCertReqItem* getNextKeyCertReqItem(Iterator& iterator) override;

    TVKKeyCertReqItem* getItem(KeyCertReqUniqueIndex index, TVKASNObject const& attribute) override;
    TVKKeyCertItem* getItem(KeyCertUniqueIndex index, TVKASNObject const& attribute) override;
    TVKCertItem* getItem(CertUniqueIndex index, TVKASNObject const& attribute) override;
    TVKKeyItem* getItem(KeyUniqueIndex index, TVKASNObject const& attribute) override;
    TVKKeyCertReqItemContainer* getItem(KeyCertReqMultiIndex index, TVKASNObject const& attribute) override;
    TVKKeyCertItemContainer* getItem(KeyCertMultiIndex index, TVKASNObject const& attribute) override;
    TVKCertItemContainer* getItem(CertMultiIndex index, TVKASNObject const& attribute) override;
    TVKKeyItemContainer* getItem(KeyMultiIndex index, TVKASNObject const& attribute) override;

    unsigned int getItemCount(KeyCertReqMultiIndex index, TVKASNObject const& attribute) override;
    unsigned int getItemCount(KeyCertMultiIndex index, TVKASNObject const& attribute) override;
    unsigned int getItemCount(CertMultiIndex index, TVKASNObject const& attribute) override;
    unsigned int getItemCount(KeyMultiIndex index, TVKASNObject const& attribute) override;

    unsigned int insertItem(TVKKeyCertReqItem& item) override;
    unsigned int insertItem(TVKKeyCertItem& item) override;
    unsigned int insertItem(TVKCertItem& item) override;
    unsigned int insertItem(TVKKeyItem& item) override;
    unsigned int updateItem(TVKStoreItem& item, unsigned long reserved) override;
    unsigned int updateItem(TVKKeyCertReqItem& item, unsigned long reserved) override;
    unsigned int updateItem(TVKKeyCertItem& item, unsigned long reserved) override;
    unsigned int updateItem(TVKCertItem& item, unsigned long reserved) override;
    unsigned int updateItem(TVKKeyItem& item, unsigned long reserved) override;
    unsigned int deleteItem(KeyCertReqUniqueIndex index, TVKASNObject const& attribute) override;
    unsigned int deleteItem(KeyCertUniqueIndex index, TVKASNObject const& attribute) override;
    unsigned int deleteItem(CertUniqueIndex index, TVKASNObject const& attribute) override;
    unsigned int deleteItem(KeyUniqueIndex index, TVKASNObject const& attribute) override;
    unsigned int deleteItem(TVKKeyCertReqItem& item) override;
    unsigned int deleteItem(TVKKeyCertItem& item) override;
    unsigned int deleteItem(TVKCertItem& item) override;
    unsigned int deleteItem(TVKKeyItem& item) override;
    TVKDeleteCount deleteItems(KeyCertReqMultiIndex index, TVKASNObject const& attribute) override;
    TVKDeleteCount deleteItems(KeyCertMultiIndex index, TVKASNObject const& attribute) override;
    TVKDeleteCount deleteItems(CertMultiIndex index, TVKASNObject const& attribute) override;
    TVKDeleteCount deleteItems(KeyMultiIndex index, TVKASNObject const& attribute) override;

    TVKKRYAlgorithmFactory* getTVKKRYAlgorithmFactory() override;
    TVKKeyCertItem* createSelfSignCertificate(TVKString const& label, TVKBuffer const& subject,
                                              TVKASNValidity const& validity,
                                              TVKASNAlgorithmID const& algorithm,
                                              TVKBuffer const& extra) override;
    TVKString getCSPName() override;
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() override;
    PCCERT_CONTEXT getCurrentCertificate() override;
    void setCurrentCertificate(PCCERT_CONTEXT certificate) override;

    // Keeps the certificate at which a search stopped with a match.
    void holdMatch(PCCERT_CONTEXT certificate);

    // Lets go of the certificate that is kept: to the caller when it is `previous`, else it is freed.
    void releaseMatch(PCCERT_CONTEXT previous);

    // True when the store is the local machine's with the user's joined to it.
    bool isCertStoreWithAdminMode() const;

    // True when the store was filled from a card.
    bool isHardwareCSP() const;

private:
    CSPManagerData* block = nullptr;
};

// The iterators hold a position and nothing else. That of key items and of certificate requests has nothing
// to walk.
class CspManagerKeyIterator : public TVKCspManager::Iterator {
public:
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() override;
};

// A position in a walk over certificates: the context that the walk gave last, which belongs to the walk;
// null at the start and after the end.
class CspManagerCursorIterator : public TVKCspManager::Iterator {
public:
    ~CspManagerCursorIterator() override;

    PCCERT_CONTEXT cursor = nullptr;
};

class CspManagerCertIterator : public CspManagerCursorIterator {
public:
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() override;
};

class CspManagerKeyCertIterator : public CspManagerCursorIterator {
public:
    bool isKindOf(TVKString const& name) const override;
    TVKString getInstanceName() override;
};
