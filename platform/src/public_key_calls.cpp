// Public keys: their export, encoding and length.
#include "boundary.h"
#include "certificate_fields.h"
#include "der_cursor.h"
#include "der_writer.h"
#include "object_id.h"
#include "provider_objects.h"
#include "public_key_info.h"

#include <algorithm>

namespace wincrypt {
namespace {

constexpr std::uint8_t noParameters[] = {tag::null, 0};
constexpr std::uint8_t noUnusedBits[] = {0};

// Sizes of the named curves of RFC 5480, 2.1.1.1 that certificates use.
constexpr std::uint8_t secp192r1[] = {0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x03, 0x01, 0x01};
constexpr std::uint8_t secp256r1[] = {0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x03, 0x01, 0x07};
constexpr std::uint8_t secp224r1[] = {0x2B, 0x81, 0x04, 0x00, 0x21};
constexpr std::uint8_t secp384r1[] = {0x2B, 0x81, 0x04, 0x00, 0x22};
constexpr std::uint8_t secp521r1[] = {0x2B, 0x81, 0x04, 0x00, 0x23};

const struct {
    ByteView objectId;
    DWORD bits;
} curves[] = {{secp192r1, 192}, {secp224r1, 224}, {secp256r1, 256}, {secp384r1, 384}, {secp521r1, 521}};

DWORD modulusBits(ByteView rsaPublicKey) {
    DerCursor input(rsaPublicKey);
    auto const sequence = input.next(tag::sequence);
    if (!sequence)
        return 0;
    DerCursor inside(sequence->content);
    auto const modulus = inside.next(tag::integer);
    if (!modulus)
        return 0;
    auto const first =
        std::find_if(modulus->content.begin(), modulus->content.end(), [](auto octet) { return octet; });
    if (first == modulus->content.end())
        return 0;
    DWORD bits = 0;
    for (unsigned octet = *first; octet != 0; octet >>= 1)
        ++bits;
    return bits + static_cast<DWORD>(modulus->content.end() - first - 1) * 8;
}

DWORD keyBits(CERT_PUBLIC_KEY_INFO const& info) {
    if (info.Algorithm.pszObjId == nullptr)
        return 0;
    auto const algorithm = objectIdContent(info.Algorithm.pszObjId);
    if (!algorithm)
        return 0;
    if (equal(*algorithm, oid::rsaEncryption))
        return modulusBits(viewOf(info.PublicKey.pbData, info.PublicKey.cbData));
    if (!equal(*algorithm, oid::ecPublicKey))
        return 0;
    DerCursor parameters(viewOf(info.Algorithm.Parameters.pbData, info.Algorithm.Parameters.cbData));
    auto const curve = parameters.next(tag::objectId);
    for (auto const& known : curves)
        if (curve && equal(curve->content, known.objectId))
            return known.bits;
    return 0;
}

} // namespace

Bytes encodeAlgorithm(char const* objectId, ByteView parameters) {
    auto const content = objectId != nullptr ? objectIdContent(objectId) : std::nullopt;
    if (!content)
        fail(ERROR_INVALID_PARAMETER);
    return derElement(tag::sequence, {derElement(tag::objectId, {*content}), parameters});
}

Bytes encodePublicKeyInfo(CERT_PUBLIC_KEY_INFO const& info) {
    // Without parameters an RSA key has the NULL that RFC 3279, 2.3.1 asks for.
    ByteView parameters = viewOf(info.Algorithm.Parameters.pbData, info.Algorithm.Parameters.cbData);
    if (parameters.empty())
        parameters = noParameters;
    if (info.PublicKey.cUnusedBits > 7)
        fail(ERROR_INVALID_PARAMETER);
    std::uint8_t const unused[] = {static_cast<std::uint8_t>(info.PublicKey.cUnusedBits)};
    return derElement(
        tag::sequence,
        {encodeAlgorithm(info.Algorithm.pszObjId, parameters),
         derElement(tag::bitString, {unused, viewOf(info.PublicKey.pbData, info.PublicKey.cbData)})});
}

Bytes rsaPublicKeyInfo(ByteView rsaPublicKey) {
    return derElement(tag::sequence, {encodeAlgorithm(szOID_RSA_RSA, noParameters),
                                      derElement(tag::bitString, {noUnusedBits, rsaPublicKey})});
}

} // namespace wincrypt

