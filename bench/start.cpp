// A new process to its first signature: from its start to the signature's arrival in a pipe. One process
// loads the module and signs with the key of the store's first certificate that has one; the other reads the
// same key from a PKCS#8 file and signs with libcrypto alone. The page cache is warm for both.

#include "support/child_process.h"
#include "support/libcrypto.h"
#include "support/population.h"
#include "support/timing.h"
#include "support/work_directory.h"

#include <stdexcept>

namespace {

constexpr std::size_t signatureSize = 256;

// The seconds from the program's start to its signature.
double secondsToSign(std::vector<std::string> const& program) {
    bench::Clock::time_point const start = bench::Clock::now();
    bench::ChildProcess process(program);
    std::string const signature = process.read(signatureSize);
    double const seconds = bench::secondsSince(start);
    process.wait();
    if (signature.size() != signatureSize) {
        throw std::runtime_error(program.front() + " didn't sign");
    }
    return seconds;
}

void start(benchmark::State& state) {
    bench::enterHome(bench::keyHome(1));
    std::vector<std::string> const ours = {bench::siblingProgram("bench_first_signature")};
    std::vector<std::string> const counterpart = {bench::siblingProgram("bench_first_signature_libcrypto"),
                                                  bench::keyFile()};
    bench::Turns turns(state, bench::Figure::median, "start/module", "start/libcrypto");
    while (state.KeepRunning()) {
        turns.take([&] { return secondsToSign(ours); }, [&] { return secondsToSign(counterpart); });
    }
}
BENCHMARK(start)->UseRealTime()->Iterations(20);

} // namespace
