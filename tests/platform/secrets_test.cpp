// What is left of a private key in the memory of a process that has closed everything.
#include "layer_fixture.h"
#include "support/libcrypto.h"
#include "support/secrets.h"

#include <openssl/crypto.h>

#include <sys/wait.h>

#include <fstream>

namespace layer_test {
namespace {

using Secrecy = LayerTest;

// Makes a key, uses it in every way, and leaves it in the file.
bool useAKey(std::filesystem::path const& file) {
    ProviderHandle const made = newContainer("made", 2048);
    ProviderHandle const provider = openContainer("made");
    HCRYPTHASH hash = 0;
    HCRYPTKEY key = 0;
    BYTE block[256] = "data";
    DWORD size = sizeof block;
    bool good = CryptCreateHash(provider.get(), CALG_SHA1, 0, 0, &hash) &&
                CryptSignHashA(hash, AT_KEYEXCHANGE, nullptr, 0, block, &size) &&
                CryptGetUserKey(provider.get(), AT_KEYEXCHANGE, &key);
    size = 5;
    good = good && CryptEncrypt(key, 0, TRUE, 0, block, &size, sizeof block) &&
           CryptDecrypt(key, 0, TRUE, 0, block, &size);
    char rsa[] = szOID_RSA_RSA;
    BYTE exported[2048];
    size = sizeof exported;
    good = good && CryptExportPKCS8(provider.get(), AT_KEYEXCHANGE, rsa, 0, nullptr, exported, &size);
    CRYPT_PKCS8_IMPORT_PARAMS again{};
    again.PrivateKey = {size, exported};
    again.pResolvehCryptProvFunc = [](CRYPT_PRIVATE_KEY_INFO*, HCRYPTPROV* opened, LPVOID) {
        return CryptAcquireContextA(opened, "imported", MS_ENHANCED_PROV_A, PROV_RSA_FULL, CRYPT_NEWKEYSET);
    };
    good = good && CryptImportPKCS8(again, 0, nullptr, nullptr);
    std::filebuf out;
    out.pubsetbuf(nullptr, 0); // the bytes go as they are
    out.open(file, std::ios::out | std::ios::binary);
    good = out.sputn(reinterpret_cast<char*>(exported), size) == std::streamsize(size) && good;
    OPENSSL_cleanse(exported, sizeof exported);
    return good;
}

TEST_F(Secrecy, NothingIsLeftOfAKeyThatWasMadeAndUsed) {
    auto const file = profile.file("exported");
    auto const secrets = [&] {
        test_support::Secrets made;
        std::ifstream in(file, std::ios::binary);
        std::string const encoding{std::istreambuf_iterator<char>(in), {}};
        auto const* octets = reinterpret_cast<unsigned char const*>(encoding.data());
        test_support::Owned<EVP_PKEY> const key(
            d2i_AutoPrivateKey(nullptr, &octets, static_cast<long>(encoding.size())));
        made.add(key.get());
        return made;
    };
    int status = -1;
    auto const left = test_support::leftAtTheEnd([&] { ::_exit(useAKey(file) ? 0 : 1); }, secrets, status);
    EXPECT_EQ(left, (std::map<std::string, int>{}));
    EXPECT_EQ(status, 0);
}

} // namespace
} // namespace layer_test
