// CryptoAPI: providers, key containers, cryptographic operations, certificate stores and their encodings,
// under the published names, values, structures and signatures.
//
// Calls that give BOOL answer FALSE on failure and GetLastError tells why; calls that give a handle or a
// context answer null. Lengths are in bytes unless said otherwise. A call that fills a buffer takes the
// buffer's size in the length word and leaves there what it wrote; with a null buffer it gives the size
// needed, and with one that is too small it fails with ERROR_MORE_DATA and gives that size as well. A handle
// that was never given out, was released or is of another kind is ERROR_INVALID_HANDLE. Every call may be
// made on any thread.
#pragma once

#include <windows.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef ULONG_PTR HCRYPTPROV;
typedef ULONG_PTR HCRYPTKEY;
typedef ULONG_PTR HCRYPTHASH;
typedef ULONG_PTR HCRYPTPROV_LEGACY;
typedef ULONG_PTR HCRYPTPROV_OR_NCRYPT_KEY_HANDLE;
typedef void* HCERTSTORE;
typedef unsigned int ALG_ID;

// Algorithm identifiers.
#define CALG_MD5 0x00008003
#define CALG_SHA 0x00008004
#define CALG_SHA1 0x00008004
#define CALG_SSL3_SHAMD5 0x00008008
#define CALG_SHA_256 0x0000800c
#define CALG_SHA_384 0x0000800d
#define CALG_SHA_512 0x0000800e
#define CALG_RSA_SIGN 0x00002400
#define CALG_RSA_KEYX 0x0000a400

// Providers.
#define PROV_RSA_FULL 1
#define MS_ENHANCED_PROV_A "Microsoft Enhanced Cryptographic Provider v1.0"

#define AT_KEYEXCHANGE 1
#define AT_SIGNATURE 2

// dwFlags of CryptAcquireContextA.
#define CRYPT_VERIFYCONTEXT 0xF0000000
#define CRYPT_NEWKEYSET 0x00000008
#define CRYPT_DELETEKEYSET 0x00000010
#define CRYPT_MACHINE_KEYSET 0x00000020
#define CRYPT_SILENT 0x00000040
#define CRYPT_DEFAULT_CONTAINER_OPTIONAL 0x00000080

// dwFlags of CryptGenKey and CryptImportPKCS8; the upper half of CryptGenKey's holds the key length in bits.
#define CRYPT_EXPORTABLE 0x00000001
#define CRYPT_USER_PROTECTED 0x00000002

// dwFlags of CryptSignHashA and CryptVerifySignatureA.
#define CRYPT_NOHASHOID 0x00000001

// dwFlags of CryptGetProvParam for PP_ENUMCONTAINERS.
#define CRYPT_FIRST 1
#define CRYPT_NEXT 2

// Provider parameters.
#define PP_ENUMCONTAINERS 2
#define PP_IMPTYPE 3
#define PP_NAME 4
#define PP_VERSION 5
#define PP_CONTAINER 6
#define PP_PROVTYPE 16
#define PP_UNIQUE_CONTAINER 36
#define CRYPT_IMPL_HARDWARE 1
#define CRYPT_IMPL_SOFTWARE 2

// Key parameters.
#define KP_PERMISSIONS 6
#define KP_ALGID 7
#define KP_BLOCKLEN 8
#define KP_KEYLEN 9
#define KP_CERTIFICATE 26
#define CRYPT_ENCRYPT 0x0001
#define CRYPT_DECRYPT 0x0002
#define CRYPT_EXPORT 0x0004
#define CRYPT_READ 0x0008
#define CRYPT_WRITE 0x0010

// Hash parameters.
#define HP_ALGID 1
#define HP_HASHVAL 2
#define HP_HASHSIZE 4

// Encoding types.
#define X509_ASN_ENCODING 0x00000001
#define PKCS_7_ASN_ENCODING 0x00010000

// Structure types of CryptEncodeObject.
#define X509_PUBLIC_KEY_INFO WINCRYPT_POINTER(LPCSTR, 8)

// Object identifiers.
#define szOID_RSA_RSA "1.2.840.113549.1.1.1"
#define szOID_RSA_MD5RSA "1.2.840.113549.1.1.4"
#define szOID_RSA_SHA1RSA "1.2.840.113549.1.1.5"
#define szOID_RSA_SHA256RSA "1.2.840.113549.1.1.11"
#define szOID_RSA_SHA384RSA "1.2.840.113549.1.1.12"
#define szOID_RSA_SHA512RSA "1.2.840.113549.1.1.13"
#define szOID_COMMON_NAME "2.5.4.3"
#define szOID_ORGANIZATION_NAME "2.5.4.10"
#define szOID_ORGANIZATIONAL_UNIT_NAME "2.5.4.11"
#define szOID_RSA_emailAddr "1.2.840.113549.1.9.1"
#define szOID_SUBJECT_KEY_IDENTIFIER "2.5.29.14"

