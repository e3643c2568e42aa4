// How far resident memory grows while a process walks over a store: a process of its own for each walk, which
// tells it at the end.

#include "support/child_process.h"
#include "support/population.h"
#include "support/timing.h"

namespace {

void walk(benchmark::State& state) {
    auto const count = static_cast<unsigned>(state.range(0));
    std::string const home = bench::certificateHome(count);
    while (state.KeepRunning()) {
        constexpr std::size_t enough = 32;
        bench::ChildProcess process(
            {bench::siblingProgram("bench_walking_process"), home, std::to_string(count)});
        std::string const growth = process.read(enough);
        process.wait();
        state.counters["memory/" + std::to_string(count)] = std::stod(growth);
    }
}
BENCHMARK(walk)->Name("memory of a walk")->Arg(100)->Arg(1'000)->Arg(10'000)->Arg(100'000)->Iterations(1);

} // namespace
