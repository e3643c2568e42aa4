#include "module_fixture.h"

#include <cstring>
#include <stdexcept>

namespace capi_tests {

namespace {

void require(bool done, char const* what) {
    if (!done)
        throw std::runtime_error(std::string(what) + ": " + std::to_string(GetLastError()));
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

OwnedProvider makeContainer(char const* name, unsigned bits) {
    Bytes blob = TestKey::shared(bits).privateKeyInfo();
    CRYPT_PKCS8_IMPORT_PARAMS parameters{};
    parameters.PrivateKey = {static_cast<DWORD>(blob.size()), blob.data()};
    parameters.pResolvehCryptProvFunc = [](CRYPT_PRIVATE_KEY_INFO*, HCRYPTPROV* provider, LPVOID called) {
        return CryptAcquireContextA(provider, static_cast<char const*>(called), MS_ENHANCED_PROV_A, 1,
                                    CRYPT_NEWKEYSET);
    };
    parameters.pVoidResolveFunc = const_cast<char*>(name);
    OwnedProvider provider;
    require(CryptImportPKCS8(parameters, CRYPT_EXPORTABLE, provider.receive(), nullptr), "CryptImportPKCS8");
    return provider;
}

bool containerExists(char const* name) {
    OwnedProvider provider;
    return CryptAcquireContextA(provider.receive(), name, MS_ENHANCED_PROV_A, PROV_RSA_FULL, 0) != 0;
}

OwnedCertificate certificate(CertificateFields const& fields, HCERTSTORE store) {
    Bytes const der = makeCertificate(fields, TestKey::shared(1024));
    OwnedCertificate made(CertCreateCertificateContext(CapiManagerUtility::encoding, der.data(),
                                                       static_cast<DWORD>(der.size())));
    require(made.isSet(), "CertCreateCertificateContext");
    if (store == nullptr)
        return made;
    OwnedCertificate added;
    require(CertAddCertificateContextToStore(store, made.get(), CERT_STORE_ADD_ALWAYS, added.receive()),
            "CertAddCertificateContextToStore");
    return added;
}

OwnedCertificate certificate(char const* name, HCERTSTORE store) {
    return certificate(CertificateFields{.subject = commonName(name)}, store);
}

void setKey(PCCERT_CONTEXT cert, std::wstring container, DWORD keySpec) {
    std::wstring provider = L"" MS_ENHANCED_PROV_A;
    CRYPT_KEY_PROV_INFO info{container.data(), provider.data(), PROV_RSA_FULL, CRYPT_SILENT, 0,
                             nullptr,          keySpec};
    require(CertSetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, 0, &info), "key property");
}

KeyWorld::KeyWorld()
    : provider(makeContainer("keys")), store(openStore("MY")), cert(certificate("Alice", store.get())) {
    require(CryptGetUserKey(provider.get(), AT_KEYEXCHANGE, key.receive()), "CryptGetUserKey");
    require(CryptCreateHash(provider.get(), CALG_SHA1, 0, 0, hash.receive()), "CryptCreateHash");
    setKey(cert.get(), L"keys");
    require(CapiManagerUtility::isCertWithPrivateKey(cert.get(), reference), "key reference");
}

Factory::Factory(unsigned bits)
    : provider(makeContainer(std::to_string(bits).c_str(), bits)),
      key(owned(Csp::makeKeyItem(provider.get(), AT_KEYEXCHANGE, true, nullptr))->getKey()) {}

std::string text(TVKBuffer const& buffer) {
    return {reinterpret_cast<char const*>(buffer.getValue()), buffer.getLength()};
}

TVKBuffer buffer(std::string const& text) {
    return {static_cast<unsigned int>(text.size()), reinterpret_cast<unsigned char const*>(text.data())};
}

TVKBuffer buffer(Bytes const& bytes) { return {static_cast<unsigned int>(bytes.size()), bytes.data()}; }

Bytes bytesOf(TVKBuffer const& buffer) { return {buffer.getValue(), buffer.getValue() + buffer.getLength()}; }

TVKBuffer derOf(PCCERT_CONTEXT cert) { return {cert->cbCertEncoded, cert->pbCertEncoded}; }

TVKBuffer nameOf(PCCERT_CONTEXT cert) {
    CERT_NAME_BLOB const& subject = cert->pCertInfo->Subject;
    return {subject.cbData, subject.pbData};
}

CRYPT_KEY_PROV_INFO infoOf(TVKBuffer const& image) {
    CRYPT_KEY_PROV_INFO info{};
    require(image.getLength() == sizeof info, "not the image of a key reference");
    std::memcpy(&info, image.getValue(), sizeof info);
    return info;
}

TVKKRYKey privateKey(TVKKRYKey::Format format, TVKBuffer const& blob) {
    TVKKRYKey key;
    key.setType(TVKKRYKey::Private);
    key.setAlgorithm(TVKKRYKey::RSA);
    key.setFormat(format);
    key.setKeyBlob(blob);
    return key;
}

TVKKRYKey materialOf(unsigned bits) {
    return privateKey(TVKKRYKey::PrivateKeyInfo, buffer(TestKey::shared(bits).privateKeyInfo()));
}

Label::Label(std::string const& text) : TVKASNUTF8String(TVKASNNotSecure) {
    set_value(reinterpret_cast<unsigned char const*>(text.data()), text.size());
}

Raised raisedBy(std::function<void()> const& operation) {
    try {
        operation();
    } catch (TVKException const& failure) {
        EXPECT_GT(failure.getLine(), 0);
        Raised raised = capi(failure.getFile().c_str(), failure.getCode(), failure.getMessage().c_str());
        auto const* ours = dynamic_cast<TVKCAPIException const*>(&failure);
        if (ours != nullptr && ours->hasSystemCode())
            raised.systemCode = static_cast<DWORD>(ours->getSystemCode());
        bool const isOfAsn = dynamic_cast<TVKASNException const*>(&failure) != nullptr;
        raised.type = ours != nullptr ? "TVKCAPIException" : isOfAsn ? "TVKASNException" : "TVKException";
        return raised;
    }
    return {};
}

Raised capi(char const* file, int code, std::string const& message, std::optional<DWORD> systemCode) {
    return {"TVKCAPIException", file, code, message, systemCode};
}

std::ostream& operator<<(std::ostream& out, Raised const& raised) {
    out << (raised.type.empty() ? "nothing" : raised.type) << ' ' << raised.code << " \"" << raised.message
        << "\" in " << raised.file;
    return raised.systemCode ? out << std::hex << " system code 0x" << *raised.systemCode << std::dec : out;
}

} // namespace capi_tests
