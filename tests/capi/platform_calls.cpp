#include "platform_calls.h"

#include <dlfcn.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace capi_tests {

namespace {

thread_local unsigned t_depth = 0;

struct Inside {
    Inside() { ++t_depth; }
    ~Inside() { --t_depth; }
    Inside(Inside const&) = delete;
    Inside& operator=(Inside const&) = delete;
};

std::string number(unsigned long long value) {
    char text[24];
    std::snprintf(text, sizeof text, value < 10 ? "%llu" : "0x%llx", value);
    return text;
}

std::string shown(DWORD value) { return number(value); }
std::string shown(int value) { return number(static_cast<unsigned>(value)); }
std::string shown(BYTE value) { return number(value); }
std::string shown(ULONGLONG value) { return number(value); }
std::string shown(ULONG_PTR handle) { return handle == 0 ? "0" : "set"; }
std::string shown(void const* pointer) { return pointer == nullptr ? "0" : "set"; }

// A store provider is a small number in the place of a text.
std::string shown(char const* text) {
    auto const value = reinterpret_cast<std::uintptr_t>(text);
    return value < 0x10000 ? number(value) : '"' + std::string(text) + '"';
}

// A buffer that the call fills: there is no text in it yet.
std::string shown(char* buffer) { return shown(static_cast<void const*>(buffer)); }

template <auto Call, typename... Arguments>
auto pass(char const* name, Arguments... arguments) {
    static auto* const real = reinterpret_cast<decltype(Call)>(dlsym(RTLD_NEXT, name));
    if (real == nullptr) {
        std::fprintf(stderr, "the layer has no %s\n", name);
        std::abort();
    }
    if (t_depth != 0) {
        return real(arguments...);
    }
    Inside const inside;
    std::any* const answer =
        PlatformCalls::instance().note(PlatformCalls::keyOf(Call), name, {shown(arguments)...});
    using Answer = std::function<decltype(Call(arguments...))(Arguments...)>;
    return answer == nullptr ? real(arguments...) : std::any_cast<Answer&>(*answer)(arguments...);
}

} // namespace

PlatformCalls& PlatformCalls::instance() {
    static PlatformCalls s_calls;
    return s_calls;
}

std::vector<std::string> PlatformCalls::names() const {
    std::vector<std::string> names;
    for (Record const& record : m_records) {
        names.push_back(record.name);
    }
    return names;
}

void PlatformCalls::reset() {
    m_records.clear();
    m_rules.clear();
}

std::any* PlatformCalls::note(AnyCall call, char const* name, std::vector<std::string> const& arguments) {
    std::string text;
    for (std::string const& argument : arguments) {
        text += (text.empty() ? "" : ", ") + argument;
    }
    m_records.push_back({call, name, text});
    auto const rule = m_rules.find(call);
    if (rule == m_rules.end()) {
        return nullptr;
    }
    ++rule->second.seen;
    bool const meant = rule->second.nth == 0 || rule->second.nth == rule->second.seen;
    return meant ? &rule->second.answer : nullptr;
}

} // namespace capi_tests