// Store providers of CertOpenStore.
#define CERT_STORE_PROV_MEMORY WINCRYPT_POINTER(LPCSTR, 2)
#define CERT_STORE_PROV_SYSTEM_A WINCRYPT_POINTER(LPCSTR, 9)
#define CERT_STORE_PROV_SYSTEM_W WINCRYPT_POINTER(LPCSTR, 10)
#define CERT_STORE_PROV_SYSTEM CERT_STORE_PROV_SYSTEM_W
#define CERT_STORE_PROV_COLLECTION WINCRYPT_POINTER(LPCSTR, 11)

// dwFlags of CertOpenStore.
#define CERT_STORE_OPEN_EXISTING_FLAG 0x00004000
#define CERT_STORE_READONLY_FLAG 0x00008000
#define CERT_STORE_MAXIMUM_ALLOWED_FLAG 0x00001000
#define CERT_SYSTEM_STORE_LOCATION_MASK 0x00FF0000
#define CERT_SYSTEM_STORE_CURRENT_USER 0x00010000
#define CERT_SYSTEM_STORE_LOCAL_MACHINE 0x00020000

// dwFlags of CertCloseStore.
#define CERT_CLOSE_STORE_FORCE_FLAG 0x00000001
#define CERT_CLOSE_STORE_CHECK_FLAG 0x00000002

// dwUpdateFlags of CertAddStoreToCollection.
#define CERT_PHYSICAL_STORE_ADD_ENABLE_FLAG 0x00000001

// Dispositions of the calls that add to a store.
#define CERT_STORE_ADD_NEW 1
#define CERT_STORE_ADD_USE_EXISTING 2
#define CERT_STORE_ADD_REPLACE_EXISTING 3
#define CERT_STORE_ADD_ALWAYS 4
#define CERT_STORE_ADD_REPLACE_EXISTING_INHERIT_PROPERTIES 5

// Properties of a certificate context.
#define CERT_KEY_PROV_HANDLE_PROP_ID 1
#define CERT_KEY_PROV_INFO_PROP_ID 2
#define CERT_SHA1_HASH_PROP_ID 3
#define CERT_HASH_PROP_ID CERT_SHA1_HASH_PROP_ID
#define CERT_MD5_HASH_PROP_ID 4
#define CERT_KEY_CONTEXT_PROP_ID 5
#define CERT_KEY_SPEC_PROP_ID 6
#define CERT_FRIENDLY_NAME_PROP_ID 11
#define CERT_ACCESS_STATE_PROP_ID 14
#define CERT_KEY_IDENTIFIER_PROP_ID 20
#define CERT_STORE_NO_CRYPT_RELEASE_FLAG 0x00000001
#define CERT_SET_KEY_PROV_HANDLE_PROP_ID 0x00000001
#define CERT_SET_KEY_CONTEXT_PROP_ID 0x00000001
#define CERT_ACCESS_STATE_WRITE_PERSIST_FLAG 0x1
#define CERT_ACCESS_STATE_SYSTEM_STORE_FLAG 0x2
#define CERT_ACCESS_STATE_LM_SYSTEM_STORE_FLAG 0x4

// Find types of CertFindCertificateInStore.
#define CERT_COMPARE_SHIFT 16
#define CERT_INFO_ISSUER_FLAG 4
#define CERT_INFO_SUBJECT_FLAG 7
#define CERT_FIND_ANY 0x00000000
#define CERT_FIND_SHA1_HASH 0x00010000
#define CERT_FIND_HASH CERT_FIND_SHA1_HASH
#define CERT_FIND_SUBJECT_NAME 0x00020007
#define CERT_FIND_PROPERTY 0x00050000
#define CERT_FIND_SUBJECT_CERT 0x000B0000
#define CERT_FIND_EXISTING 0x000D0000
#define CERT_FIND_CERT_ID 0x00100000

#define CERT_ID_ISSUER_SERIAL_NUMBER 1
#define CERT_ID_KEY_IDENTIFIER 2
#define CERT_ID_SHA1_HASH 3

