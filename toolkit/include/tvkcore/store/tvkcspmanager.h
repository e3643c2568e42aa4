#pragma once

#include <tvkcore/asn/tvkasnx509certificate.h>
#include <tvkcore/base/tvkexport.h>
#include <tvkcore/base/tvkstring.h>
#include <tvkcore/item/tvkitemcontainer.h>
#include <tvkcore/kry/tvkkryalgorithmfactory.h>

#include <windows.h>

#include <wincrypt.h>

// The indexes of a key store. Each value goes with a type of search attribute, named behind it.

enum KeyUniqueIndex { KeyUniqueIndexLabel = 0 };

enum CertUniqueIndex {
    CertUniqueIndexLabel = 0,               // TVKASNUTF8String: the whole label or the friendly name
    CertUniqueIndexSignature = 1,           // TVKASNBitString
    CertUniqueIndexUnsignedCertificate = 2, // TVKASNTBSCertificate
    CertUniqueIndexIssuerAndSerial = 3      // TVKASNIssuerAndSerialNumber
};

enum KeyCertUniqueIndex {
    KeyCertUniqueIndexLabel = 0,
    KeyCertUniqueIndexSignature = 1,
    KeyCertUniqueIndexUnsignedCertificate = 2,
    KeyCertUniqueIndexIssuerAndSerial = 3
};

enum KeyCertReqUniqueIndex { KeyCertReqUniqueIndexLabel = 0 };

enum KeyMultiIndex { KeyMultiIndexAll = 0 };

enum CertMultiIndex {
    CertMultiIndexAll = 0,             // any object, not looked at
    CertMultiIndexSubject = 1,         // TVKASNx500Name
    CertMultiIndexSubjectPublicKey = 2 // TVKASNSubjectPublicKeyInfo
};

enum KeyCertMultiIndex {
    KeyCertMultiIndexAll = 0,
    KeyCertMultiIndexSubject = 1,
    KeyCertMultiIndexSubjectPublicKey = 2
};

enum KeyCertReqMultiIndex { KeyCertReqMultiIndexAll = 0 };

// How many items `deleteItems` deleted.
struct TVKDeleteCount {
    unsigned long deleted;
    unsigned long reserved; // always 0
};

// A key store over one provider and one certificate store. Items, iterators, containers and factories that it
// hands out are new and belong to the caller; items given to it stay the caller's. Changing operations give
// the number of items changed. Failures are exceptions of the toolkit's types; not to find something is none.
class TVK_API TVKCspManager {
public:
    // A position in a walk, for one thread at a time. It may be used while the store that it walks is open.
    class TVK_API Iterator {
    public:
        Iterator();
        virtual ~Iterator();
        Iterator(Iterator const&) = delete;
        Iterator& operator=(Iterator const&) = delete;
        virtual bool isKindOf(TVKString const& name) const = 0;
        virtual TVKString getInstanceName() = 0;
    };

    virtual ~TVKCspManager();

    // A new manager on the same state: one provider handle, one store, one search position.
    virtual TVKCspManager* duplicate() const = 0;

    // Handles of the platform, which stay the manager's.
    virtual HCRYPTPROV gethCryptProv() = 0;
    virtual HCERTSTORE getSystemStore() = 0;

    // The name of the key container that a provider handle is open on; empty where there is none.
    virtual TVKString getKeyContainerName(HCRYPTPROV provider) = 0;

    virtual Iterator* getKeyIterator() = 0;
    virtual Iterator* getCertIterator() = 0;
    virtual Iterator* getKeyCertIterator() = 0;
    virtual Iterator* getKeyCertReqIterator() = 0;

    // The next item of a walk, or null at its end, after which the iterator stands at the start again. Each
    // takes an iterator of its own kind.
    virtual TVKKeyItem* getNextKeyItem(Iterator& iterator) = 0;
    virtual TVKCertItem* getNextCertItem(Iterator& iterator) = 0;
    virtual TVKKeyCertItem* getNextKeyCertItem(Iterator& iterator) = 0;
    virtual TVKKeyCertReqItem* getNextKeyCertReqItem(Iterator& iterator) = 0;

    // The first item that matches, or null.
    virtual TVKKeyCertReqItem* getItem(KeyCertReqUniqueIndex index, TVKASNObject const& attribute) = 0;
    virtual TVKKeyCertItem* getItem(KeyCertUniqueIndex index, TVKASNObject const& attribute) = 0;
    virtual TVKCertItem* getItem(CertUniqueIndex index, TVKASNObject const& attribute) = 0;
    virtual TVKKeyItem* getItem(KeyUniqueIndex index, TVKASNObject const& attribute) = 0;

