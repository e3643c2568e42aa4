#include "layer_fixture.h"

#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

namespace layer_test {

DWORD errorOfCall(std::function<bool()> const& call) {
    constexpr DWORD untouched = 0xDEAD;
    SetLastError(untouched);
    if (call()) {
        EXPECT_EQ(GetLastError(), untouched) << "success touched the last error";
        return 0;
    }
    return GetLastError();
}

ProviderHandle openContainer(char const* name, DWORD flags) {
    ProviderHandle provider;
    CryptAcquireContextA(provider.address(), name, MS_ENHANCED_PROV_A, PROV_RSA_FULL, flags);
    return provider;
}

ProviderHandle newContainer(char const* name, DWORD bits, DWORD keyFlags) {
    ProviderHandle provider = openContainer(name, CRYPT_NEWKEYSET);
    HCRYPTKEY key = 0;
    EXPECT_TRUE(CryptGenKey(provider.get(), AT_KEYEXCHANGE, bits << 16 | keyFlags, &key));
    EXPECT_TRUE(CryptDestroyKey(key));
    return provider;
}

std::vector<std::string> containerNames() {
    ProviderHandle const provider = openContainer(nullptr);
    std::vector<std::string> names;
    BYTE name[256];
    auto const read = [&](DWORD step) {
        DWORD length = sizeof name;
        return CryptGetProvParam(provider.get(), PP_ENUMCONTAINERS, name, &length, step);
    };
    for (BOOL found = read(CRYPT_FIRST); found; found = read(CRYPT_NEXT))
        names.emplace_back(reinterpret_cast<char const*>(name));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_ITEMS});
    return names;
}

std::string parameter(ProviderHandle const& provider, DWORD id) {
    DWORD length = 0;
    if (!CryptGetProvParam(provider.get(), id, nullptr, &length, 0))
        return "";
    std::string text(length, '\0');
    EXPECT_TRUE(CryptGetProvParam(provider.get(), id, reinterpret_cast<BYTE*>(text.data()), &length, 0));
    return text.c_str();
}

HCRYPTKEY userKey(ProviderHandle const& provider, DWORD slot) {
    HCRYPTKEY key = 0;
    CryptGetUserKey(provider.get(), slot, &key);
    return key;
}

DWORD sign(ProviderHandle const& provider, DWORD slot) {
    HCRYPTHASH hash = 0;
    HCRYPTKEY key = 0;
    BYTE signature[512];
    DWORD size = sizeof signature;
    DWORD const error = errorOfCall([&] {
        return CryptCreateHash(provider.get(), CALG_SHA1, 0, 0, &hash) &&
               CryptSignHashA(hash, slot, nullptr, 0, signature, &size) &&
               CryptGetUserKey(provider.get(), slot, &key) &&
               CryptVerifySignatureA(hash, signature, size, key, nullptr, 0);
    });
    CryptDestroyKey(key);
    CryptDestroyHash(hash);
    return error;
}

StoreHandle openStore(char const* name) { return StoreHandle(CertOpenSystemStoreA(0, name)); }

StoreHandle openStore(wchar_t const* name, DWORD flags) {
    return StoreHandle(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, flags, name));
}

StoreHandle memoryStore() { return StoreHandle(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr)); }

Bytes const& certificate(unsigned number) {
    static std::map<unsigned, Bytes> made;
    Bytes& encoding = made[number];
    if (encoding.empty()) {
        CertificateFields fields;
        fields.subject = commonName("Person " + std::to_string(number));
        fields.serial = {0x42, static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)};
        // The same bytes whenever and in whichever process they are made.
        fields.notBefore = std::chrono::system_clock::from_time_t(1'700'000'000);
        fields.notAfter = fields.notBefore + std::chrono::hours(24 * 3650);
        encoding = makeCertificate(fields, TestKey::shared());
    }
    return encoding;
}

ContextHandle add(StoreHandle const& store, Bytes const& encoding, DWORD disposition) {
    ContextHandle context;
    CertAddEncodedCertificateToStore(store.get(), X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, encoding.data(),
                                     sizeOf(encoding), disposition, context.address());
    return context;
}

std::vector<Bytes> certificates(std::initializer_list<unsigned> numbers) {
    std::vector<Bytes> encodings;
    for (unsigned const number : numbers)
        encodings.push_back(certificate(number));
    return encodings;
}