// Name types of CertGetNameStringA.
#define CERT_NAME_EMAIL_TYPE 1
#define CERT_NAME_ATTR_TYPE 3
#define CERT_NAME_SIMPLE_DISPLAY_TYPE 4
#define CERT_NAME_FRIENDLY_DISPLAY_TYPE 5
#define CERT_NAME_ISSUER_FLAG 0x1

#define CERT_V1 0
#define CERT_V2 1
#define CERT_V3 2

// dwFlags of CertCreateSelfSignCertificate.
#define CERT_CREATE_SELFSIGN_NO_KEY_INFO 2

// dwFlags of CryptAcquireCertificatePrivateKey.
#define CRYPT_ACQUIRE_COMPARE_KEY_FLAG 0x00000004
#define CRYPT_ACQUIRE_SILENT_FLAG 0x00000040

typedef struct _CRYPTOAPI_BLOB {
    DWORD cbData;
    BYTE* pbData;
} CRYPT_INTEGER_BLOB, *PCRYPT_INTEGER_BLOB, CRYPT_OBJID_BLOB, *PCRYPT_OBJID_BLOB, CERT_NAME_BLOB,
    *PCERT_NAME_BLOB, CRYPT_HASH_BLOB, *PCRYPT_HASH_BLOB, CRYPT_DIGEST_BLOB, *PCRYPT_DIGEST_BLOB,
    CRYPT_DER_BLOB, *PCRYPT_DER_BLOB, CRYPT_DATA_BLOB, *PCRYPT_DATA_BLOB, CRYPT_ATTR_BLOB, *PCRYPT_ATTR_BLOB;

typedef struct _CRYPT_BIT_BLOB {
    DWORD cbData;
    BYTE* pbData;
    DWORD cUnusedBits; // of the last byte
} CRYPT_BIT_BLOB, *PCRYPT_BIT_BLOB;

typedef struct _CRYPT_ALGORITHM_IDENTIFIER {
    LPSTR pszObjId; // dotted decimal
    CRYPT_OBJID_BLOB Parameters;
} CRYPT_ALGORITHM_IDENTIFIER, *PCRYPT_ALGORITHM_IDENTIFIER;

typedef struct _CRYPT_ATTRIBUTE {
    LPSTR pszObjId;
    DWORD cValue;
    PCRYPT_ATTR_BLOB rgValue;
} CRYPT_ATTRIBUTE, *PCRYPT_ATTRIBUTE;

typedef struct _CRYPT_ATTRIBUTES {
    DWORD cAttr;
    PCRYPT_ATTRIBUTE rgAttr;
} CRYPT_ATTRIBUTES, *PCRYPT_ATTRIBUTES;

typedef struct _CERT_EXTENSION {
    LPSTR pszObjId;
    BOOL fCritical;
    CRYPT_OBJID_BLOB Value;
} CERT_EXTENSION, *PCERT_EXTENSION;

typedef struct _CERT_EXTENSIONS {
    DWORD cExtension;
    PCERT_EXTENSION rgExtension;
} CERT_EXTENSIONS, *PCERT_EXTENSIONS;

typedef struct _CERT_PUBLIC_KEY_INFO {
    CRYPT_ALGORITHM_IDENTIFIER Algorithm;
    CRYPT_BIT_BLOB PublicKey;
} CERT_PUBLIC_KEY_INFO, *PCERT_PUBLIC_KEY_INFO;

typedef struct _CERT_INFO {
    DWORD dwVersion;                 // CERT_V1, CERT_V2 or CERT_V3
    CRYPT_INTEGER_BLOB SerialNumber; // least significant byte first
    CRYPT_ALGORITHM_IDENTIFIER SignatureAlgorithm;
    CERT_NAME_BLOB Issuer;
    FILETIME NotBefore;
    FILETIME NotAfter;
    CERT_NAME_BLOB Subject;
    CERT_PUBLIC_KEY_INFO SubjectPublicKeyInfo;
    CRYPT_BIT_BLOB IssuerUniqueId;
    CRYPT_BIT_BLOB SubjectUniqueId;
    DWORD cExtension;
    PCERT_EXTENSION rgExtension;
} CERT_INFO, *PCERT_INFO;

typedef struct _CERT_CONTEXT {
    DWORD dwCertEncodingType;
    BYTE* pbCertEncoded;
    DWORD cbCertEncoded;
    PCERT_INFO pCertInfo;
    HCERTSTORE
    hCertStore; // the handle through which the context was got, maybe closed since; null outside a store
} CERT_CONTEXT, *PCERT_CONTEXT;
typedef CERT_CONTEXT const* PCCERT_CONTEXT;

