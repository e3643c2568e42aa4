// Walks and searches over a store that is open and in the page cache, on both sides. SQLite's side reads each
// row of a copy of the same database with one statement and copies the certificate's bytes; it makes no
// labels and compares nothing but, for the searches, bytes.

#include "support/certificate_series.h"
#include "support/module.h"
#include "support/population.h"
#include "support/sqlite.h"
#include "support/timing.h"
#include "support/work_directory.h"

#include <algorithm>
#include <map>

namespace {

using bench::Bytes;

bench::CertificateSeries const& series() {
    static bench::CertificateSeries const made;
    return made;
}

// The database of the counterpart, in a home of its own: neither side finds the other's log.
bench::Sqlite& plainCopy(unsigned count) {
    struct Copy {
        explicit Copy(unsigned size)
            : home(bench::certificateHome(size), "reading-" + std::to_string(size)),
              database(bench::databaseOf(home.path())) {}
        bench::HomeCopy home;
        bench::Sqlite database;
    };
    static std::map<unsigned, Copy> copies;
    return copies.try_emplace(count, count).first->second.database;
}

void allSizes(benchmark::internal::Benchmark* measurement) {
    for (int const count : {100, 1'000, 10'000, 100'000}) {
        measurement->Arg(count);
    }
}

unsigned countOf(benchmark::State const& state) { return static_cast<unsigned>(state.range(0)); }

void walkByModule(benchmark::State& state) {
    unsigned const count = countOf(state);
    bench::enterHome(bench::certificateHome(count));
    std::unique_ptr<TVKCspManager> const store = bench::openStore();
    std::unique_ptr<TVKCspManager::Iterator> const iterator(store->getCertIterator());
    while (state.KeepRunning()) {
        unsigned found = 0;
        while (std::unique_ptr<TVKCertItem> const item{store->getNextCertItem(*iterator)}) {
            benchmark::DoNotOptimize(item->getLabelAsString());
            ++found;
        }
        if (found != count) {
            state.SkipWithError("the walk left out certificates");
        }
    }
    bench::setUnits(state, count);
}
BENCHMARK(walkByModule)->Name("walk/module")->Apply(allSizes)->UseRealTime();

void walkBySqlite(benchmark::State& state) {
    unsigned const count = countOf(state);
    bench::SqliteStatement query(plainCopy(count), "SELECT encoding FROM certificate ORDER BY id");
    while (state.KeepRunning()) {
        unsigned found = 0;
        while (query.step()) {
            std::span<std::uint8_t const> const encoding = query.bytes(0);
            Bytes const copy(encoding.begin(), encoding.end());
            benchmark::DoNotOptimize(copy.data());
            ++found;
        }
        if (found != count) {
            state.SkipWithError("the statement left out rows");
        }
    }
    bench::setUnits(state, count);
}
BENCHMARK(walkBySqlite)->Name("walk/sqlite")->Apply(allSizes)->UseRealTime();

// ---- Searches: for the last certificate, so that all are passed ----

constexpr unsigned searchedCount = 10'000;

template <class Find>
void search(benchmark::State& state, Find&& find) {
    unsigned const count = countOf(state);
    bench::enterHome(bench::certificateHome(count));
    std::unique_ptr<TVKCspManager> const store = bench::openStore();
    Bytes const& wanted = series().landmark();
    TVKASNx509Certificate attributes(TVKASNNotSecure);
    TVKASNUtility::setDEREncoding(bench::viewOf(wanted), attributes);
    while (state.KeepRunning()) {
        std::unique_ptr<TVKCertItem> const item = find(*store, attributes);
        if (item == nullptr || TVKBuffer(bench::viewOf(wanted)).compare(item->getCertificateDER()) != 0) {
            state.SkipWithError("the search found something else");
        }
    }
    bench::setUnits(state, count);
}

using Certificate = TVKASNx509Certificate;

std::unique_ptr<TVKCertItem> byUniqueIndex(TVKCspManager& store, CertUniqueIndex index,
                                           TVKASNObject const& attribute) {
    return std::unique_ptr<TVKCertItem>(store.getItem(index, attribute));
}

// The only one that there is, else none.
std::unique_ptr<TVKCertItem> byMultiIndex(TVKCspManager& store, CertMultiIndex index,
                                          TVKASNObject const& attribute) {
    std::unique_ptr<TVKCertItemContainer> const items(store.getItem(index, attribute));
    return std::unique_ptr<TVKCertItem>(items->size() == 1 ? items->pop_front() : nullptr);
}

void searchByLabel(benchmark::State& state) {
    search(state, [](TVKCspManager& store, Certificate const&) {
        std::string const name = "certificate " + std::to_string(searchedCount);
        TVKASNUTF8String label(TVKASNNotSecure);
        label.set_value(reinterpret_cast<unsigned char const*>(name.data()), name.size());
        return byUniqueIndex(store, CertUniqueIndexLabel, label);
    });
}
BENCHMARK(searchByLabel)->Name("search/label")->Arg(searchedCount)->UseRealTime();

void searchBySignature(benchmark::State& state) {
    search(state, [](TVKCspManager& store, Certificate const& wanted) {
        return byUniqueIndex(store, CertUniqueIndexSignature, wanted.signature);
    });
}
BENCHMARK(searchBySignature)->Name("search/signature")->Arg(searchedCount)->UseRealTime();

void searchByUnsignedCertificate(benchmark::State& state) {
    search(state, [](TVKCspManager& store, Certificate const& wanted) {
        return byUniqueIndex(store, CertUniqueIndexUnsignedCertificate, wanted.tbsCertificate);
    });
}
BENCHMARK(searchByUnsignedCertificate)
    ->Name("search/unsigned certificate")
    ->Arg(searchedCount)
    ->UseRealTime();

void searchByIssuerAndSerial(benchmark::State& state) {
    search(state, [](TVKCspManager& store, Certificate const& wanted) {
        TVKASNIssuerAndSerialNumber both(TVKASNNotSecure);
        TVKASNUtility::getIssuerAndSerialNumber(wanted.tbsCertificate.issuer,
                                                wanted.tbsCertificate.serialNumber, both);
        return byUniqueIndex(store, CertUniqueIndexIssuerAndSerial, both);
    });
}
BENCHMARK(searchByIssuerAndSerial)->Name("search/issuer and serial number")->Apply(allSizes)->UseRealTime();

void searchBySubject(benchmark::State& state) {
    search(state, [](TVKCspManager& store, Certificate const& wanted) {
        return byMultiIndex(store, CertMultiIndexSubject, wanted.tbsCertificate.subject);
    });
}
BENCHMARK(searchBySubject)->Name("search/subject")->Arg(searchedCount)->UseRealTime();

void searchByPublicKey(benchmark::State& state) {
    search(state, [](TVKCspManager& store, Certificate const& wanted) {
        return byMultiIndex(store, CertMultiIndexSubjectPublicKey,
                            wanted.tbsCertificate.subjectPublicKeyInfo);
    });
}
BENCHMARK(searchByPublicKey)->Name("search/public key")->Arg(searchedCount)->UseRealTime();

// One for all searches: the row whose bytes are equal.
void searchBySqlite(benchmark::State& state) {
    unsigned const count = countOf(state);
    bench::SqliteStatement query(plainCopy(count), "SELECT encoding FROM certificate ORDER BY id");
    Bytes const& wanted = series().landmark();
    while (state.KeepRunning()) {
        bool found = false;
        while (!found && query.step()) {
            std::span<std::uint8_t const> const encoding = query.bytes(0);
            found = std::equal(encoding.begin(), encoding.end(), wanted.begin(), wanted.end());
        }
        query.reset();
        if (!found) {
            state.SkipWithError("the statement found nothing");
        }
    }
    bench::setUnits(state, count);
}
BENCHMARK(searchBySqlite)->Name("search/sqlite")->Arg(searchedCount)->UseRealTime();

} // namespace
