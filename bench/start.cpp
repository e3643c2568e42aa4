// New processes, from their start to the arrival of what they write in a pipe. The page cache is warm for
// all.
// To a signature: one process loads the module and signs with the key of the store's first certificate that
// has one; the other reads the same key from a PKCS#8 file and signs with libcrypto alone.
// To a store's first item: one process loads the module and writes the first label; the other does nothing.

#include "support/child_process.h"
#include "support/libcrypto.h"
#include "support/population.h"
#include "support/timing.h"
#include "support/work_directory.h"

#include <stdexcept>

namespace {

using Program = std::vector<std::string>;

// The seconds from the program's start to the first `size` bytes of its output.
double secondsToWrite(std::size_t size, Program const& program) {
    bench::Clock::time_point const start = bench::Clock::now();
    bench::ChildProcess process(program);
    std::string const output = process.read(size);
    double const seconds = bench::secondsSince(start);
    process.wait();
    if (output.size() != size) {
        throw std::runtime_error(program.front() + " wrote too little");
    }
    return seconds;
}

void compare(benchmark::State& state, char const* name, std::size_t size, Program const& ours,
             Program const& counterpart) {
    bench::Turns turns(state, bench::Figure::median, std::string(name) + "/module",
                       std::string(name) + "/plain");
    while (state.KeepRunning()) {
        turns.take([&] { return secondsToWrite(size, ours); },
                   [&] { return secondsToWrite(size, counterpart); });
    }
}

void sign(benchmark::State& state) {
    constexpr std::size_t signatureSize = 256;
    bench::enterHome(bench::keyHome(1));
    compare(state, "first signature", signatureSize,
            {bench::siblingProgram("bench_starting_host"), "signature"},
            {bench::siblingProgram("bench_starting_libcrypto"), bench::keyFile()});
}
BENCHMARK(sign)->Name("start to signature")->UseRealTime()->Iterations(20);

void takeItem(benchmark::State& state) {
    constexpr unsigned certificateCount = 10'000;
    bench::enterHome(bench::certificateHome(certificateCount));
    compare(state, "first item", 1, {bench::siblingProgram("bench_starting_host"), "item"},
            {bench::siblingProgram("bench_bare_process")});
}
BENCHMARK(takeItem)->Name("start to item")->UseRealTime()->Iterations(20);

} // namespace
