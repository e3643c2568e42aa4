#pragma once

#include <tvkcore/asn/tvkasnx509certificate.h>
#include <tvkcore/base/tvkbuffer.h>
#include <tvkcore/base/tvkstring.h>
#include <tvkcore/item/tvkitemcontainer.h>
#include <tvkcore/item/tvkstoreitem.h>

#include <windows.h>

#include <wincrypt.h>

class CSPManager;

// What a search compares. The attribute that goes with each value stands behind it; every other value matches
// nothing.
enum CertSearchKind : int {
    searchNothing = 0,
    searchAny = 1,                   // not looked at
    searchLabel = 4,                 // an object whose DER encoding is a label
    searchSignature = 5,             // TVKASNBitString
    searchIssuerAndSerialNumber = 6, // TVKASNIssuerAndSerialNumber
    searchUnsignedCertificate = 7,   // TVKASNTBSCertificate
    searchSubjectName = 8,           // TVKASNx500Name
    searchSubjectPublicKeyInfo = 9   // TVKASNSubjectPublicKeyInfo
};

// Between certificate contexts, key containers and store items. Holds no state. Items that an operation gives
// back are new and belong to the caller.
class CspManagerUtility {
public:
    // ---- Labels and identifiers ----

    // The label in normal form: the DER encoding of a UTF8String. A label that is one already stays as it is.
    static TVKBuffer convertLabel(TVKBuffer const& label);

    // Whether both have the same normal form.
    static bool compareLabel(TVKBuffer const& first, TVKBuffer const& second);

    // A new name: `prefix` with random digits behind it.
    static TVKString makeDefaultLabel(TVKString const& prefix);

    // Sets `label` to the certificate's label: friendly name, or "cn=" and the display name, then "##", the
    // serial text, "##" and the issuer. Always true. Throws the toolkit's exception for a certificate that
    // doesn't decode.
    static bool makeCertLabel(PCCERT_CONTEXT cert, TVKBuffer& label);

    // Sets `id` to the image of the certificate's CERT_ID, whose pointers lead into the context. Always true.
    static bool getCertId(PCCERT_CONTEXT cert, TVKBuffer& id);

    // Sets `text` to the serial number's bytes in hexadecimal, without leading zeros, joined by ":", then
    // "##" and the issuer as an RFC 2253 string. Always true. Throws as makeCertLabel.
    static bool getCertSeriaNumber(PCCERT_CONTEXT cert, TVKBuffer& text);

    // ---- Keys ----

    // Opens the private key of the certificate that an identifier names; false when the store has no such
    // certificate or the identifier wasn't made by this process. Throws 578012. The handles are the caller's,
    // also a provider handle that was set before a throw.
    static bool getCapiKey(TVKBuffer certId, HCERTSTORE store, HCRYPTPROV* provider, HCRYPTKEY* key);

    // Opens the key that a provider reference names, or deletes its container, with `keySpec` and `key` left
    // alone then. Throws 578012, with ERROR_INVALID_PARAMETER for a reference that wasn't made by this
    // process. When only the key can't be had, the provider handle is in `*provider` and is the caller's.
    static void getCapiKeyProv(TVKBuffer keyProvInfo, HCRYPTPROV* provider, DWORD* keySpec, HCRYPTKEY* key,
                               bool deleteContainer);

    // Exports the key that a provider reference names as a PKCS#8 PrivateKeyInfo. False, with `material` as
    // it was, when the key may not leave the provider. Throws 578012.
    static bool convertRealKey(TVKBuffer keyProvInfo, TVKBuffer& material);

    // The same bytes in reverse order.
    static TVKBuffer reverseEndian(TVKBuffer const& input);

    // ---- Comparison and search ----
    // An attribute of another type than the comparison's is a TVKException.

    static bool compareSignature(TVKASNx509Certificate const& certificate, TVKASNObject const& attribute);
    static bool compareIssuerAndSerialNumber(TVKASNx509Certificate const& certificate,
                                             TVKASNObject const& attribute);
    static bool compareUnsignedCertificate(TVKASNx509Certificate const& certificate,
                                           TVKASNObject const& attribute);
    static bool compareSubjectName(TVKASNx509Certificate const& certificate, TVKASNObject const& attribute);
    static bool compareSubjectPublicKeyInfo(TVKASNx509Certificate const& certificate,
                                            TVKASNObject const& attribute);