typedef struct _CERT_ISSUER_SERIAL_NUMBER {
    CERT_NAME_BLOB Issuer;
    CRYPT_INTEGER_BLOB SerialNumber;
} CERT_ISSUER_SERIAL_NUMBER, *PCERT_ISSUER_SERIAL_NUMBER;

typedef struct _CERT_ID {
    DWORD dwIdChoice;
    union {
        CERT_ISSUER_SERIAL_NUMBER IssuerSerialNumber;
        CRYPT_HASH_BLOB KeyId;
        CRYPT_HASH_BLOB HashId;
    };
} CERT_ID, *PCERT_ID;

typedef struct _CRYPT_KEY_PROV_PARAM {
    DWORD dwParam;
    BYTE* pbData;
    DWORD cbData;
    DWORD dwFlags;
} CRYPT_KEY_PROV_PARAM, *PCRYPT_KEY_PROV_PARAM;

typedef struct _CRYPT_KEY_PROV_INFO {
    LPWSTR pwszContainerName;
    LPWSTR pwszProvName;
    DWORD dwProvType;
    DWORD dwFlags;
    DWORD cProvParam;
    PCRYPT_KEY_PROV_PARAM rgProvParam;
    DWORD dwKeySpec;
} CRYPT_KEY_PROV_INFO, *PCRYPT_KEY_PROV_INFO;

typedef struct _CERT_KEY_CONTEXT {
    DWORD cbSize; // sizeof(CERT_KEY_CONTEXT)
    union {
        HCRYPTPROV hCryptProv;
        ULONG_PTR hNCryptKey;
    };
    DWORD dwKeySpec;
} CERT_KEY_CONTEXT, *PCERT_KEY_CONTEXT;

typedef struct _CRYPT_PRIVATE_KEY_INFO {
    DWORD Version;
    CRYPT_ALGORITHM_IDENTIFIER Algorithm;
    CRYPT_DER_BLOB PrivateKey;
    PCRYPT_ATTRIBUTES pAttributes;
} CRYPT_PRIVATE_KEY_INFO, *PCRYPT_PRIVATE_KEY_INFO;

typedef BOOL(CALLBACK* PCRYPT_RESOLVE_HCRYPTPROV_FUNC)(CRYPT_PRIVATE_KEY_INFO* pPrivateKeyInfo,
                                                       HCRYPTPROV* phCryptProv, LPVOID pVoidResolveFunc);
typedef BOOL(CALLBACK* PCRYPT_DECRYPT_PRIVATE_KEY_FUNC)(CRYPT_ALGORITHM_IDENTIFIER Algorithm,
                                                        CRYPT_DATA_BLOB EncryptedPrivateKey,
                                                        BYTE* pbClearTextKey, DWORD* pcbClearTextKey,
                                                        LPVOID pVoidDecryptFunc);

typedef struct _CRYPT_PKCS8_IMPORT_PARAMS {
    CRYPT_DIGEST_BLOB PrivateKey;
    PCRYPT_RESOLVE_HCRYPTPROV_FUNC pResolvehCryptProvFunc;
    LPVOID pVoidResolveFunc;
    PCRYPT_DECRYPT_PRIVATE_KEY_FUNC pDecryptPrivateKeyFunc;
    LPVOID pVoidDecryptFunc;
} CRYPT_PKCS8_IMPORT_PARAMS, *PCRYPT_PKCS8_IMPORT_PARAMS;

// ---- Providers and key containers ----