// The layer's header declares each of these, so that a type that isn't its own doesn't compile.
// A parameter can't stand in parentheses.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define CALL1(result, name, A) \
    result name(A a) { return capi_tests::pass<&name>(#name, a); }
#define CALL2(result, name, A, B) \
    result name(A a, B b) { return capi_tests::pass<&name>(#name, a, b); }
#define CALL3(result, name, A, B, C) \
    result name(A a, B b, C c) { return capi_tests::pass<&name>(#name, a, b, c); }
#define CALL4(result, name, A, B, C, D) \
    result name(A a, B b, C c, D d) { return capi_tests::pass<&name>(#name, a, b, c, d); }
#define CALL5(result, name, A, B, C, D, E) \
    result name(A a, B b, C c, D d, E e) { return capi_tests::pass<&name>(#name, a, b, c, d, e); }
#define CALL6(result, name, A, B, C, D, E, F) \
    result name(A a, B b, C c, D d, E e, F f) { return capi_tests::pass<&name>(#name, a, b, c, d, e, f); }
#define CALL7(result, name, A, B, C, D, E, F, G)                    \
    result name(A a, B b, C c, D d, E e, F f, G g) {                \
        return capi_tests::pass<&name>(#name, a, b, c, d, e, f, g); \
    }
#define CALL8(result, name, A, B, C, D, E, F, G, H)                    \
    result name(A a, B b, C c, D d, E e, F f, G g, H h) {              \
        return capi_tests::pass<&name>(#name, a, b, c, d, e, f, g, h); \
    }
// NOLINTEND(bugprone-macro-parentheses)

// clang-format off
CALL3(BOOL, VerifyVersionInfoA, OSVERSIONINFOEXA*, DWORD, DWORDLONG)
CALL3(ULONGLONG, VerSetConditionMask, ULONGLONG, DWORD, BYTE)
CALL5(BOOL, CryptAcquireContextA, HCRYPTPROV*, LPCSTR, LPCSTR, DWORD, DWORD)
CALL2(BOOL, CryptReleaseContext, HCRYPTPROV, DWORD)
CALL6(BOOL, CryptEnumProvidersA, DWORD, DWORD*, DWORD, DWORD*, LPSTR, DWORD*)
CALL5(BOOL, CryptGetProvParam, HCRYPTPROV, DWORD, BYTE*, DWORD*, DWORD)
CALL5(BOOL, CryptGetKeyParam, HCRYPTKEY, DWORD, BYTE*, DWORD*, DWORD)
CALL3(BOOL, CryptGetUserKey, HCRYPTPROV, DWORD, HCRYPTKEY*)
CALL4(BOOL, CryptGenKey, HCRYPTPROV, ALG_ID, DWORD, HCRYPTKEY*)
CALL1(BOOL, CryptDestroyKey, HCRYPTKEY)
CALL3(BOOL, CryptGenRandom, HCRYPTPROV, DWORD, BYTE*)
CALL5(BOOL, CryptCreateHash, HCRYPTPROV, ALG_ID, HCRYPTKEY, DWORD, HCRYPTHASH*)
CALL4(BOOL, CryptHashData, HCRYPTHASH, BYTE const*, DWORD, DWORD)
CALL4(BOOL, CryptSetHashParam, HCRYPTHASH, DWORD, BYTE const*, DWORD)
CALL6(BOOL, CryptSignHashA, HCRYPTHASH, DWORD, LPCSTR, DWORD, BYTE*, DWORD*)
CALL6(BOOL, CryptVerifySignatureA, HCRYPTHASH, BYTE const*, DWORD, HCRYPTKEY, LPCSTR, DWORD)
CALL7(BOOL, CryptEncrypt, HCRYPTKEY, HCRYPTHASH, BOOL, DWORD, BYTE*, DWORD*, DWORD)
CALL6(BOOL, CryptDecrypt, HCRYPTKEY, HCRYPTHASH, BOOL, DWORD, BYTE*, DWORD*)
CALL5(HCERTSTORE, CertOpenStore, LPCSTR, DWORD, HCRYPTPROV, DWORD, void const*)
CALL2(HCERTSTORE, CertOpenSystemStoreA, HCRYPTPROV, LPCSTR)
CALL2(BOOL, CertCloseStore, HCERTSTORE, DWORD)
CALL4(BOOL, CertAddStoreToCollection, HCERTSTORE, HCERTSTORE, DWORD, DWORD)
CALL2(PCCERT_CONTEXT, CertEnumCertificatesInStore, HCERTSTORE, PCCERT_CONTEXT)
CALL6(PCCERT_CONTEXT, CertFindCertificateInStore, HCERTSTORE, DWORD, DWORD, DWORD, void const*,
      PCCERT_CONTEXT)
CALL1(BOOL, CertFreeCertificateContext, PCCERT_CONTEXT)
CALL4(BOOL, CertAddCertificateContextToStore, HCERTSTORE, PCCERT_CONTEXT, DWORD, PCCERT_CONTEXT*)
CALL1(BOOL, CertDeleteCertificateFromStore, PCCERT_CONTEXT)
CALL4(BOOL, CertGetCertificateContextProperty, PCCERT_CONTEXT, DWORD, void*, DWORD*)
CALL4(BOOL, CertSetCertificateContextProperty, PCCERT_CONTEXT, DWORD, DWORD, void const*)
CALL6(DWORD, CertGetNameStringA, PCCERT_CONTEXT, DWORD, DWORD, void*, LPSTR, DWORD)
CALL2(DWORD, CertGetPublicKeyLength, DWORD, CERT_PUBLIC_KEY_INFO*)
CALL3(BOOL, CertCompareCertificateName, DWORD, CERT_NAME_BLOB*, CERT_NAME_BLOB*)
CALL8(PCCERT_CONTEXT, CertCreateSelfSignCertificate, HCRYPTPROV, CERT_NAME_BLOB*, DWORD, CRYPT_KEY_PROV_INFO*,
      CRYPT_ALGORITHM_IDENTIFIER*, SYSTEMTIME*, SYSTEMTIME*, CERT_EXTENSIONS*)
CALL6(BOOL, CryptAcquireCertificatePrivateKey, PCCERT_CONTEXT, DWORD, void*, HCRYPTPROV*, DWORD*, BOOL*)
CALL5(BOOL, CryptExportPublicKeyInfo, HCRYPTPROV, DWORD, DWORD, CERT_PUBLIC_KEY_INFO*, DWORD*)
CALL5(BOOL, CryptEncodeObject, DWORD, LPCSTR, void const*, BYTE*, DWORD*)
CALL7(BOOL, CryptExportPKCS8, HCRYPTPROV, DWORD, LPSTR, DWORD, void*, BYTE*, DWORD*)
// clang-format on
