// Walks over "MY" and says by how many bytes the process's peak of resident memory grew meanwhile:
// bench_walking_process HOME COUNT. The walk begins behind the store's first item, so that what is loaded and
// set up once isn't counted.

#include "support/module.h"
#include "support/work_directory.h"

#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

namespace {

// A line of the process's state, in bytes.
long stateOf(std::string const& name) {
    std::ifstream in("/proc/self/status");
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with(name + ':')) {
            constexpr long unit = 1024;
            return std::strtol(line.c_str() + name.size() + 1, nullptr, 10) * unit;
        }
    }
    throw std::runtime_error("the kernel doesn't tell " + name);
}

void beginPeakAgain() {
    std::ofstream out("/proc/self/clear_refs");
    out << 5 << std::flush;
    if (!out) {
        throw std::runtime_error("the kernel keeps the former peak");
    }
}

} // namespace

int main(int argc, char** argv) try {
    if (argc != 3) {
        std::cerr << "usage: bench_walking_process HOME COUNT\n";
        return 2;
    }
    bench::enterHome(argv[1]);
    unsigned long const expected = std::strtoul(argv[2], nullptr, 10);
    std::unique_ptr<TVKCspManager> const store = bench::openStore();
    std::unique_ptr<TVKCspManager::Iterator> const iterator(store->getCertIterator());
    unsigned long found = 0;
    long before = 0;
    while (std::unique_ptr<TVKCertItem> const item{store->getNextCertItem(*iterator)}) {
        item->getLabelAsString();
        if (++found == 1) {
            beginPeakAgain();
            before = stateOf("VmRSS");
        }
    }
    std::cout << stateOf("VmHWM") - before << std::flush;
    return found == expected ? 0 : 1;
} catch (std::exception const& failure) {
    std::cerr << "bench_walking_process: " << failure.what() << '\n';
    return 1;
}
