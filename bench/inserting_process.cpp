// One of several processes that insert into one store: bench_inserting_process layer|sqlite HOME FIRST COUNT.
// Says with a byte that it is ready, and starts when its standard input ends. Fails when an insert does.

#include "support/certificate_series.h"
#include "support/layer.h"
#include "support/population.h"
#include "support/sqlite.h"
#include "support/work_directory.h"

#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <iostream>

namespace {

constexpr std::uint32_t firstNumber = 1'000'000;

void insertByLayer(std::vector<bench::Bytes> const& certificates) {
    bench::StoreHandle const store = bench::openPersonalStore();
    for (bench::Bytes const& certificate : certificates) {
        bench::add(store, bench::contextOf(certificate));
    }
}

void insertBySqlite(std::filesystem::path const& home, std::int64_t first,
                    std::vector<bench::Bytes> const& certificates) {
    bench::Sqlite database(bench::databaseOf(home));
    bench::SqliteStatement insert(database,
                                  "INSERT INTO certificate(id, identity, encoding) VALUES(?1, ?2, ?3)");
    // Behind all rows that are there, each process in a range of its own.
    std::int64_t id = (std::int64_t{1} << 50) + first;
    for (bench::Bytes const& certificate : certificates) {
        insert.bind(1, ++id);
        insert.bind(2, static_cast<std::int64_t>(static_cast<std::uint64_t>(id) * 0x9E3779B97F4A7C15U));
        insert.bind(3, certificate);
        insert.step();
    }
}

} // namespace

int main(int argc, char** argv) try {
    if (argc != 5) {
        std::cerr << "usage: bench_inserting_process layer|sqlite HOME FIRST COUNT\n";
        return 2;
    }
    bench::enterHome(argv[2]);
    auto const first = static_cast<std::uint32_t>(std::strtoul(argv[3], nullptr, 10));
    auto const count = static_cast<std::uint32_t>(std::strtoul(argv[4], nullptr, 10));
    std::vector<bench::Bytes> certificates;
    {
        bench::CertificateSeries const series;
        for (std::uint32_t number = 0; number < count; ++number) {
            certificates.push_back(series.certificate(firstNumber + first + number));
        }
    }
    char byte = 0;
    if (::write(STDOUT_FILENO, &byte, 1) != 1 || ::read(STDIN_FILENO, &byte, 1) != 0) {
        return 1;
    }
    if (std::string(argv[1]) == "layer") {
        insertByLayer(certificates);
    } else {
        insertBySqlite(argv[2], first, certificates);
    }
    return 0;
} catch (std::exception const& failure) {
    std::cerr << "bench_inserting_process: " << failure.what() << '\n';
    return 1;
}
