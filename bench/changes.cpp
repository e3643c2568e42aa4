// Durable changes of a store that is open. An iteration adds certificates one by one and deletes them again,
// each a change of its own, so that the store keeps its size. The disk's pace varies within seconds, so both
// sides take turns change by change, and one measurement gives all four times. It is long enough that the
// log is brought into the database meanwhile. SQLite's side changes the one row in a copy of the same
// database: the same bytes and the same indexes, but no search for an equal certificate and no place to
// assign.

#include "support/certificate_series.h"
#include "support/layer.h"
#include "support/population.h"
#include "support/sqlite.h"
#include "support/timing.h"
#include "support/work_directory.h"

#include <map>

namespace {

// Far from the numbers of those in the stores.
constexpr std::uint32_t firstNumber = 1'000'000;
constexpr std::uint32_t changesEach = 200;

bench::CertificateSeries const& series() {
    static bench::CertificateSeries const made;
    return made;
}

bench::HomeCopy const& homeOf(std::string const& side, std::string const& count) {
    static std::map<std::string, bench::HomeCopy> homes;
    std::string const name = "changes-" + side + '-' + count;
    auto const original = bench::certificateHome(static_cast<unsigned>(std::stoul(count)));
    return homes.try_emplace(name, original, name).first->second;
}

class LayerSide {
public:
    explicit LayerSide(std::string const& count) {
        bench::enterHome(homeOf("layer", count).path());
        store_ = bench::openPersonalStore();
        for (std::uint32_t number = 0; number < changesEach; ++number) {
            certificates_.push_back(bench::contextOf(series().certificate(firstNumber + number)));
        }
        added_.resize(changesEach);
    }

    void insert(std::size_t number) { added_[number] = bench::add(store_, certificates_[number]); }
    void remove(std::size_t number) { bench::remove(std::move(added_[number])); }

private:
    bench::StoreHandle store_;
    std::vector<bench::Context> certificates_;
    std::vector<bench::Context> added_;
};

class SqliteSide {
public:
    explicit SqliteSide(std::string const& count)
        : database_(bench::databaseOf(homeOf("sqlite", count).path())),
          insert_(database_, "INSERT INTO certificate(id, identity, encoding) VALUES(?1, ?2, ?3)"),
          remove_(database_, "DELETE FROM certificate WHERE id = ?1"),
          first_(database_.number("SELECT max(id) FROM certificate") + 1) {
        for (std::uint32_t number = 0; number < changesEach; ++number) {
            certificates_.push_back(series().certificate(firstNumber + number));
        }
    }

    void insert(std::size_t number) {
        insert_.bind(1, idOf(number));
        // Spread over the index as a digest is.
        insert_.bind(2, static_cast<std::int64_t>((firstNumber + number) * 0x9E3779B97F4A7C15U));
        insert_.bind(3, certificates_[number]);
        insert_.step();
    }

    void remove(std::size_t number) {
        remove_.bind(1, idOf(number));
        remove_.step();
    }

private:
    std::int64_t idOf(std::size_t number) const { return first_ + static_cast<std::int64_t>(number); }

    bench::Sqlite database_;
    bench::SqliteStatement insert_;
    bench::SqliteStatement remove_;
    std::int64_t first_;
    std::vector<bench::Bytes> certificates_;
};

void change(benchmark::State& state) {
    std::string const count = std::to_string(state.range(0));
    LayerSide layer(count);
    SqliteSide sqlite(count);
    while (state.KeepRunning()) {
        bench::Turns inserting(state, bench::Figure::mean, "insert/layer/" + count, "insert/sqlite/" + count);
        for (std::size_t number = 0; number < changesEach; ++number) {
            inserting.take([&] { layer.insert(number); }, [&] { sqlite.insert(number); });
        }
        bench::Turns removing(state, bench::Figure::mean, "delete/layer/" + count, "delete/sqlite/" + count);
        for (std::size_t number = 0; number < changesEach; ++number) {
            removing.take([&] { layer.remove(number); }, [&] { sqlite.remove(number); });
        }
    }
}
BENCHMARK(change)
    ->Name("changes")
    ->Arg(100)
    ->Arg(1'000)
    ->Arg(10'000)
    ->Arg(100'000)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(5);

} // namespace