// Opens, makes (CRYPT_NEWKEYSET) or deletes (CRYPT_DELETEKEYSET) a key container. A null or empty container
// is the default one, which bears the login name and always exists; a null provider is the first one. *phProv
// gets a handle that the caller releases with CryptReleaseContext, or 0 after a deletion; on failure it is
// left alone. Errors: NTE_BAD_KEYSET no such container, NTE_EXISTS, NTE_KEYSET_NOT_DEF no such provider,
// NTE_KEYSET_ENTRY_BAD a key that was altered or can't be unsealed, NTE_BAD_PROV_TYPE, NTE_PROV_TYPE_NOT_DEF,
// NTE_BAD_FLAGS, NTE_BAD_KEYSET_PARAM a name that isn't UTF-8, and those of the database
// (ERROR_ACCESS_DENIED, ERROR_FILE_CORRUPT, ERROR_REVISION_MISMATCH, ERROR_PATH_NOT_FOUND, ERROR_BUSY,
// ERROR_DISK_FULL).
//
// The provider may be a token, by its name or by a URI (RFC 7512) that fits one token (SCARD_E_NO_SMARTCARD).
// Its containers are the labels of its RSA keys, and the default one is that of the first key in the order of
// identifiers; without a key it has none (NTE_KEYSET_NOT_DEF). Calls on its containers and keys may need a
// PIN, for which nobody is asked under CRYPT_SILENT, and have more errors: SCARD_W_WRONG_CHV,
// SCARD_W_CHV_BLOCKED, SCARD_W_CANCELLED_BY_USER, NTE_SILENT_CONTEXT, SCARD_W_CARD_NOT_AUTHENTICATED no PIN
// or its last try; SCARD_W_REMOVED_CARD, SCARD_E_TIMEOUT no answer in time, SCARD_F_COMM_ERROR the module
// broke down, NTE_PROVIDER_DLL_FAIL it can't be started, SCARD_E_SHARING_VIOLATION no session left,
// NTE_TOKEN_KEYSET_STORAGE_FULL, NTE_NOT_SUPPORTED, NTE_PERM, NTE_FAIL. The next call starts afresh.
WINCRYPT_API BOOL WINAPI CryptAcquireContextA(HCRYPTPROV* phProv, LPCSTR szContainer, LPCSTR szProvider,
                                              DWORD dwProvType, DWORD dwFlags);

// Releases a provider handle, and with it every key and hash handle made from it. Flags, of which there are
// none, give NTE_BAD_FLAGS; the handle is released all the same.
WINCRYPT_API BOOL WINAPI CryptReleaseContext(HCRYPTPROV hProv, DWORD dwFlags);

// Names the provider at dwIndex, counted from 0. *pcbProvName counts the terminating zero. Index 0 takes a
// snapshot that the calling thread's walk then goes through. Errors: ERROR_NO_MORE_ITEMS, ERROR_MORE_DATA.
WINCRYPT_API BOOL WINAPI CryptEnumProvidersA(DWORD dwIndex, DWORD* pdwReserved, DWORD dwFlags,
                                             DWORD* pdwProvType, LPSTR szProvName, DWORD* pcbProvName);

// Reads PP_NAME, PP_CONTAINER, PP_UNIQUE_CONTAINER (text with its terminating zero), PP_PROVTYPE, PP_IMPTYPE,
// PP_VERSION (DWORD), or PP_ENUMCONTAINERS with CRYPT_FIRST and then CRYPT_NEXT (or 0). The size that the
// latter gives is room enough for every name, and a name that is given leaves the length word alone. Errors:
// NTE_BAD_TYPE, NTE_BAD_FLAGS, ERROR_NO_MORE_ITEMS.
WINCRYPT_API BOOL WINAPI CryptGetProvParam(HCRYPTPROV hProv, DWORD dwParam, BYTE* pbData, DWORD* pdwDataLen,
                                           DWORD dwFlags);

// Gives a handle on the key in slot dwKeySpec, which the caller destroys. Errors: NTE_NO_KEY, NTE_BAD_KEY for
// another specification.
WINCRYPT_API BOOL WINAPI CryptGetUserKey(HCRYPTPROV hProv, DWORD dwKeySpec, HCRYPTKEY* phUserKey);

// Makes an RSA key pair in the container, in place of the one that the slot may hold. Algid is
// AT_KEYEXCHANGE, AT_SIGNATURE, CALG_RSA_KEYX or CALG_RSA_SIGN; the upper half of dwFlags is the length in
// bits (0: 2048; a multiple of 8 from 512 to 16384), the lower half CRYPT_EXPORTABLE or 0; a token that makes
// only keys that stay makes one of these. Errors:
// NTE_BAD_ALGID, NTE_BAD_FLAGS.
WINCRYPT_API BOOL WINAPI CryptGenKey(HCRYPTPROV hProv, ALG_ID Algid, DWORD dwFlags, HCRYPTKEY* phKey);
WINCRYPT_API BOOL WINAPI CryptDestroyKey(HCRYPTKEY hKey);

// KP_CERTIFICATE reads or writes the certificate that lies with the key; the written one's length is that of
// its DER encoding. Reading knows KP_ALGID, KP_BLOCKLEN, KP_KEYLEN (bits) and KP_PERMISSIONS as well. Errors:
// NTE_NOT_FOUND no certificate, NTE_BAD_TYPE, NTE_BAD_DATA not a certificate.
WINCRYPT_API BOOL WINAPI CryptGetKeyParam(HCRYPTKEY hKey, DWORD dwParam, BYTE* pbData, DWORD* pdwDataLen,
                                          DWORD dwFlags);
