#pragma once

#include <tvkcore/base/tvkbuffer.h>
#include <tvkcore/base/tvkstring.h>
#include <tvkcore/store/tvkcapimanager.h>

#include <windows.h>

#include <wincrypt.h>

class CSPManager;
class TVKKRYKey;

// The one place that talks to the platform's providers and certificate stores. Holds no state. Handles and
// contexts that an operation gives back belong to the caller; those passed in stay the caller's unless told
// otherwise. Operations that give bool false read the platform's last error for the caller's use where
// nothing else is said.
class CapiManagerUtility {
public:
    // The encoding of every certificate and public key call.
    static constexpr DWORD encoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

    // ---- Errors and providers ----

    // The text for the platform's last error.
    static TVKString HandleError();

    // The registered providers in the platform's order; a new container, empty when there is none. Throws
    // TVKCAPIException 578002 when one that was announced can't be read.
    static CSPEntryContainer* enumProviders();

    // Opens a provider on a key container, which is made when it is missing. On failure gives false and
    // leaves
    // `*provider` alone.
    static bool getCSPHandle(HCRYPTPROV* provider, char const* container, char const* cspName,
                             unsigned long provType, unsigned long flags);

    // A text parameter of a provider. On failure of the read `value` is as it was.
    static bool getProvParam(HCRYPTPROV provider, unsigned long param, TVKString& value);

    // A parameter of a key, as its bytes. On failure of the read `value` is as it was.
    static bool getKeyParam(HCRYPTKEY key, unsigned long param, TVKBuffer& value);

    // The length of the certificate's public key in bits; 0 when it can't be told.
    static unsigned long getKeySizeInBits(PCCERT_CONTEXT cert);

    // Whether the certificate's key property names this provider, exactly. A certificate without the property
    // belongs to none.
    static bool compareCSPName(TVKString const& cspName, PCCERT_CONTEXT cert);

    // Whether the certificate's subject is the name that the blob points to. `nameBlob` holds the image of a
    // CERT_NAME_BLOB, not the name; a buffer of another size equals nothing.
    static BOOL compareSubjetNameBlob(PCCERT_CONTEXT cert, TVKBuffer const& nameBlob);

    // ---- Cryptographic operations ----
    // Each gives true or throws TVKCAPIException with the code of its kind of work. Results are assigned on
    // success only.

    // Overwrites `data` with as many random bytes as it has. 578011.
    static bool generateRandomData(HCRYPTPROV provider, TVKBuffer& data);

    // Makes a key pair; `keyHandle` then holds the bytes of its HCRYPTKEY, which goes with the provider
    // handle. 578012.
    static bool generateKey(HCRYPTPROV provider, ALG_ID algorithm, unsigned long flags, TVKBuffer& keyHandle);
    static bool generateKeyPair(HCRYPTPROV provider, ALG_ID algorithm, unsigned long flags,
                                TVKBuffer& keyHandle);

    // 578013.
    static bool encryptUpdate(HCRYPTKEY key, TVKBuffer const& data, TVKBuffer& result, bool final);
    static bool encryptFinal(HCRYPTKEY key, TVKBuffer const& data, TVKBuffer& result);

    // Work in the storage of `data`, whose bytes are overwritten. 578014.
    static bool decryptUpdate(HCRYPTKEY key, TVKBuffer const& data, TVKBuffer& result, bool final);
    static bool decryptFinal(HCRYPTKEY key, TVKBuffer const& data, TVKBuffer& result);

    // 578015. With `hashData` false `data` is the finished hash value, of 36 bytes. The signature comes in
    // the provider's byte order.
    static bool signInit(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTHASH* hash);
    static bool signUpdate(HCRYPTHASH hash, TVKBuffer const& data, bool hashData);
    static bool signFinal(HCRYPTHASH hash, TVKBuffer& signature, unsigned long keySpec);

    // 578016, also for a signature that doesn't match.
    static bool verifyInit(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTHASH* hash);
    static bool verifyUpdate(HCRYPTHASH hash, TVKBuffer const& data);
    static bool verifyFinal(HCRYPTHASH hash, TVKBuffer const& signature, HCRYPTKEY publicKey);

    // Opens the private key that belongs to a certificate. 578012. When the key can't be had, the provider
    // handle is in `*provider` all the same and is the caller's.
    static bool getKeyInCert(PCCERT_CONTEXT cert, HCRYPTPROV* provider, HCRYPTKEY* key);

    // ---- Certificate stores ----

    // Opens a system store: 0 "CA", 1 "MY", 2 "UserDS", 3 "ROOT". For 0 and 3 the local machine's store is
    // joined with the user's where it can be opened, and `*adminMode` is then set to true; otherwise it isn't
    // written. Gives null for 1 and 2 on failure; throws 578002 otherwise.
    static HCERTSTORE openCertStore(HCRYPTPROV provider, unsigned long storeKind, bool* adminMode);

    // Walk and search. `previous` is released by the platform; null at the end and on failure.
    static PCCERT_CONTEXT getNextCertificateInStore(HCERTSTORE store, PCCERT_CONTEXT previous);
    static PCCERT_CONTEXT findCertificateInStore(HCERTSTORE store, unsigned long encodingType,
                                                 unsigned long findFlags, unsigned long findType,
                                                 void const* findPara, PCCERT_CONTEXT previous);