    // Searches the manager's store behind `previous`, which the search releases, or from its start for null.
    // One certificate that doesn't decode ends the search with the toolkit's exception. By the result:
    // TVKCertItem: the first match, or null; moves the manager's current certificate, and passes by what the
    // joined store doesn't show. TVKKeyCertItem: the first match with a private key, or null.
    // TVKKeyCertItemContainer: all matches with a private key in store order, never null; it knows searchAny,
    // searchSubjectName and searchSubjectPublicKeyInfo alone.
    template <typename Result>
    static Result* findCertificate(CSPManager& manager, PCCERT_CONTEXT previous, CertSearchKind kind,
                                   TVKASNObject const& attribute);

    // All matches in store order, never null. Runs on the manager's current certificate: one search at a time
    // through all copies of a manager.
    static TVKCertItemContainer* findCertificates(CSPManager& manager, CertSearchKind kind,
                                                  TVKASNObject const& attribute);

    // ---- Items ----
    // A null certificate is a TVKException 571002.

    static TVKCertItem* makeCertItem(PCCERT_CONTEXT cert);

    // With a reference to the certificate's key.
    static TVKKeyCertItem* makeKeyCertItem(PCCERT_CONTEXT cert);

    // A key item labelled with the name of the provider handle's container: the public key of a slot, or a
    // reference to the private key, by the certificate's key property where `cert` is given. A public key
    // that can't be exported has an empty blob. Throws 578012 when the slot is empty.
    static TVKKeyItem* makeKeyItem(HCRYPTPROV provider, DWORD keySpec, bool isPrivate, PCCERT_CONTEXT cert);

    // A key item with a reference to the certificate's key by certificate identifier, which means something
    // only while the context lives.
    static TVKKeyItem* makeKeyItem(CSPManager& manager, PCCERT_CONTEXT cert);

    // ---- Change ----

    // Adds an item's certificate to the manager's store under a label, or, with a key, to the user's "MY".
    // With `addNew` one that the store has already is refused, otherwise it is replaced. Always true. Throws
    // as CapiManagerUtility::addCertificate.
    static bool addCertificate(CSPManager& manager, TVKCertItem const& item, TVKString const& label,
                               bool addNew);
    static bool addCertificate(CSPManager& manager, TVKKeyCertItem const& item, TVKString const& label,
                               bool addNew, TVKKRYKey const& key);

    // Deletes the first certificate of the store whose signature is that of the item's, after its key's
    // container unless `keepKey`. False when the store has none. Throws 578012 with the certificate still
    // there; 578008 or 578010 when the key is gone and the certificate isn't; the toolkit's exception for a
    // certificate on the way that doesn't decode.
    static bool deleteCertificate(HCERTSTORE store, TVKCertItem const& item, bool keepKey);

    // Makes a self-signed certificate with the exchange key of the container that `*provider` is open on,
    // which stays the caller's, and adds it to the user's "MY" with `label` as its friendly name. `subject`
    // is the DER encoding of a Name (RFC 5280, 4.1.2.4); of `validity` the end alone is used; signed with MD5
    // or SHA-1 where `algorithm` names one of these with RSA, otherwise as the platform does by default. The
    // context is the caller's. Throws 578006, with the certificate in the store when only the name couldn't
    // be set; TVKASNException for an end of validity without a time.
    static PCCERT_CONTEXT createSelfSignCertificate(HCRYPTPROV* provider, TVKString const& label,
                                                    TVKBuffer const& subject, TVKASNValidity const& validity,
                                                    TVKASNAlgorithmID const& algorithm);
};

template <>
TVKCertItem* CspManagerUtility::findCertificate(CSPManager& manager, PCCERT_CONTEXT previous,
                                                CertSearchKind kind, TVKASNObject const& attribute);
template <>
TVKKeyCertItem* CspManagerUtility::findCertificate(CSPManager& manager, PCCERT_CONTEXT previous,
                                                   CertSearchKind kind, TVKASNObject const& attribute);
template <>
TVKKeyCertItemContainer* CspManagerUtility::findCertificate(CSPManager& manager, PCCERT_CONTEXT previous,
                                                            CertSearchKind kind,
                                                            TVKASNObject const& attribute);
