// Puts a private key (PKCS#8) into a new container of the user, and its certificate with that name as
// friendly name into "MY": key_profile NAME KEY.der CERTIFICATE.der

#include <windows.h>

#include <wincrypt.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

static std::vector<BYTE> readFile(char const* path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

int main(int, char** argv) {
    std::vector<BYTE> key = readFile(argv[2]);
    std::vector<BYTE> const cert = readFile(argv[3]);
    CRYPT_PKCS8_IMPORT_PARAMS parameters{};
    parameters.PrivateKey = {static_cast<DWORD>(key.size()), key.data()};
    parameters.pResolvehCryptProvFunc = [](CRYPT_PRIVATE_KEY_INFO*, HCRYPTPROV* provider, LPVOID name) {
        return CryptAcquireContextA(provider, static_cast<char const*>(name), MS_ENHANCED_PROV_A,
                                    PROV_RSA_FULL, CRYPT_NEWKEYSET);
    };
    parameters.pVoidResolveFunc = argv[1];
    std::wstring name(argv[1], argv[1] + std::string(argv[1]).size());
    std::wstring software = L"" MS_ENHANCED_PROV_A;
    CRYPT_KEY_PROV_INFO info{name.data(), software.data(), PROV_RSA_FULL, 0, 0, nullptr, AT_KEYEXCHANGE};
    CRYPT_DATA_BLOB label{static_cast<DWORD>((name.size() + 1) * sizeof(wchar_t)),
                          reinterpret_cast<BYTE*>(name.data())};
    HCRYPTPROV provider = 0;
    HCERTSTORE const store = CertOpenSystemStoreA(0, "MY");
    PCCERT_CONTEXT context = nullptr;
    bool const done =
        CryptImportPKCS8(parameters, CRYPT_EXPORTABLE, &provider, nullptr) != 0 && store != nullptr &&
        CertAddEncodedCertificateToStore(store, X509_ASN_ENCODING, cert.data(),
                                         static_cast<DWORD>(cert.size()), CERT_STORE_ADD_NEW,
                                         &context) != 0 &&
        CertSetCertificateContextProperty(context, CERT_KEY_PROV_INFO_PROP_ID, 0, &info) != 0 &&
        CertSetCertificateContextProperty(context, CERT_FRIENDLY_NAME_PROP_ID, 0, &label) != 0 &&
        CertFreeCertificateContext(context) != 0 && CertCloseStore(store, 0) != 0 &&
        CryptReleaseContext(provider, 0) != 0;
    if (!done)
        std::cerr << "system code 0x" << std::hex << GetLastError() << '\n';
    return done ? 0 : 1;
}
