// Rows of a database that somebody else wrote: key reference, friendly name and encoding of a certificate,
// and the certificate beside a key. A walk reads them, with every property, by the two-call protocol.
#include "fuzz.h"
#include "platform/layer_fixture.h"

using namespace layer_test;

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    GTEST_FLAG_SET(throw_on_failure, true);
    static test_support::ScratchProfile const profile;
    static ProviderHandle const provider = newContainer("keys", 512);
    static StoreHandle const store = openStore("MY");
    fuzz::Input input{{data, data + size}};
    auto const next = [](Bytes const& bytes) { return "x'" + test_support::toHex(bytes) + "'"; };
    std::string row = next(input.part());
    row += ',' + next(input.part());
    std::string const encoding = next(input.rest);
    sql(profile.userHome() / "user.db",
        "INSERT OR IGNORE INTO store VALUES(1, 'MY', 9); UPDATE key SET certificate = " + encoding +
            "; REPLACE INTO certificate VALUES((1 << 40) + 1, 0, " + row + ',' + encoding + ')');
    std::size_t const open = WincryptLiveObjectCount();
    PCCERT_CONTEXT context = nullptr;
    while ((context = CertEnumCertificatesInStore(store.get(), context)) != nullptr) {
        for (DWORD id = 0; id < 16; ++id)
            property(context, id);
        ProviderHandle opened;
        CryptAcquireCertificatePrivateKey(context, CRYPT_ACQUIRE_SILENT_FLAG, nullptr, opened.address(),
                                          nullptr, nullptr);
    }
    HCRYPTKEY key = 0;
    Bytes certificate(size);
    auto length = static_cast<DWORD>(size);
    fuzz::require(CryptGetUserKey(provider.get(), AT_KEYEXCHANGE, &key), "the key is there");
    fuzz::require(input.rest.empty() || CryptGetKeyParam(key, KP_CERTIFICATE, certificate.data(), &length, 0),
                  "its certificate fits");
    CryptDestroyKey(key);
    fuzz::require(WincryptLiveObjectCount() == open, "nothing is left open");
    return 0;
}
