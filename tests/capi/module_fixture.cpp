#include "module_fixture.h"

#include <tvkcore/base/tvkexception.h>

#include <wincrypt_layer.h>

#include <ostream>
#include <stdexcept>
#include <typeinfo>

using namespace test_support;

namespace capi_tests {

namespace {

void require(bool done, char const* what) {
    if (!done) {
        throw std::runtime_error(std::string(what) + ": " + std::to_string(GetLastError()));
    }
}

BOOL CALLBACK openNew(CRYPT_PRIVATE_KEY_INFO* /*info*/, HCRYPTPROV* provider, LPVOID name) {
    return CryptAcquireContextA(provider, static_cast<char const*>(name), MS_ENHANCED_PROV_A, PROV_RSA_FULL,
                                CRYPT_NEWKEYSET);
}

} // namespace

void ModuleTest::TearDown() {
    calls.reset();
    EXPECT_EQ(WincryptLiveObjectCount(), 0U) << "handles or contexts that nobody released";
}

OwnedStore openStore(char const* name) {
    OwnedStore store(CertOpenSystemStoreA(0, name));
    require(store.isSet(), name);
    return store;
}

OwnedStore memoryStore() { return OwnedStore(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr)); }

OwnedProvider makeContainer(char const* name, TestKey const& key, bool exportable) {
    Bytes blob = key.privateKeyInfo();
    CRYPT_PKCS8_IMPORT_PARAMS parameters{};
    parameters.PrivateKey.cbData = static_cast<DWORD>(blob.size());
    parameters.PrivateKey.pbData = blob.data();
    parameters.pResolvehCryptProvFunc = &openNew;
    parameters.pVoidResolveFunc = const_cast<char*>(name);
    OwnedProvider provider;
    require(CryptImportPKCS8(parameters, exportable ? CRYPT_EXPORTABLE : 0, provider.receive(), nullptr),
            "CryptImportPKCS8");
    return provider;
}

bool containerExists(char const* name) {
    OwnedProvider provider;
    return CryptAcquireContextA(provider.receive(), name, MS_ENHANCED_PROV_A, PROV_RSA_FULL, 0) != 0;
}

OwnedCertificate certificate(CertificateFields const& fields, HCERTSTORE store) {
    Bytes const der = makeCertificate(fields, TestKey::shared(1024));
    auto const size = static_cast<DWORD>(der.size());
    if (store == nullptr) {
        OwnedCertificate outside(
            CertCreateCertificateContext(CapiManagerUtility::encoding, der.data(), size));
        require(outside.isSet(), "CertCreateCertificateContext");
        return outside;
    }
    OwnedCertificate added;
    require(CertAddEncodedCertificateToStore(store, CapiManagerUtility::encoding, der.data(), size,
                                             CERT_STORE_ADD_ALWAYS, added.receive()),
            "CertAddEncodedCertificateToStore");
    return added;
}

OwnedCertificate certificate(char const* name, HCERTSTORE store) {
    return certificate(CertificateFields{.subject = commonName(name)}, store);
}

void setKey(PCCERT_CONTEXT cert, std::wstring container, DWORD keySpec) {
    std::wstring provider = L"" MS_ENHANCED_PROV_A;
    CRYPT_KEY_PROV_INFO info{};
    info.pwszContainerName = container.data();
    info.pwszProvName = provider.data();
    info.dwProvType = PROV_RSA_FULL;
    info.dwFlags = CRYPT_SILENT;
    info.dwKeySpec = keySpec;
    require(CertSetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, 0, &info), "key property");
}

void setFriendlyName(PCCERT_CONTEXT cert, std::wstring name) {
    CRYPT_DATA_BLOB blob{};
    blob.cbData = static_cast<DWORD>((name.size() + 1) * sizeof(wchar_t));
    blob.pbData = reinterpret_cast<BYTE*>(name.data());
    require(CertSetCertificateContextProperty(cert, CERT_FRIENDLY_NAME_PROP_ID, 0, &blob), "friendly name");
}

KeyWorld::KeyWorld()
    : provider(makeContainer("keys", TestKey::shared(1024))), store(openStore("MY")),
      cert(certificate("Alice", store.get())) {
    require(CryptGetUserKey(provider.get(), AT_KEYEXCHANGE, key.receive()), "CryptGetUserKey");
    require(CryptCreateHash(provider.get(), CALG_SHA1, 0, 0, hash.receive()), "CryptCreateHash");
    setKey(cert.get(), L"keys");
    require(CapiManagerUtility::isCertWithPrivateKey(cert.get(), reference), "key reference");
}

std::string text(TVKBuffer const& buffer) {
    return {reinterpret_cast<char const*>(buffer.getValue()), buffer.getLength()};
}

TVKBuffer buffer(std::string const& text) {
    return {static_cast<unsigned int>(text.size()), reinterpret_cast<unsigned char const*>(text.data())};
}

TVKBuffer buffer(Bytes const& bytes) { return {static_cast<unsigned int>(bytes.size()), bytes.data()}; }

Raised raisedBy(std::function<void()> const& operation) {
    try {
        operation();
    } catch (TVKException const& failure) {
        EXPECT_GT(failure.getLine(), 0);
        Raised raised{.file = failure.getFile().c_str(),
                      .code = failure.getCode(),
                      .message = failure.getMessage().c_str()};
        auto const* withCode = dynamic_cast<TVKCAPIException const*>(&failure);
        if (withCode != nullptr && withCode->hasSystemCode()) {
            raised.systemCode = static_cast<DWORD>(withCode->getSystemCode());
        }
        raised.type = typeid(failure) == typeid(TVKCAPIException)  ? "TVKCAPIException"
                      : typeid(failure) == typeid(TVKASNException) ? "TVKASNException"
                                                                   : "TVKException";
        return raised;
    }
    return {};
}

Raised capi(char const* file, int code, char const* message) {
    return {.type = "TVKCAPIException", .file = file, .code = code, .message = message};
}

Raised capi(char const* file, int code, char const* message, long systemCode) {
    Raised raised = capi(file, code, message);
    raised.systemCode = static_cast<DWORD>(systemCode);
    return raised;
}

std::ostream& operator<<(std::ostream& out, Raised const& raised) {
    out << (raised.type.empty() ? "nothing" : raised.type) << ' ' << raised.code << " \"" << raised.message
        << "\" in " << raised.file;
    return raised.systemCode ? out << std::hex << " system code 0x" << *raised.systemCode << std::dec : out;
}

} // namespace capi_tests