using namespace wincrypt;

BOOL WINAPI CryptExportPublicKeyInfo(HCRYPTPROV_OR_NCRYPT_KEY_HANDLE hCryptProvOrNCryptKey, DWORD dwKeySpec,
                                     DWORD dwCertEncodingType, PCERT_PUBLIC_KEY_INFO pInfo, DWORD* pcbInfo) {
    return boundary([&]() -> DWORD {
        const auto context = objectOf<ProviderContext>(hCryptProvOrNCryptKey);
        if (pcbInfo == nullptr)
            return ERROR_INVALID_PARAMETER;
        if ((dwCertEncodingType & 0xFFFF) != X509_ASN_ENCODING)
            return ERROR_FILE_NOT_FOUND;
        const auto key = context->requireKey(dwKeySpec);
        ByteView const bits = key->publicKey().encoding();
        constexpr std::size_t textSize = sizeof szOID_RSA_RSA;
        DWORD const size =
            lengthOf(sizeof(CERT_PUBLIC_KEY_INFO) + textSize + sizeof noParameters + bits.size());
        DWORD const room = *pcbInfo;
        *pcbInfo = size;
        if (pInfo == nullptr)
            return ERROR_SUCCESS;
        if (room < size)
            return ERROR_MORE_DATA;
        BYTE* const text = reinterpret_cast<BYTE*>(pInfo) + sizeof(CERT_PUBLIC_KEY_INFO);
        BYTE* const parameters = text + textSize;
        BYTE* const keyBytes = parameters + sizeof noParameters;
        std::memcpy(text, szOID_RSA_RSA, textSize);
        std::memcpy(parameters, noParameters, sizeof noParameters);
        std::memcpy(keyBytes, bits.data(), bits.size());
        CERT_PUBLIC_KEY_INFO info{};
        info.Algorithm = {reinterpret_cast<LPSTR>(text), {sizeof noParameters, parameters}};
        info.PublicKey = {static_cast<DWORD>(bits.size()), keyBytes, 0};
        std::memcpy(static_cast<void*>(pInfo), &info, sizeof info);
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI CryptEncodeObject(DWORD dwCertEncodingType, LPCSTR lpszStructType, void const* pvStructInfo,
                              BYTE* pbEncoded, DWORD* pcbEncoded) {
    return boundary([&]() -> DWORD {
        if (pvStructInfo == nullptr || pcbEncoded == nullptr)
            return ERROR_INVALID_PARAMETER;
        if ((dwCertEncodingType & 0xFFFF) != X509_ASN_ENCODING || lpszStructType != X509_PUBLIC_KEY_INFO)
            return ERROR_FILE_NOT_FOUND;
        return deliver(encodePublicKeyInfo(*static_cast<CERT_PUBLIC_KEY_INFO const*>(pvStructInfo)),
                       pbEncoded, pcbEncoded);
    });
}

DWORD WINAPI CertGetPublicKeyLength(DWORD dwCertEncodingType, PCERT_PUBLIC_KEY_INFO pPublicKey) {
    return boundaryResult<DWORD>([&](DWORD& bits) -> DWORD {
        if ((dwCertEncodingType & 0xFFFF) != X509_ASN_ENCODING || pPublicKey == nullptr)
            return ERROR_INVALID_PARAMETER;
        bits = keyBits(*pPublicKey);
        return bits != 0 ? ERROR_SUCCESS : errorValue(CRYPT_E_NOT_FOUND);
    });
}