WINCRYPT_API BOOL WINAPI CryptSetKeyParam(HCRYPTKEY hKey, DWORD dwParam, BYTE const* pbData, DWORD dwFlags);

// Fills pbBuffer with dwLen random bytes; a token's are combined with libcrypto's.
WINCRYPT_API BOOL WINAPI CryptGenRandom(HCRYPTPROV hProv, DWORD dwLen, BYTE* pbBuffer);

// ---- Hashes, signatures, encryption ----
// Signatures and ciphertexts stand least significant byte first.

WINCRYPT_API BOOL WINAPI CryptCreateHash(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTKEY hKey, DWORD dwFlags,
                                         HCRYPTHASH* phHash);
WINCRYPT_API BOOL WINAPI CryptHashData(HCRYPTHASH hHash, BYTE const* pbData, DWORD dwDataLen, DWORD dwFlags);
// HP_HASHVAL sets the finished value; its length is that of the algorithm. Error: NTE_BAD_HASH_STATE after
// data.
WINCRYPT_API BOOL WINAPI CryptSetHashParam(HCRYPTHASH hHash, DWORD dwParam, BYTE const* pbData,
                                           DWORD dwFlags);
WINCRYPT_API BOOL WINAPI CryptDestroyHash(HCRYPTHASH hHash);

// RFC 8017, 8.2 (RSASSA-PKCS1-v1_5); CALG_SSL3_SHAMD5 and CRYPT_NOHASHOID sign the bare value, without
// DigestInfo. A size query neither signs nor finishes the hash. Errors: NTE_NO_KEY, NTE_BAD_LEN a key too
// short for the value.
WINCRYPT_API BOOL WINAPI CryptSignHashA(HCRYPTHASH hHash, DWORD dwKeySpec, LPCSTR szDescription,
                                        DWORD dwFlags, BYTE* pbSignature, DWORD* pdwSigLen);
// Error for a signature that doesn't match, of whatever length: NTE_BAD_SIGNATURE.
WINCRYPT_API BOOL WINAPI CryptVerifySignatureA(HCRYPTHASH hHash, BYTE const* pbSignature, DWORD dwSigLen,
                                               HCRYPTKEY hPubKey, LPCSTR szDescription, DWORD dwFlags);

// One block of RFC 8017, 7.2 (RSAES-PKCS1-v1_5), in place, whatever Final says. Data longer than the key's
// length less 11 bytes are NTE_BAD_LEN, at the size query too.
WINCRYPT_API BOOL WINAPI CryptEncrypt(HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL Final, DWORD dwFlags,
                                      BYTE* pbData, DWORD* pdwDataLen, DWORD dwBufLen);
// The reverse, in place. Nothing but Final after a non-final step on the handle gives nothing. Everything
// that is wrong with the ciphertext is the one error NTE_BAD_DATA.
WINCRYPT_API BOOL WINAPI CryptDecrypt(HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL Final, DWORD dwFlags,
                                      BYTE* pbData, DWORD* pdwDataLen);

// ---- Certificate stores ----

// Opens a memory store, a collection, or a system store of the current user or the local machine (the name
// narrow with CERT_STORE_PROV_SYSTEM_A). The provider handle is not kept. Nothing is written by opening.
// "MY", "CA", "ROOT" and "UserDS" of the current user always exist. Errors: ERROR_FILE_NOT_FOUND no such
// store or provider, ERROR_INVALID_PARAMETER, and those of the database.
WINCRYPT_API HCERTSTORE WINAPI CertOpenStore(LPCSTR lpszStoreProvider, DWORD dwEncodingType,
                                             HCRYPTPROV_LEGACY hCryptProv, DWORD dwFlags, void const* pvPara);
WINCRYPT_API HCERTSTORE WINAPI CertOpenSystemStoreA(HCRYPTPROV_LEGACY hProv, LPCSTR szSubsystemProtocol);

// Closes a store handle; a null one is closed already. Contexts of the store stay valid. With
// CERT_CLOSE_STORE_CHECK_FLAG the answer is FALSE and CRYPT_E_PENDING_CLOSE while some live; it is closed all
// the same.
WINCRYPT_API BOOL WINAPI CertCloseStore(HCERTSTORE hCertStore, DWORD dwFlags);

