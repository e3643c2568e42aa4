// What a key pair in a new container costs on top of libcrypto's generation, whose own time varies from pair
// to pair many times as much: the generation within the module's call is timed and taken off. SQLite's side
// makes one row of a new container with a sealed key durable.

#include "support/module.h"
#include "support/population.h"
#include "support/sqlite.h"
#include "support/timing.h"
#include "support/work_directory.h"

#include <openssl/evp.h>

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

// The seconds that a pair takes beside its generation.
double generate(TVKKRYPublicKeyGenAlgorithm& generator) {
    generating = 0;
    bench::Clock::time_point const start = bench::Clock::now();
    TVKKRYKeyPair const pair = generator.generateKeyPair();
    double const seconds = bench::secondsSince(start);
    if (generating == 0) {
        throw std::runtime_error("the generation wasn't seen");
    }
    return seconds - generating;
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

    void insert() {
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
            turns.take([&] { return generate(*generator); }, [&] { plain.insert(); });
        }
    }
    // The layer lets go of a home that is about to be removed.
    bench::enterHome(bench::emptyHome());
    bench::openStore();
}
BENCHMARK(generatePairs)->Name("key pair")->UseRealTime()->Iterations(12);

} // namespace
