#include "module_fixture.h"

#include <malloc.h>

#include <algorithm>

using namespace capi_tests;

namespace {

// What a single byte lost at each of 10,000 operations would exceed. The sanitizers' allocator reports no
// sizes: under them only the layer's count is seen here, and a lost block at the end.
constexpr std::size_t kNoise = 8192;

class Endurance : InMemory, public ModuleTest {
protected:
    // Runs the operation once to fill what is kept for good, then as often as told.
    void expectNoGrowth(char const* what, unsigned times, std::function<void()> const& operation) {
        SCOPED_TRACE(what);
        operation();
        calls.forget();
        std::size_t const objects = WincryptLiveObjectCount();
        std::size_t const bytes = mallinfo2().uordblks;
        for (unsigned done = 0; done < times; ++done) {
            operation();
            calls.forget();
        }
        EXPECT_EQ(WincryptLiveObjectCount(), objects);
        EXPECT_LT(mallinfo2().uordblks, bytes + kNoise);
    }
};

// Ten thousand certificates that differ in their serial numbers; no one looks at their signatures here.
void fillStore(HCERTSTORE store, unsigned count) {
    Bytes const serial = {0x5A, 0xA5, 0x5A, 0xA5};
    Bytes der = makeCertificate({.serial = serial}, TestKey::shared(1024));
    auto const place = std::search(der.begin(), der.end(), serial.begin(), serial.end());
    for (unsigned number = 0; number < count; ++number) {
        std::copy_n(reinterpret_cast<std::uint8_t const*>(&number), 3, place + 1);
        ASSERT_TRUE(CertAddEncodedCertificateToStore(store, Capi::encoding, der.data(),
                                                     static_cast<DWORD>(der.size()), CERT_STORE_ADD_ALWAYS,
                                                     nullptr));
    }
}

} // namespace

TEST_F(Endurance, TenThousandUsesOfAKeyKeepNothing) {
    Factory const world;
    auto const signer = world.signer();
    auto const verifier = world.verifier();
    auto const encryptor = world.encryptor();
    auto const decryptor = world.decryptor();
    TVKBuffer const data = buffer("data");
    TVKBuffer const signature = signer->signData(data.get());
    TVKBuffer const cipher = encryptor->encryptData(data.get());
    expectNoGrowth("sign", 10'000, [&] { signer->signData(data.get()); });
    expectNoGrowth("verify", 10'000, [&] { verifier->verifyData(data.get(), signature.get()); });
    expectNoGrowth("encrypt", 10'000, [&] { encryptor->encryptData(data.get()); });
    expectNoGrowth("decrypt", 10'000, [&] { decryptor->decryptData(cipher.get()); });
}

TEST_F(Endurance, WalksAndLookupsOverTenThousandCertificatesKeepNothing) {
    constexpr unsigned count = 10'000;
    fillStore(openStore("CA").get(), count);
    CSPManager manager("", 0);
    TVKASNx509Certificate last(TVKASNNotSecure);
    expectNoGrowth("walk", 2, [&] {
        auto const iterator = owned(manager.getCertIterator());
        unsigned seen = 0;
        while (std::unique_ptr<TVKCertItem> const item{manager.getNextCertItem(*iterator)}) {
            if (++seen == count)
                TVKASNUtility::setDEREncoding(item->getCertificateDER().get(), last);
        }
        EXPECT_EQ(seen, count);
    });
    TVKASNIssuerAndSerialNumber key(TVKASNNotSecure);
    TVKASNUtility::getIssuerAndSerialNumber(last.tbsCertificate.issuer, last.tbsCertificate.serialNumber,
                                            key);
    expectNoGrowth("lookup of the last", 2, [&] {
        auto const item = owned(manager.getItem(CertUniqueIndexIssuerAndSerial, key));
        EXPECT_NE(item, nullptr);
    });
    expectNoGrowth("all of one subject", 2, [&] {
        auto const found = owned(manager.getItem(CertMultiIndexSubject, last.tbsCertificate.subject));
        EXPECT_EQ(found->size(), count);
    });
}
