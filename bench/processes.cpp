// Eight processes that make 50 durable inserts each into one store at once. The processes are started and
// have their certificates before the clock starts; opening the database, the inserts and the end of the
// processes count, on both sides.

#include "support/child_process.h"
#include "support/population.h"
#include "support/sqlite.h"
#include "support/timing.h"
#include "support/work_directory.h"

#include <deque>
#include <stdexcept>

namespace {

constexpr unsigned processCount = 8;
constexpr unsigned insertsEach = 50;
constexpr unsigned alreadyThere = 100;

double secondsToInsert(std::string const& side) {
    bench::HomeCopy const home(bench::certificateHome(alreadyThere), "processes-" + side);
    std::deque<bench::ChildProcess> processes;
    for (unsigned number = 0; number < processCount; ++number) {
        std::vector<std::string> const arguments = {bench::siblingProgram("bench_inserting_process"), side,
                                                    home.path(), std::to_string((number + 1) * insertsEach),
                                                    std::to_string(insertsEach)};
        processes.emplace_back(arguments);
    }
    for (bench::ChildProcess& process : processes) {
        process.read(1);
    }
    bench::Clock::time_point const start = bench::Clock::now();
    for (bench::ChildProcess& process : processes) {
        process.closeInput();
    }
    for (bench::ChildProcess& process : processes) {
        process.wait();
    }
    double const seconds = bench::secondsSince(start);
    bench::Sqlite database(bench::databaseOf(home.path()));
    if (database.number("SELECT count(*) FROM certificate") != alreadyThere + processCount * insertsEach) {
        throw std::runtime_error(side + ": inserts were lost");
    }
    return seconds;
}

void insert(benchmark::State& state) {
    bench::Turns turns(state, bench::Figure::median, "processes/layer", "processes/sqlite");
    while (state.KeepRunning()) {
        turns.take([] { return secondsToInsert("layer"); }, [] { return secondsToInsert("sqlite"); });
    }
}
BENCHMARK(insert)->Name("processes")->UseRealTime()->Iterations(1);

} // namespace