    // The next certificate with a private key.
    static PCCERT_CONTEXT getNextPrivateKeyInStore(HCERTSTORE store, PCCERT_CONTEXT previous);

    // Whether the certificate refers to a private key of a known kind. `keyProvInfo` takes the image of a
    // CRYPT_KEY_PROV_INFO whose strings are valid for the life of the process; it is as it was without the
    // property.
    static bool isCertWithPrivateKey(PCCERT_CONTEXT cert, TVKBuffer& keyProvInfo);

    // The certificate's simple display name, with two bytes behind it that are no text; empty on failure.
    static bool getLabel(PCCERT_CONTEXT cert, unsigned long nameType, unsigned long flags, TVKBuffer& label);

    // The friendly name as wide text with its terminator, and one spare byte; false and empty without one.
    static bool getCertFriendlyName(PCCERT_CONTEXT cert, TVKBuffer& name);

    // Throws 578006, also for a name that isn't UTF-8 text.
    static bool setCertFriendlyName(PCCERT_CONTEXT cert, TVKString const& name);

    // Whether the slot's public key can be exported. The pointers inside `info` lead nowhere.
    static bool getPublicKeyInfo(HCRYPTPROV provider, unsigned long keySpec, TVKBuffer& info);

    // A new wide copy of a text, released with operator delete. Throws TVKException
    // TVKCORE_TEXT_NOT_CONVERTIBLE.
    static wchar_t* convertWildChar(TVKString const& text);

    // Makes a self-signed certificate with the key that `keyProvInfo` names and adds it to the user's "MY".
    // Gives the context in that store. Throws 578006.
    static PCCERT_CONTEXT createSelfSignCertificate(TVKBuffer const& subject,
                                                    CRYPT_KEY_PROV_INFO* keyProvInfo,
                                                    CRYPT_ALGORITHM_IDENTIFIER* algorithm,
                                                    SYSTEMTIME* endTime);

    // Deletes the certificate from its store; the context is released whatever the result. Throws 578008, or
    // 578010 when the user refused.
    static bool deleteCertificate(PCCERT_CONTEXT cert);

    // ---- Adding ----

    // Brings a key into a provider and gives a handle on its container. A reference is followed to where the
    // key is; every other key is taken for an unencrypted PKCS#8 PrivateKeyInfo (RFC 5208), RSA, and is
    // imported, exportable, into a new container of the provider of the CSPManager that was constructed last.
    // Throws 578006 when the import fails, with nothing of the key left; 578012 when a reference leads
    // nowhere or the container can't be made.
    static HCRYPTPROV addPrivateKey(TVKKRYKey const& key);

    // Adds a certificate, `der`, with `label` as its friendly name: without a key to the manager's store,
    // with a key to the user's "MY", whatever store the manager has, and tied to the key's container there.
    // `disposition` as the platform's CERT_STORE_ADD_*; `key` is looked at with `withKey` alone. True or an
    // exception: TVKException TVKCORE_TEXT_NOT_CONVERTIBLE for a label that isn't UTF-8 text, with nothing
    // changed; 578006 or, when the user refused, 578010. No step undoes an earlier one: once imported the key
    // stays, and once added so does the certificate.
    static bool addCertificate(CSPManager& manager, unsigned long encodingType, TVKBuffer const& der,
                               TVKString const& label, unsigned long disposition, TVKKRYKey const& key,
                               bool withKey);

    // The platform's question for a provider during an import: answers with a new container, named after that
    // of the CSPManager that was constructed last. Throws 578012 through the platform's call.
    static BOOL WINAPI cryptResolvehCryptProvFunc(CRYPT_PRIVATE_KEY_INFO* keyInfo, HCRYPTPROV* provider,
                                                  void* context);

    // What the import hands to the question as its context. Does nothing and gives 0.
    static unsigned long voidResolveFunc();

    // ---- Certificates on cards ----

    // A new memory store with the certificates that lie with the keys of the provider's default container,
    // each with a reference to its key; empty for a provider that has no default container. One that the
    // user's "MY" knows has the friendly name that it has there; any other is added to "MY". The store is the
    // caller's. Throws 578002 when the card can't be read, 578006 when a certificate can't be taken, as that
    // of a key which has none.
    static HCERTSTORE getCertFromSmartCard(TVKString providerName);

    // Writes the certificate to the exchange key of the container that `*provider` is open on, which stays
    // the caller's. Always true. Throws 578012.
    static bool addCertToSmartCard(HCRYPTPROV* provider, PCCERT_CONTEXT cert);

    // The certificate that lies with a slot's key, in a new array which the caller releases with delete[]; of
    // no length where none can be read. False with the platform's last error when the slot has no key; `data`
    // and `length` are set then too, but for null ones.
    static bool getCertFromKey(HCRYPTPROV provider, DWORD keySpec, BYTE** data, DWORD* length);

    // Adds a certificate with a reference to its key to the memory store, and to "MY" where that doesn't know
    // it. Always true. Throws 578006.
    static bool addCertToMemoryStore(HCRYPTPROV provider, DWORD keySpec, BYTE* data, DWORD length,
                                     HCERTSTORE memoryStore);
};