// Shows the sibling's certificates behind those of the collection, which may be a system store and which
// takes a reference of its own. Members of higher priority come first.
WINCRYPT_API BOOL WINAPI CertAddStoreToCollection(HCERTSTORE hCollectionStore, HCERTSTORE hSiblingStore,
                                                  DWORD dwUpdateFlags, DWORD dwPriority);

// Walk and search. The context given as previous is freed whatever the outcome, the one returned is the
// caller's. Null with CRYPT_E_NOT_FOUND at the end. Searches know the CERT_FIND_ values above; another is
// E_INVALIDARG.
WINCRYPT_API PCCERT_CONTEXT WINAPI CertEnumCertificatesInStore(HCERTSTORE hCertStore,
                                                               PCCERT_CONTEXT pPrevCertContext);
WINCRYPT_API PCCERT_CONTEXT WINAPI CertFindCertificateInStore(HCERTSTORE hCertStore, DWORD dwCertEncodingType,
                                                              DWORD dwFindFlags, DWORD dwFindType,
                                                              void const* pvFindPara,
                                                              PCCERT_CONTEXT pPrevCertContext);

// A context outside any store, over a copy of the bytes. Error: CRYPT_E_ASN1_CORRUPT.
WINCRYPT_API PCCERT_CONTEXT WINAPI CertCreateCertificateContext(DWORD dwCertEncodingType,
                                                                BYTE const* pbCertEncoded,
                                                                DWORD cbCertEncoded);
WINCRYPT_API BOOL WINAPI CertFreeCertificateContext(PCCERT_CONTEXT pCertContext);

// Add a certificate; adding a context copies its properties 2 and 11. The change is durable when the call
// returns. *ppCertContext, where asked for, gets the context in the store, the caller's to free. Errors:
// CRYPT_E_EXISTS, CRYPT_E_ASN1_CORRUPT, E_ACCESSDENIED, E_INVALIDARG, and those of the database.
WINCRYPT_API BOOL WINAPI CertAddEncodedCertificateToStore(HCERTSTORE hCertStore, DWORD dwCertEncodingType,
                                                          BYTE const* pbCertEncoded, DWORD cbCertEncoded,
                                                          DWORD dwAddDisposition,
                                                          PCCERT_CONTEXT* ppCertContext);
WINCRYPT_API BOOL WINAPI CertAddCertificateContextToStore(HCERTSTORE hCertStore, PCCERT_CONTEXT pCertContext,
                                                          DWORD dwAddDisposition,
                                                          PCCERT_CONTEXT* ppStoreContext);

// Deletes the certificate from its store and frees the context whatever the outcome. Errors: E_ACCESSDENIED
// for a member opened read-only, CRYPT_E_NOT_FOUND when it is gone already, E_INVALIDARG outside a store.
WINCRYPT_API BOOL WINAPI CertDeleteCertificateFromStore(PCCERT_CONTEXT pCertContext);

// Properties. 2 and 11 are kept with the certificate and seen through all its contexts; 5 belongs to the
// process and takes over the provider handle (unless CERT_STORE_NO_CRYPT_RELEASE_FLAG is given); 1, 3, 4, 6,
// 14 and 20 are computed. A structure comes in one block with what it points to. A null pvData removes.
// Errors: CRYPT_E_NOT_FOUND, ERROR_MORE_DATA, E_ACCESSDENIED, E_INVALIDARG.
WINCRYPT_API BOOL WINAPI CertGetCertificateContextProperty(PCCERT_CONTEXT pCertContext, DWORD dwPropId,
                                                           void* pvData, DWORD* pcbData);
WINCRYPT_API BOOL WINAPI CertSetCertificateContextProperty(PCCERT_CONTEXT pCertContext, DWORD dwPropId,
                                                           DWORD dwFlags, void const* pvData);

// ---- Names and keys of certificates ----

// Writes a name of the subject (or issuer) as UTF-8, cut at a character where cchNameString bytes don't hold
// it, and gives the bytes needed or written, terminating zero included: 1 for an empty name.
WINCRYPT_API DWORD WINAPI CertGetNameStringA(PCCERT_CONTEXT pCertContext, DWORD dwType, DWORD dwFlags,
                                             void* pvTypePara, LPSTR pszNameString, DWORD cchNameString);
