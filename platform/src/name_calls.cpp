// Names of certificates (RFC 5280, 4.1.2.4).
#include "boundary.h"
#include "certificate_context.h"
#include "der_cursor.h"
#include "object_id.h"
#include "text.h"

using namespace wincrypt;

namespace {

void appendLatin1(std::string& text, ByteView octets) {
    for (std::uint8_t const octet : octets)
        appendUtf8(text, octet);
}

void appendUnits(std::string& text, ByteView octets, std::size_t unit) {
    for (; octets.size() >= unit; octets = octets.subspan(unit)) {
        char32_t character = 0;
        for (std::size_t i = 0; i < unit; ++i)
            character = character << 8 | octets[i];
        appendUtf8(text, character);
    }
}

void appendHex(std::string& text, ByteView octets) {
    static constexpr char digits[] = "0123456789abcdef";
    text += '#';
    for (std::uint8_t const octet : octets) {
        text += digits[octet >> 4];
        text += digits[octet & 0xF];
    }
}

// A zero inside would end the name for whoever reads it as C text, so it shows as U+FFFD.
std::string valueText(DerElement const& value) {
    std::string text;
    switch (value.tag) {
    case tag::utf8String: {
        std::string_view const utf8(reinterpret_cast<char const*>(value.content.data()),
                                    value.content.size());
        if (isUtf8(utf8) && utf8.find('\0') == std::string_view::npos)
            text = utf8;
        else
            for (std::uint8_t const octet : value.content)
                appendUtf8(text, octet < 0x80 ? octet : 0);
        break;
    }
    case tag::printableString:
    case tag::ia5String:
    case tag::numericString:
    case tag::visibleString:
    case tag::teletexString: // Latin-1 in practice
        appendLatin1(text, value.content);
        break;
    case tag::bmpString:
        appendUnits(text, value.content, 2);
        break;
    case tag::universalString:
        appendUnits(text, value.content, 4);
        break;
    default:
        appendHex(text, value.whole);
    }
    return text;
}

// The first attribute of this type, or of any type when it is empty.
std::optional<DerElement> findAttribute(ByteView name, ByteView type) {
    DerCursor outer(name);
    auto const sequence = outer.next(tag::sequence);
    if (!sequence)
        return std::nullopt;
    for (DerCursor sets(sequence->content); auto const set = sets.next(tag::set);)
        for (DerCursor attributes(set->content); auto const attribute = attributes.next(tag::sequence);) {
            DerCursor inside(attribute->content);
            auto const objectId = inside.next(tag::objectId);
            auto const value = inside.next();
            if (objectId && value && (type.empty() || equal(objectId->content, type)))
                return value;
        }
    return std::nullopt;
}

std::string attributeText(ByteView name, ByteView type) {
    auto const value = findAttribute(name, type);
    return value ? valueText(*value) : "";
}

std::string simpleDisplayName(ByteView name) {
    for (ByteView const type : {ByteView(oid::commonName), ByteView(oid::organizationalUnit),
                                ByteView(oid::organization), ByteView(oid::emailAddress), ByteView()})
        if (auto const value = findAttribute(name, type))
            return valueText(*value);
    return "";
}

std::string friendlyName(CertificateContext& context) {
    auto const properties = context.properties();
    if (!properties->friendlyName)
        return "";
    Bytes const given = givenFriendlyName(*properties->friendlyName);
    std::wstring wide(given.size() / sizeof(wchar_t), L'\0');
    if (!wide.empty())
        std::memcpy(wide.data(), given.data(), wide.size() * sizeof(wchar_t));
    return narrow(wide.c_str()).value_or("");
}

std::string nameText(CertificateContext& context, DWORD type, DWORD flags, void const* typeParameter) {
    if ((flags & ~DWORD{CERT_NAME_ISSUER_FLAG}) != 0)
        fail(E_INVALIDARG);
    bool const issuer = (flags & CERT_NAME_ISSUER_FLAG) != 0;
    CERT_NAME_BLOB const& blob = issuer ? context.pCertInfo->Issuer : context.pCertInfo->Subject;
    ByteView const name = viewOf(blob.pbData, blob.cbData);
    switch (type) {
    case CERT_NAME_EMAIL_TYPE:
        return attributeText(name, oid::emailAddress);
    case CERT_NAME_ATTR_TYPE: {
        if (typeParameter == nullptr)
            fail(E_INVALIDARG);
        auto const objectId = objectIdContent(static_cast<char const*>(typeParameter));
        if (!objectId)
            fail(E_INVALIDARG);
        return attributeText(name, *objectId);
    }
    case CERT_NAME_FRIENDLY_DISPLAY_TYPE:
        if (std::string friendly = issuer ? "" : friendlyName(context); !friendly.empty())
            return friendly;
        [[fallthrough]];
    case CERT_NAME_SIMPLE_DISPLAY_TYPE:
        return simpleDisplayName(name);
    default:
        fail(E_INVALIDARG);
    }
}

} // namespace

DWORD WINAPI CertGetNameStringA(PCCERT_CONTEXT pCertContext, DWORD dwType, DWORD dwFlags, void* pvTypePara,
                                LPSTR pszNameString, DWORD cchNameString) {
    std::string name;
    // A name that can't be given is an empty one, and the last error tells why.
    static_cast<void>(boundary(
        [&] { name = nameText(CertificateContext::of(pCertContext), dwType, dwFlags, pvTypePara); }));
    if (pszNameString == nullptr)
        return static_cast<DWORD>(name.size() + 1);
    if (cchNameString == 0)
        return 0;
    std::size_t length = name.size();
    if (length >= cchNameString) {
        length = cchNameString - 1;
        while (length > 0 && (static_cast<unsigned char>(name[length]) & 0xC0) == 0x80)
            --length;
    }
    std::memcpy(pszNameString, name.data(), length);
    pszNameString[length] = '\0';
    return static_cast<DWORD>(length + 1);
}

BOOL WINAPI CertCompareCertificateName(DWORD, PCERT_NAME_BLOB pCertName1, PCERT_NAME_BLOB pCertName2) {
    // Octet by octet, as published; FALSE without an error value is a plain no.
    return pCertName1 != nullptr && pCertName2 != nullptr && pCertName1->cbData == pCertName2->cbData &&
                   (pCertName1->cbData == 0 ||
                    (pCertName1->pbData != nullptr && pCertName2->pbData != nullptr &&
                     std::memcmp(pCertName1->pbData, pCertName2->pbData, pCertName1->cbData) == 0))
               ? TRUE
               : FALSE;
}
