// RSA with a key of 2048 bits. The module's side opens the container by its name at each operation, as its
// objects do; libcrypto's side is the one-shot call with a fresh context on a key that was decoded before.
// Both sides take turns.

#include "support/libcrypto.h"
#include "support/module.h"
#include "support/population.h"
#include "support/timing.h"
#include "support/work_directory.h"

#include <openssl/rsa.h>

#include <array>
#include <vector>

namespace {

using bench::Crypto;

constexpr std::array<unsigned char, 32> message{"thirty-two bytes are worked on."};
using Signature = std::array<unsigned char, 256>;

EVP_PKEY* decodedKey() {
    static Crypto<EVP_PKEY> const key = bench::readKey(bench::keyFile());
    return key.get();
}

std::size_t sign(Signature& signature) {
    Crypto<EVP_MD_CTX> const context(EVP_MD_CTX_new());
    std::size_t size = signature.size();
    bool const good =
        EVP_DigestSignInit(context.get(), nullptr, EVP_sha1(), nullptr, decodedKey()) == 1 &&
        EVP_DigestSign(context.get(), signature.data(), &size, message.data(), message.size()) == 1;
    return good ? size : 0;
}

bool verify(Signature const& signature) {
    Crypto<EVP_MD_CTX> const context(EVP_MD_CTX_new());
    return EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha1(), nullptr, decodedKey()) == 1 &&
           EVP_DigestVerify(context.get(), signature.data(), signature.size(), message.data(),
                            message.size()) == 1;
}

std::size_t encrypt(Signature& block) {
    Crypto<EVP_PKEY_CTX> const context(EVP_PKEY_CTX_new(decodedKey(), nullptr));
    std::size_t size = block.size();
    bool const good =
        EVP_PKEY_encrypt_init(context.get()) == 1 &&
        EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) == 1 &&
        EVP_PKEY_encrypt(context.get(), block.data(), &size, message.data(), message.size()) == 1;
    return good ? size : 0;
}

std::vector<unsigned char> decrypt(TVKBuffer const& block) {
    Crypto<EVP_PKEY_CTX> const context(EVP_PKEY_CTX_new(decodedKey(), nullptr));
    Signature clear{};
    std::size_t size = clear.size();
    bool const good =
        EVP_PKEY_decrypt_init(context.get()) == 1 &&
        EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) == 1 &&
        EVP_PKEY_decrypt(context.get(), clear.data(), &size, block.getValue(), block.getLength()) == 1;
    bench::requireCrypto(good, "EVP_PKEY_decrypt");
    return {clear.data(), clear.data() + size};
}

// The algorithm objects of a store with keys.
struct KeyStore {
    explicit KeyStore(unsigned containers) {
        bench::enterHome(bench::keyHome(containers));
        store = bench::openStore();
        factory.reset(store->getTVKKRYAlgorithmFactory());
        key = bench::firstKey(*store);
    }

    std::unique_ptr<TVKCspManager> store;
    std::unique_ptr<TVKKRYAlgorithmFactory> factory;
    TVKKRYKey key;
};

void sign(benchmark::State& state) {
    KeyStore const world(static_cast<unsigned>(state.range(0)));
    std::unique_ptr<TVKKRYSignatureAlgorithm> const signer(
        world.factory->make_SHA1WithRSA_SignatureAlgorithm(world.key));
    Signature byLibcrypto{};
    bool good = sign(byLibcrypto) != 0;
    TVKBuffer const byModule = signer->signData(bench::viewOf(message));
    // Signatures of PKCS#1 v1.5 have nothing random in them.
    if (!good || byModule.compare(TVKBuffer(bench::viewOf(byLibcrypto))) != 0) {
        state.SkipWithError("the signatures differ");
    }
    std::string const count = std::to_string(state.range(0));
    bench::Turns turns(state, bench::Figure::median, "sign/module/" + count, "sign/libcrypto/" + count);
    while (state.KeepRunning()) {
        turns.take([&] { benchmark::DoNotOptimize(signer->signData(bench::viewOf(message))); },
                   [&] { good = sign(byLibcrypto) != 0 && good; });
    }
    if (!good) {
        state.SkipWithError("libcrypto doesn't sign");
    }
}
BENCHMARK(sign)->MinTime(0.3)->Arg(1)->Arg(100)->Arg(10'000)->UseRealTime();

void verify(benchmark::State& state) {
    KeyStore const world(1);
    std::unique_ptr<TVKKRYVerificationAlgorithm> const verifier(
        world.factory->make_SHA1WithRSA_VerificationAlgorithm(world.key));
    Signature signature{};
    bool good = sign(signature) != 0;
    bench::Turns turns(state, bench::Figure::median, "verify/module", "verify/libcrypto");
    while (state.KeepRunning()) {
        turns.take(
            [&] { good = verifier->verifyData(bench::viewOf(message), bench::viewOf(signature)) && good; },
            [&] { good = verify(signature) && good; });
    }
    if (!good) {
        state.SkipWithError("the signature doesn't verify");
    }
}
BENCHMARK(verify)->UseRealTime();

void encrypt(benchmark::State& state) {
    KeyStore const world(1);
    std::unique_ptr<TVKKRYEncryptionAlgorithm> const encryption(
        world.factory->make_RSAPKCS_EncryptionAlgorithm(world.key));
    bool good = decrypt(encryption->encryptData(bench::viewOf(message))) ==
                std::vector<unsigned char>(message.begin(), message.end());
    Signature block{};
    bench::Turns turns(state, bench::Figure::median, "encrypt/module", "encrypt/libcrypto");
    while (state.KeepRunning()) {
        turns.take([&] { benchmark::DoNotOptimize(encryption->encryptData(bench::viewOf(message))); },
                   [&] { good = encrypt(block) != 0 && good; });
    }
    if (!good) {
        state.SkipWithError("the block can't be made, or holds something else");
    }
}
BENCHMARK(encrypt)->UseRealTime();

} // namespace
