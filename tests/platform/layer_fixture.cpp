#include "layer_fixture.h"

#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <map>

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

StoreHandle openStore(char const* name) { return StoreHandle(CertOpenSystemStoreA(0, name)); }

StoreHandle openStore(wchar_t const* name, DWORD flags) {
    return StoreHandle(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, flags, name));
}

StoreHandle memoryStore() { return StoreHandle(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr)); }

Bytes const& certificate(unsigned number) {
    static std::map<unsigned, Bytes> made;
    Bytes& encoding = made[number];
    if (encoding.empty()) {
        test_support::CertificateFields fields;
        fields.subject = test_support::commonName("Person " + std::to_string(number));
        fields.serial = {0x42, static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)};
        // The same bytes whenever and in whichever process they are made.
        fields.notBefore = std::chrono::system_clock::from_time_t(1'700'000'000);
        fields.notAfter = fields.notBefore + std::chrono::hours(24 * 3650);
        encoding = makeCertificate(fields, test_support::TestKey::shared());
    }
    return encoding;
}

ContextHandle add(StoreHandle const& store, Bytes const& encoding, DWORD disposition) {
    ContextHandle context;
    CertAddEncodedCertificateToStore(store.get(), X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, encoding.data(),
                                     static_cast<DWORD>(encoding.size()), disposition, context.address());
    return context;
}

std::vector<Bytes> certificates(std::initializer_list<unsigned> numbers) {
    std::vector<Bytes> encodings;
    for (unsigned const number : numbers)
        encodings.push_back(certificate(number));
    return encodings;
}

Bytes firstOf(Bytes const& bytes, std::size_t length) {
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)};
}

ContextHandle contextOf(Bytes const& encoding) {
    return ContextHandle(CertCreateCertificateContext(X509_ASN_ENCODING, encoding.data(),
                                                      static_cast<DWORD>(encoding.size())));
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
    CRYPT_KEY_PROV_INFO info{containerCopy.data(),
                             provider.data(),
                             PROV_RSA_FULL,
                             CERT_SET_KEY_CONTEXT_PROP_ID,
                             0,
                             nullptr,
                             keySpec};
    return CertSetCertificateContextProperty(context, CERT_KEY_PROV_INFO_PROP_ID, 0, &info) != FALSE;
}

void sql(std::filesystem::path const& database, std::string const& text) {
    sqlite3* connection = nullptr;
    ASSERT_EQ(sqlite3_open(database.c_str(), &connection), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(connection, text.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << text;
    sqlite3_close(connection);
}

int failedChildren(int count, std::function<bool(int)> const& body, uid_t user) {
    test_support::TestKey::shared(); // the child's certificates are to be the same as here
    std::vector<pid_t> children;
    for (int i = 0; i < count; ++i)
        if (children.push_back(::fork()); children.back() == 0) {
            ::alarm(5);
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
