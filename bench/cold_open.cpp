// Opening a store whose files aren't in the page cache, and taking its first item.
// Both sides work on copies of one database, and close it and have it evicted before each iteration; closing
// and evicting don't count.

#include "support/certificate_series.h"
#include "support/module.h"
#include "support/population.h"
#include "support/sqlite.h"
#include "support/timing.h"
#include "support/work_directory.h"

#include <map>
#include <stdexcept>

namespace {

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

bench::HomeCopy const& homeOf(std::string const& side, unsigned count) {
    static std::map<std::string, bench::HomeCopy> homes;
    std::string const name = "cold-" + side + '-' + std::to_string(count);
    return homes.try_emplace(name, bench::certificateHome(count), name).first->second;
}

void openCold(benchmark::State& state) {
    auto const count = static_cast<unsigned>(state.range(0));
    bench::HomeCopy const& moduleHome = homeOf("module", count);
    bench::HomeCopy const& sqliteHome = homeOf("sqlite", count);
    bench::module();
    bench::Turns turns(state, bench::Figure::median, "cold open/module/" + std::to_string(count),
                       "cold open/sqlite/" + std::to_string(count));
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
BENCHMARK(openCold)
    ->Name("cold open")
    ->Arg(100)
    ->Arg(1'000)
    ->Arg(10'000)
    ->Arg(100'000)
    ->UseRealTime()
    ->Iterations(15);

} // namespace