    // All items that match, in store order; never null.
    virtual TVKKeyCertReqItemContainer* getItem(KeyCertReqMultiIndex index,
                                                TVKASNObject const& attribute) = 0;
    virtual TVKKeyCertItemContainer* getItem(KeyCertMultiIndex index, TVKASNObject const& attribute) = 0;
    virtual TVKCertItemContainer* getItem(CertMultiIndex index, TVKASNObject const& attribute) = 0;
    virtual TVKKeyItemContainer* getItem(KeyMultiIndex index, TVKASNObject const& attribute) = 0;

    virtual unsigned int getItemCount(KeyCertReqMultiIndex index, TVKASNObject const& attribute) = 0;
    virtual unsigned int getItemCount(KeyCertMultiIndex index, TVKASNObject const& attribute) = 0;
    virtual unsigned int getItemCount(CertMultiIndex index, TVKASNObject const& attribute) = 0;
    virtual unsigned int getItemCount(KeyMultiIndex index, TVKASNObject const& attribute) = 0;

    virtual unsigned int insertItem(TVKKeyCertReqItem& item) = 0;
    virtual unsigned int insertItem(TVKKeyCertItem& item) = 0;
    virtual unsigned int insertItem(TVKCertItem& item) = 0;
    virtual unsigned int insertItem(TVKKeyItem& item) = 0;

    // `reserved` isn't read.
    virtual unsigned int updateItem(TVKStoreItem& item, unsigned long reserved) = 0;
    virtual unsigned int updateItem(TVKKeyCertReqItem& item, unsigned long reserved) = 0;
    virtual unsigned int updateItem(TVKKeyCertItem& item, unsigned long reserved) = 0;
    virtual unsigned int updateItem(TVKCertItem& item, unsigned long reserved) = 0;
    virtual unsigned int updateItem(TVKKeyItem& item, unsigned long reserved) = 0;

    virtual unsigned int deleteItem(KeyCertReqUniqueIndex index, TVKASNObject const& attribute) = 0;
    virtual unsigned int deleteItem(KeyCertUniqueIndex index, TVKASNObject const& attribute) = 0;
    virtual unsigned int deleteItem(CertUniqueIndex index, TVKASNObject const& attribute) = 0;
    virtual unsigned int deleteItem(KeyUniqueIndex index, TVKASNObject const& attribute) = 0;

    virtual unsigned int deleteItem(TVKKeyCertReqItem& item) = 0;
    virtual unsigned int deleteItem(TVKKeyCertItem& item) = 0;
    virtual unsigned int deleteItem(TVKCertItem& item) = 0;
    virtual unsigned int deleteItem(TVKKeyItem& item) = 0;

    virtual TVKDeleteCount deleteItems(KeyCertReqMultiIndex index, TVKASNObject const& attribute) = 0;
    virtual TVKDeleteCount deleteItems(KeyCertMultiIndex index, TVKASNObject const& attribute) = 0;
    virtual TVKDeleteCount deleteItems(CertMultiIndex index, TVKASNObject const& attribute) = 0;
    virtual TVKDeleteCount deleteItems(KeyMultiIndex index, TVKASNObject const& attribute) = 0;

    // A factory for algorithm objects that work with keys of this store.
    virtual TVKKRYAlgorithmFactory* getTVKKRYAlgorithmFactory() = 0;

    // Makes a key in a new container called `label` and a certificate for it, signed by itself, with the
    // friendly name `label`. `subject` is the DER encoding of a name; of `validity` only the end is used, of
    // `algorithm` only the object identifier; `extra` has no effect.
    virtual TVKKeyCertItem* createSelfSignCertificate(TVKString const& label, TVKBuffer const& subject,
                                                      TVKASNValidity const& validity,
                                                      TVKASNAlgorithmID const& algorithm,
                                                      TVKBuffer const& extra) = 0;

    // The provider's name.
    virtual TVKString getCSPName() = 0;

    virtual bool isKindOf(TVKString const& name) const = 0;
    virtual TVKString getInstanceName() = 0;

    // The certificate at which the latest search stands; borrowed.
    virtual PCCERT_CONTEXT getCurrentCertificate() = 0;
    virtual void setCurrentCertificate(PCCERT_CONTEXT certificate) = 0;

protected:
    TVKCspManager();
    TVKCspManager(TVKCspManager const&) = default;
    TVKCspManager& operator=(TVKCspManager const&) = default;
};
