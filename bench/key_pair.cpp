// What a key pair in a new container costs on top of libcrypto's generation, whose own time varies from pair
// to pair many times as much: on both sides the generation is timed and taken off. The plain side generates
// with libcrypto and makes one row of a new container with a sealed key durable, so that both find caches and
// disk as a generation leaves them.

#include "support/libcrypto.h"
#include "support/module.h"
#include "support/population.h"
#include "support/sqlite.h"
#include "support/timing.h"
#include "support/work_directory.h"

#include <openssl/rsa.h>

#include <dlfcn.h>

#include <stdexcept>

namespace {

double generating = 0;

} // namespace

// Stands before libcrypto's own for all that this program loads.
extern "C" __attribute__((visibility("default"))) int EVP_PKEY_generate(EVP_PKEY_CTX* context,
                                                                        EVP_PKEY** key) {
    using Generate = int (*)(EVP_PKEY_CTX*, EVP_PKEY**);
    static auto const generate = reinterpret_cast<Generate>(::dlsym(RTLD_NEXT, "EVP_PKEY_generate"));
    bench::Clock::time_point const start = bench::Clock::now();
    int const result = generate(context, key);
    generating += bench::secondsSince(start);
    return result;
}

namespace {

constexpr unsigned bits = 2048;

// The seconds that making a pair takes beside its generation.
template <typename Make>
double secondsBesideGeneration(Make make) {
    generating = 0;
    bench::Clock::time_point const start = bench::Clock::now();
    make();
    double const seconds = bench::secondsSince(start);
    if (generating == 0) {
        throw std::runtime_error("the generation wasn't seen");
    }
    return seconds - generating;
}

void generateWithLibcrypto() {
    bench::Crypto<EVP_PKEY_CTX> const context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
    bench::requireCrypto(context != nullptr && EVP_PKEY_keygen_init(context.get()) == 1 &&
                             EVP_PKEY_CTX_set_rsa_keygen_bits(context.get(), bits) == 1,
                         "EVP_PKEY_keygen_init");
    EVP_PKEY* made = nullptr;
    bench::requireCrypto(EVP_PKEY_generate(context.get(), &made) == 1, "EVP_PKEY_generate");
    bench::Crypto<EVP_PKEY> const pair(made);
}

// A database with one key, as a program would keep it itself.
class PlainKeys {
public:
    explicit PlainKeys(std::filesystem::path const& file)
        : database_(file), insert_(prepared(database_), "INSERT INTO pair(name, sealed) VALUES(?1, ?2)") {
        bench::SqliteStatement stored(database_, "SELECT sealed FROM key");
        if (!stored.step()) {
            throw std::runtime_error(file.string() + " holds no key");
        }
        sealed_.assign(stored.bytes(0).begin(), stored.bytes(0).end());
    }

    void generate() {
        generateWithLibcrypto();
        insert_.bind(1, ++number_);
        insert_.bind(2, sealed_);
        insert_.step();
    }

private:
    static bench::Sqlite& prepared(bench::Sqlite& database) {
        database.execute("CREATE TABLE IF NOT EXISTS"
                         " pair(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, sealed BLOB NOT NULL)");
        return database;
    }

    bench::Sqlite database_;
    bench::SqliteStatement insert_;
    std::vector<std::uint8_t> sealed_;
    std::int64_t number_ = 0;
};

void generatePairs(benchmark::State& state) {
    bench::HomeCopy const moduleHome(bench::keyHome(1), "key-pair-module");
    bench::HomeCopy const sqliteHome(bench::keyHome(1), "key-pair-sqlite");
    PlainKeys plain(bench::databaseOf(sqliteHome.path()));
    bench::enterHome(moduleHome.path());
    {
        std::unique_ptr<TVKCspManager> const store = bench::openStore();
        std::unique_ptr<TVKKRYAlgorithmFactory> const factory(store->getTVKKRYAlgorithmFactory());
        std::unique_ptr<TVKKRYPublicKeyGenAlgorithm> const generator(
            factory->make_RSA_PublicKeyGenAlgorithm(bits));
        bench::Turns turns(state, bench::Figure::median, "key pair/module", "key pair/sqlite");
        while (state.KeepRunning()) {
            turns.take(
                [&] {
                    return secondsBesideGeneration(
                        [&] { TVKKRYKeyPair const pair = generator->generateKeyPair(); });
                },
                [&] { return secondsBesideGeneration([&] { plain.generate(); }); });
        }
    }
    // The layer lets go of a home that is about to be removed.
    bench::enterHome(bench::emptyHome());
    bench::openStore();
}
BENCHMARK(generatePairs)->Name("key pair")->UseRealTime()->Iterations(12);

} // namespace
