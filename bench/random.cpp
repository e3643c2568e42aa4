// 32 random bytes: a new buffer from the factory's object, and libcrypto's call on one that is there.

#include "support/module.h"
#include "support/timing.h"
#include "support/work_directory.h"

#include <openssl/rand.h>

#include <array>

namespace {

constexpr unsigned size = 32;

void randomByModule(benchmark::State& state) {
    bench::enterHome(bench::emptyHome());
    std::unique_ptr<TVKCspManager> const store = bench::openStore();
    std::unique_ptr<TVKKRYAlgorithmFactory> const factory(store->getTVKKRYAlgorithmFactory());
    std::unique_ptr<TVKKRYRandomDataGenAlgorithm> const generator(
        factory->make_Default_RandomDataGenAlgorithm(nullptr));
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(generator->generateRandomData(size));
    }
}
BENCHMARK(randomByModule)->Name("random/module")->UseRealTime();

void randomByLibcrypto(benchmark::State& state) {
    std::array<unsigned char, size> bytes{};
    while (state.KeepRunning()) {
        if (RAND_bytes(bytes.data(), size) != 1) {
            state.SkipWithError("libcrypto gives no random data");
        }
        benchmark::DoNotOptimize(bytes);
    }
}
BENCHMARK(randomByLibcrypto)->Name("random/libcrypto")->UseRealTime();

} // namespace
