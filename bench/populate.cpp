// Fills a home of the layer by the layer's own calls: bench_populate HOME certificates|containers COUNT
// KEY.der

#include "support/certificate_series.h"
#include "support/layer.h"
#include "support/work_directory.h"

#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>

namespace {

using bench::Bytes;
using bench::requireLayer;

void setFriendlyName(bench::Context const& context, std::wstring name) {
    CRYPT_DATA_BLOB blob{static_cast<DWORD>((name.size() + 1) * sizeof(wchar_t)),
                         reinterpret_cast<BYTE*>(name.data())};
    requireLayer(CertSetCertificateContextProperty(context.get(), CERT_FRIENDLY_NAME_PROP_ID, 0, &blob) !=
                     FALSE,
                 "friendly name");
}

void populateCertificates(unsigned count) {
    bench::CertificateSeries const series;
    bench::StoreHandle const store = bench::openPersonalStore();
    for (unsigned number = 1; number <= count; ++number) {
        bench::Context const context =
            bench::contextOf(number < count ? series.certificate(number) : series.landmark());
        if (number % 2 == 0) {
            setFriendlyName(context, L"certificate " + std::to_wstring(number));
        }
        bench::add(store, context);
    }
}

void importKey(std::string name, Bytes key) {
    CRYPT_PKCS8_IMPORT_PARAMS parameters{};
    parameters.PrivateKey = {static_cast<DWORD>(key.size()), key.data()};
    parameters.pResolvehCryptProvFunc = [](CRYPT_PRIVATE_KEY_INFO*, HCRYPTPROV* provider, LPVOID container) {
        return CryptAcquireContextA(provider, static_cast<char const*>(container), MS_ENHANCED_PROV_A,
                                    PROV_RSA_FULL, CRYPT_NEWKEYSET);
    };
    parameters.pVoidResolveFunc = name.data();
    HCRYPTPROV provider = 0;
    requireLayer(CryptImportPKCS8(parameters, CRYPT_EXPORTABLE, &provider, nullptr) != FALSE, name);
    CryptReleaseContext(provider, 0);
}

void addCertificateFor(std::string const& container) {
    std::wstring name(container.begin(), container.end());
    std::wstring software = L"" MS_ENHANCED_PROV_A;
    CRYPT_KEY_PROV_INFO info{name.data(), software.data(), PROV_RSA_FULL, 0, 0, nullptr, AT_KEYEXCHANGE};
    // CN=bench
    BYTE subject[] = {0x30, 0x10, 0x31, 0x0E, 0x30, 0x0C, 0x06, 0x03, 0x55,
                      0x04, 0x03, 0x0C, 0x05, 'b',  'e',  'n',  'c',  'h'};
    CERT_NAME_BLOB blob{sizeof subject, subject};
    bench::Context const context(
        CertCreateSelfSignCertificate(0, &blob, 0, &info, nullptr, nullptr, nullptr, nullptr));
    requireLayer(context != nullptr, "CertCreateSelfSignCertificate");
    bench::add(bench::openPersonalStore(), context);
}

void populateContainers(unsigned count, char const* keyFile) {
    std::ifstream in(keyFile, std::ios::binary);
    Bytes const key{std::istreambuf_iterator<char>(in), {}};
    auto const nameOf = [](unsigned number) { return "container " + std::to_string(number); };
    for (unsigned number = 0; number < count; ++number) {
        importKey(nameOf(number), key);
    }
    addCertificateFor(nameOf(count / 2));
}

} // namespace

int main(int argc, char** argv) try {
    if (argc != 5) {
        std::cerr << "usage: bench_populate HOME certificates|containers COUNT KEY\n";
        return 2;
    }
    bench::enterHome(argv[1]);
    auto const count = static_cast<unsigned>(std::strtoul(argv[3], nullptr, 10));
    if (std::string(argv[2]) == "certificates") {
        populateCertificates(count);
    } else {
        populateContainers(count, argv[4]);
    }
    return 0;
} catch (std::exception const& failure) {
    std::cerr << "bench_populate: " << failure.what() << '\n';
    return 1;
}