DWORD sizeOf(Bytes const& bytes) { return static_cast<DWORD>(bytes.size()); }

Bytes firstOf(Bytes const& bytes, std::size_t length) {
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)};
}

ContextHandle contextOf(Bytes const& encoding) {
    return ContextHandle(CertCreateCertificateContext(X509_ASN_ENCODING, encoding.data(), sizeOf(encoding)));
}

Bytes encodingOf(PCCERT_CONTEXT context) {
    return {context->pbCertEncoded, context->pbCertEncoded + context->cbCertEncoded};
}

ContextHandle find(StoreHandle const& store, Bytes const& encoding) {
    ContextHandle context(CertEnumCertificatesInStore(store.get(), nullptr));
    while (context && encodingOf(context.get()) != encoding)
        context = ContextHandle(CertEnumCertificatesInStore(store.get(), context.release()));
    return context;
}

std::vector<Bytes> all(StoreHandle const& store) {
    std::vector<Bytes> encodings;
    PCCERT_CONTEXT context = nullptr;
    while ((context = CertEnumCertificatesInStore(store.get(), context)) != nullptr)
        encodings.push_back(encodingOf(context));
    EXPECT_EQ(GetLastError(), code(CRYPT_E_NOT_FOUND));
    return encodings;
}

std::optional<Bytes> property(PCCERT_CONTEXT context, DWORD id) {
    DWORD length = 0;
    if (!CertGetCertificateContextProperty(context, id, nullptr, &length))
        return std::nullopt;
    Bytes value(length);
    EXPECT_TRUE(CertGetCertificateContextProperty(context, id, value.data(), &length));
    EXPECT_EQ(length, value.size());
    return value;
}

bool setFriendlyName(PCCERT_CONTEXT context, std::wstring const& name) {
    std::wstring copy = name;
    CRYPT_DATA_BLOB blob{static_cast<DWORD>((name.size() + 1) * sizeof(wchar_t)),
                         reinterpret_cast<BYTE*>(copy.data())};
    return CertSetCertificateContextProperty(context, CERT_FRIENDLY_NAME_PROP_ID, 0, &blob) != FALSE;
}

std::optional<std::wstring> friendlyName(PCCERT_CONTEXT context) {
    auto const bytes = property(context, CERT_FRIENDLY_NAME_PROP_ID);
    if (!bytes || bytes->size() < sizeof(wchar_t))
        return std::nullopt;
    std::wstring name(bytes->size() / sizeof(wchar_t) - 1, L'\0');
    if (!name.empty())
        std::memcpy(name.data(), bytes->data(), name.size() * sizeof(wchar_t));
    return name;
}

bool setKeyInfo(PCCERT_CONTEXT context, std::wstring const& container, DWORD keySpec) {
    std::wstring containerCopy = container;
    std::wstring provider = L"" MS_ENHANCED_PROV_A;
    constexpr DWORD flags = CERT_SET_KEY_CONTEXT_PROP_ID;
    CRYPT_KEY_PROV_INFO info{containerCopy.data(), provider.data(), 1, flags, 0, nullptr, keySpec};
    return CertSetCertificateContextProperty(context, CERT_KEY_PROV_INFO_PROP_ID, 0, &info) != FALSE;
}

void sql(std::filesystem::path const& database, std::string const& text) {
    sqlite3* connection = nullptr;
    ASSERT_EQ(sqlite3_open(database.c_str(), &connection), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(connection, text.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << text;
    sqlite3_close(connection);
}

int failedChildren(int count, std::function<bool(int)> const& body, uid_t user) {
    TestKey::shared(); // the child's certificates are to be the same as here
    std::vector<pid_t> children;
    for (int i = 0; i < count; ++i)
        if (children.push_back(::fork()); children.back() == 0) {
            ::alarm(20);
            bool const isUser = user == 0 || (::setgid(user) == 0 && ::setuid(user) == 0);
            ::_exit(isUser && body(i) ? 0 : 1);
        }
    int failed = 0;
    for (pid_t const child : children) {
        int status = -1;
        failed += ::waitpid(child, &status, 0) != child || status != 0;
    }
    return failed;
}

bool inChild(std::function<bool()> const& body, uid_t user) {
    return failedChildren(
               1, [&](int) { return body(); }, user) == 0;
}

} // namespace layer_test
