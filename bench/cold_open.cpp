// Opening a store of 10,000 certificates whose files aren't in the page cache, and taking its first item.
// Both sides work on copies of one database, and close it and have it evicted before each iteration; closing
// and evicting don't count.

#include "support/certificate_series.h"
#include "support/module.h"
#include "support/population.h"
#include "support/sqlite.h"
#include "support/timing.h"
#include "support/work_directory.h"

#include <stdexcept>

namespace {

constexpr unsigned count = 10'000;

// A process keeps the database of the home that it uses; with another home it lets go of it.
void closeDatabase() {
    bench::enterHome(bench::emptyHome());
    std::unique_ptr<TVKCspManager> const store = bench::openStore();
    std::unique_ptr<TVKCspManager::Iterator> const iterator(store->getCertIterator());
    std::unique_ptr<TVKCertItem> const none(store->getNextCertItem(*iterator));
}

// The seconds until the store shows its first item.
double openByModule(bench::HomeCopy const& home) {
    bench::enterHome(home.path());
    bench::Clock::time_point const start = bench::Clock::now();
    std::unique_ptr<TVKCspManager> const store = bench::openStore();
    std::unique_ptr<TVKCspManager::Iterator> const iterator(store->getCertIterator());
    std::unique_ptr<TVKCertItem> const item(store->getNextCertItem(*iterator));
    double const seconds = bench::secondsSince(start);
    if (item == nullptr) {
        throw std::runtime_error("the store shows nothing");
    }
    return seconds;
}

double openBySqlite(bench::HomeCopy const& home) {
    bench::Clock::time_point const start = bench::Clock::now();
    bench::Sqlite database(bench::databaseOf(home.path()));
    bench::SqliteStatement query(database, "SELECT encoding FROM certificate ORDER BY id LIMIT 1");
    if (!query.step()) {
        throw std::runtime_error("the statement shows nothing");
    }
    bench::Bytes const first(query.bytes(0).begin(), query.bytes(0).end());
    return bench::secondsSince(start);
}

void openCold(benchmark::State& state) {
    bench::HomeCopy const moduleHome(bench::certificateHome(count), "cold-module");
    bench::HomeCopy const sqliteHome(bench::certificateHome(count), "cold-sqlite");
    bench::module();
    bench::Turns turns(state, bench::Figure::median, "cold open/module", "cold open/sqlite");
    while (state.KeepRunning()) {
        closeDatabase();
        if (!bench::evictFromMemory(moduleHome.path()) || !bench::evictFromMemory(sqliteHome.path())) {
            state.SkipWithError("the file system keeps files in memory");
            break;
        }
        turns.take([&] { return openByModule(moduleHome); }, [&] { return openBySqlite(sqliteHome); });
    }
    closeDatabase();
}
BENCHMARK(openCold)->Name("cold open")->UseRealTime()->Iterations(30);

} // namespace