// Length in bits of an RSA modulus or a named curve; 0 when it can't be told.
WINCRYPT_API DWORD WINAPI CertGetPublicKeyLength(DWORD dwCertEncodingType, PCERT_PUBLIC_KEY_INFO pPublicKey);
WINCRYPT_API BOOL WINAPI CertCompareCertificateName(DWORD dwCertEncodingType, PCERT_NAME_BLOB pCertName1,
                                                    PCERT_NAME_BLOB pCertName2);

// Makes a certificate, outside any store, that the container's key signs; a missing key is made, not
// exportable. RFC 5280, 4.1. Null times: from now, one year. Null or empty algorithm: SHA-256 with RSA.
// Property 2 is set on it. Errors: CRYPT_E_INVALID_X500_STRING the subject isn't a Name, NTE_BAD_ALGID,
// ERROR_INVALID_PARAMETER.
WINCRYPT_API PCCERT_CONTEXT WINAPI CertCreateSelfSignCertificate(
    HCRYPTPROV_OR_NCRYPT_KEY_HANDLE hCryptProvOrNCryptKey, PCERT_NAME_BLOB pSubjectIssuerBlob, DWORD dwFlags,
    PCRYPT_KEY_PROV_INFO pKeyProvInfo, PCRYPT_ALGORITHM_IDENTIFIER pSignatureAlgorithm,
    PSYSTEMTIME pStartTime, PSYSTEMTIME pEndTime, PCERT_EXTENSIONS pExtensions);

// Opens the container that property 2 of the certificate names. Always a fresh handle, the caller's to
// release. Errors: CRYPT_E_NO_KEY_PROPERTY, NTE_BAD_PUBLIC_KEY with CRYPT_ACQUIRE_COMPARE_KEY_FLAG, those of
// CryptAcquireContextA.
WINCRYPT_API BOOL WINAPI
CryptAcquireCertificatePrivateKey(PCCERT_CONTEXT pCert, DWORD dwFlags, void* pvParameters,
                                  HCRYPTPROV_OR_NCRYPT_KEY_HANDLE* phCryptProvOrNCryptKey, DWORD* pdwKeySpec,
                                  BOOL* pfCallerFreeProvOrNCryptKey);

// The public half of a slot's key, in one block. Error: NTE_NO_KEY.
WINCRYPT_API BOOL WINAPI CryptExportPublicKeyInfo(HCRYPTPROV_OR_NCRYPT_KEY_HANDLE hCryptProvOrNCryptKey,
                                                  DWORD dwKeySpec, DWORD dwCertEncodingType,
                                                  PCERT_PUBLIC_KEY_INFO pInfo, DWORD* pcbInfo);
// DER of an X509_PUBLIC_KEY_INFO (RFC 5280, 4.1.2.7). Error for another structure type: ERROR_FILE_NOT_FOUND.
WINCRYPT_API BOOL WINAPI CryptEncodeObject(DWORD dwCertEncodingType, LPCSTR lpszStructType,
                                           void const* pvStructInfo, BYTE* pbEncoded, DWORD* pcbEncoded);

// PrivateKeyInfo (RFC 5208) of a slot's key. A key that may not leave is NTE_BAD_KEY_STATE, at the size query
// too.
WINCRYPT_API BOOL WINAPI CryptExportPKCS8(HCRYPTPROV hCryptProv, DWORD dwKeySpec, LPSTR pszPrivateKeyObjId,
                                          DWORD dwFlags, void* pvAuxInfo, BYTE* pbPrivateKeyBlob,
                                          DWORD* pcbPrivateKeyBlob);
// Brings an RSA PrivateKeyInfo into the AT_KEYEXCHANGE slot of the container that the callback opens. The
// blob is checked before the callback runs; an exception of the callback passes through. *phCryptProv gets
// the callback's handle, the caller's to release; on failure it is released and *phCryptProv left alone.
// Primality isn't checked. Errors: NTE_BAD_DATA, NTE_BAD_ALGID not RSA, NTE_BAD_FLAGS, what the callback set.
WINCRYPT_API BOOL WINAPI CryptImportPKCS8(CRYPT_PKCS8_IMPORT_PARAMS sImportParams, DWORD dwFlags,
                                          HCRYPTPROV* phCryptProv, void* pvAuxInfo);

#ifdef __cplusplus
}
#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(sizeof(CERT_ID) == 20 && sizeof(CRYPT_KEY_PROV_INFO) == 28 && sizeof(CERT_KEY_CONTEXT) == 12,
              "published sizes of the 32-bit form");
#endif
static_assert(sizeof(CERT_ID) != sizeof(CRYPT_KEY_PROV_INFO),
              "the two key references are told apart by length");
#endif
