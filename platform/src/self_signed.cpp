// Self-signed certificates (RFC 5280, 4.1).
#include "boundary.h"
#include "certificate_context.h"
#include "certificate_key.h"
#include "der_cursor.h"
#include "der_writer.h"
#include "libcrypto.h"
#include "object_id.h"
#include "public_key_info.h"
#include "text.h"

#include <openssl/rand.h>

#include <cstdio>
#include <ctime>

using namespace wincrypt;

namespace {

struct SignatureKind {
    char const* objectId;
    ALG_ID digest;
};

constexpr SignatureKind signatureKinds[] = {
    {szOID_RSA_SHA256RSA, CALG_SHA_256}, // the default
    {szOID_RSA_MD5RSA, CALG_MD5},        {szOID_RSA_SHA1RSA, CALG_SHA1},
    {szOID_RSA_SHA384RSA, CALG_SHA_384}, {szOID_RSA_SHA512RSA, CALG_SHA_512},
};

SignatureKind const& signatureKind(CRYPT_ALGORITHM_IDENTIFIER const* algorithm) {
    if (algorithm == nullptr || algorithm->pszObjId == nullptr)
        return signatureKinds[0];
    for (SignatureKind const& kind : signatureKinds)
        if (std::strcmp(kind.objectId, algorithm->pszObjId) == 0)
            return kind;
    fail(NTE_BAD_ALGID);
}

// A Name, with every attribute in its place: what can't be read back must not be signed.
Bytes checkedName(CERT_NAME_BLOB const* blob) {
    if (blob == nullptr)
        fail(ERROR_INVALID_PARAMETER);
    ByteView const name = viewOf(blob->pbData, blob->cbData);
    if (!isName(name))
        fail(CRYPT_E_INVALID_X500_STRING);
    for (DerCursor sets(DerCursor(name).next()->content); auto const set = sets.next();)
        if (set->content.empty())
            fail(CRYPT_E_INVALID_X500_STRING);
    return {name.begin(), name.end()};
}

bool isDate(SYSTEMTIME const& time) {
    static constexpr WORD days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (time.wYear < 1601 || time.wYear > 9999 || time.wMonth < 1 || time.wMonth > 12 || time.wHour > 23 ||
        time.wMinute > 59 || time.wSecond > 59)
        return false;
    bool const leap = time.wYear % 4 == 0 && (time.wYear % 100 != 0 || time.wYear % 400 == 0);
    return time.wDay >= 1 && time.wDay <= days[time.wMonth - 1] + (time.wMonth == 2 && leap ? 1 : 0);
}

SYSTEMTIME now() {
    std::time_t const seconds = std::time(nullptr);
    std::tm utc{};
    if (::gmtime_r(&seconds, &utc) == nullptr)
        fail(ERROR_INTERNAL_ERROR);
    auto const word = [](int value) { return static_cast<WORD>(value); };
    return {word(utc.tm_year + 1900), word(utc.tm_mon + 1), word(utc.tm_wday), word(utc.tm_mday),
            word(utc.tm_hour),        word(utc.tm_min),     word(utc.tm_sec),  0};
}

SYSTEMTIME timeOr(SYSTEMTIME const* given, SYSTEMTIME const& otherwise) {
    if (given == nullptr)
        return otherwise;
    if (!isDate(*given))
        fail(ERROR_INVALID_PARAMETER);
    return *given;
}

SYSTEMTIME aYearAfter(SYSTEMTIME time) {
    constexpr WORD lastYear = 9999;
    if (time.wYear == lastYear)
        return {lastYear, 12, 0, 31, 23, 59, 59, 0}; // 4.1.2.5: no well-defined end
    ++time.wYear;
    if (!isDate(time))
        time.wDay = 28; // 29 February
    return time;
}

// 4.1.2.5: UTCTime through 2049, GeneralizedTime from 2050 on and before 1950.
Bytes encodeTime(SYSTEMTIME const& time) {
    bool const isShort = time.wYear >= 1950 && time.wYear < 2050;
    char text[40];
    int const length = std::snprintf(text, sizeof text, "%04u%02u%02u%02u%02u%02uZ", unsigned{time.wYear},
                                     unsigned{time.wMonth}, unsigned{time.wDay}, unsigned{time.wHour},
                                     unsigned{time.wMinute}, unsigned{time.wSecond});
    std::string_view const whole(text, static_cast<std::size_t>(length));
    return isShort ? derElement(tag::utcTime, {viewOf(whole.substr(2))})
                   : derElement(tag::generalizedTime, {viewOf(whole)});
}

// 4.1.2.2: positive, and long enough that nobody makes the same.
Bytes randomSerialNumber() {
    ErrorQueueGuard const errors;
    Bytes octets(16);
    if (RAND_bytes(octets.data(), static_cast<int>(octets.size())) != 1)
        failLibcrypto(NTE_FAIL);
    octets[0] = static_cast<std::uint8_t>((octets[0] & 0x7F) | 0x40);
    return derElement(tag::integer, {octets});
}

Bytes encodeExtensions(CERT_EXTENSIONS const* extensions) {
    if (extensions == nullptr || extensions->cExtension == 0)
        return {};
    if (extensions->rgExtension == nullptr)
        fail(ERROR_INVALID_PARAMETER);
    static constexpr std::uint8_t critical[] = {tag::boolean, 1, 0xFF};
    Bytes list;
    for (DWORD i = 0; i < extensions->cExtension; ++i) {
        CERT_EXTENSION const& extension = extensions->rgExtension[i];
        auto const objectId =
            extension.pszObjId != nullptr ? objectIdContent(extension.pszObjId) : std::nullopt;
        if (!objectId)
            fail(ERROR_INVALID_PARAMETER);
        Bytes const one = derElement(
            tag::sequence,
            {derElement(tag::objectId, {*objectId}),
             extension.fCritical != FALSE ? ByteView(critical) : ByteView(),
             derElement(tag::octetString, {viewOf(extension.Value.pbData, extension.Value.cbData)})});
        list.insert(list.end(), one.begin(), one.end());
    }
    return derElement(tag::contextConstructed(3), {derElement(tag::sequence, {list})});
}

KeyReference referenceOf(CRYPT_KEY_PROV_INFO const& info) { return readKeyReference(storeKeyInfo(info)); }

std::string randomContainerName() {
    static constexpr char digits[] = "0123456789abcdef";
    std::uint8_t octets[16];
    if (RAND_bytes(octets, sizeof octets) != 1)
        failLibcrypto(NTE_FAIL);
    std::string name;
    for (std::uint8_t const octet : octets) {
        name += digits[octet >> 4];
        name += digits[octet & 0xF];
    }
    return name;
}

// The container of the new certificate's key: the one of the handle, the one that the reference names, or a
// new one.
struct Signer {
    std::shared_ptr<ProviderContext> context;
    KeyReference reference;
    bool isNew = false; // made here, and taken back if no certificate comes of it
};

Signer findSigner(HCRYPTPROV handle, CRYPT_KEY_PROV_INFO const* info) {
    Signer signer;
    if (info != nullptr)
        signer.reference = referenceOf(*info);
    else
        signer.reference.keySpec = AT_SIGNATURE;
    if (!isSlot(signer.reference.keySpec))
        fail(NTE_BAD_KEY);
    if (handle != 0) {
        signer.context = objectOf<ProviderContext>(handle);
    } else if (info == nullptr) {
        signer.context = openContext(nullptr, PROV_RSA_FULL, randomContainerName(), CRYPT_NEWKEYSET);
        signer.isNew = true;
    } else {
        DWORD const error = outcome([&] { signer.context = openReferenced(signer.reference); });
        if (error == errorValue(NTE_BAD_KEYSET)) {
            signer.context = openContext(
                signer.reference.provider.c_str(), signer.reference.type, signer.reference.container,
                (signer.reference.flags & (CRYPT_MACHINE_KEYSET | CRYPT_SILENT)) | CRYPT_NEWKEYSET);
            signer.isNew = true;
        } else if (error != ERROR_SUCCESS) {
            fail(error);
        }
    }
    return signer;
}

Bytes signedCertificate(Key& key, SignatureKind const& kind, ByteView name, ByteView validity,
                        ByteView extensions) {
    static constexpr std::uint8_t version3[] = {tag::contextConstructed(0), 3, tag::integer, 1, CERT_V3};
    static constexpr std::uint8_t noParameters[] = {tag::null, 0};
    static constexpr std::uint8_t noUnusedBits[] = {0};
    Bytes const algorithm = encodeAlgorithm(kind.objectId, noParameters);
    Bytes const toBeSigned =
        derElement(tag::sequence, {version3, randomSerialNumber(), algorithm, name, validity, name,
                                   rsaPublicKeyInfo(key.publicKey().encoding()), extensions});
    Bytes const value = digest(kind.digest, {toBeSigned});
    DigestAlgorithm const& digestAlgorithm = *findDigest(kind.digest);
    Bytes digestInfo(digestAlgorithm.prefix.begin(), digestAlgorithm.prefix.end());
    digestInfo.insert(digestInfo.end(), value.begin(), value.end());
    Bytes const signature = key.sign(digestInfo);
    return derElement(tag::sequence,
                      {toBeSigned, algorithm, derElement(tag::bitString, {noUnusedBits, signature})});
}

Bytes storedReference(Signer const& signer, CRYPT_KEY_PROV_INFO const* info) {
    if (info != nullptr)
        return storeKeyInfo(*info);
    auto container = widen(signer.context->container->name()).value_or(L"");
    auto provider = widen(signer.context->provider->name()).value_or(L"");
    CRYPT_KEY_PROV_INFO made{};
    made.pwszContainerName = container.data();
    made.pwszProvName = provider.data();
    made.dwProvType = signer.context->provider->type();
    made.dwFlags = signer.context->scope == Scope::machine ? CRYPT_MACHINE_KEYSET : 0;
    made.dwKeySpec = signer.reference.keySpec;
    return storeKeyInfo(made);
}

} // namespace

