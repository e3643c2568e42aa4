#include "support/work_directory.h"

#include <benchmark/benchmark.h>

#include <exception>
#include <iostream>

int main(int argc, char** argv) try {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    bench::enterHome(bench::emptyHome());
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
} catch (std::exception const& failure) {
    std::cerr << "measurement: " << failure.what() << '\n';
    return 1;
}