PCCERT_CONTEXT WINAPI CertCreateSelfSignCertificate(HCRYPTPROV_OR_NCRYPT_KEY_HANDLE hCryptProvOrNCryptKey,
                                                    PCERT_NAME_BLOB pSubjectIssuerBlob, DWORD dwFlags,
                                                    PCRYPT_KEY_PROV_INFO pKeyProvInfo,
                                                    PCRYPT_ALGORITHM_IDENTIFIER pSignatureAlgorithm,
                                                    PSYSTEMTIME pStartTime, PSYSTEMTIME pEndTime,
                                                    PCERT_EXTENSIONS pExtensions) {
    return boundaryResult<PCCERT_CONTEXT>([&](PCCERT_CONTEXT& result) -> DWORD {
        // Everything that was given is checked before a container or a key is made.
        if ((dwFlags & ~DWORD{CERT_CREATE_SELFSIGN_NO_KEY_INFO}) != 0)
            return errorValue(NTE_BAD_FLAGS);
        Bytes const name = checkedName(pSubjectIssuerBlob);
        SignatureKind const& kind = signatureKind(pSignatureAlgorithm);
        SYSTEMTIME const start = timeOr(pStartTime, now());
        SYSTEMTIME const end = timeOr(pEndTime, aYearAfter(start));
        Bytes const validity = derElement(tag::sequence, {encodeTime(start), encodeTime(end)});
        Bytes const extensions = encodeExtensions(pExtensions);

        Signer const signer = findSigner(hCryptProvOrNCryptKey, pKeyProvInfo);
        DWORD const error = outcome([&] {
            constexpr unsigned keyBits = 2048;
            auto key = signer.context->container->key(signer.reference.keySpec);
            if (!key)
                key = signer.context->container->generate(signer.reference.keySpec, keyBits, false);
            Bytes const encoding = signedCertificate(*key, kind, name, validity, extensions);
            CertificateFields fields;
            if (!parseCertificate(encoding, fields))
                fail(CRYPT_E_BAD_ENCODE);
            auto memory = std::make_shared<MemoryCertificate>();
            if ((dwFlags & CERT_CREATE_SELFSIGN_NO_KEY_INFO) == 0)
                setMemoryProperty(*memory, CERT_KEY_PROV_INFO_PROP_ID, storedReference(signer, pKeyProvInfo));
            result = CertificateContext::create(fields, nullptr, {nullptr, 0, std::move(memory), nullptr});
        });
        if (error != ERROR_SUCCESS && signer.isNew)
            static_cast<void>(outcome([&] {
                signer.context->provider->remove(signer.context->scope, signer.context->container->name(),
                                                 signer.context->asking);
            }));
        return error;
    });
}
