// Two threads beside one: how many times the work of one thread two threads do in the same time, each with
// objects of its own, as a host's threads have them. libcrypto and SQLite show beside it what the machine
// gives for the same work. One thread and two, ours and theirs, take turns in slices of about a millisecond.
// A slice in which another program took a core away doesn't count; one in which a thread waited for the other
// does. Each slice comes behind one that doesn't count, so that the caches hold its own work and not that of
// the side before. Of each kind the median stands.

#include "support/certificate_series.h"
#include "support/libcrypto.h"
#include "support/module.h"
#include "support/population.h"
#include "support/sqlite.h"
#include "support/timing.h"
#include "support/work_directory.h"
#include "support/worker.h"

#include <sched.h>
#include <sys/resource.h>

#include <atomic>
#include <stdexcept>

namespace {

constexpr unsigned signaturesEach = 4;
constexpr unsigned certificatesEach = 250;
constexpr std::array<unsigned char, 32> message{"thirty-two bytes are worked on."};

// ---- What a thread does: its objects, and a slice of work with them ----

class ModuleSigner {
public:
    ModuleSigner()
        : store_(bench::openStore()), factory_(store_->getTVKKRYAlgorithmFactory()),
          signer_(factory_->make_SHA1WithRSA_SignatureAlgorithm(bench::firstKey(*store_))) {}

    void work() {
        for (unsigned done = 0; done < signaturesEach; ++done) {
            benchmark::DoNotOptimize(signer_->signData(bench::viewOf(message)));
        }
    }

private:
    std::unique_ptr<TVKCspManager> store_;
    std::unique_ptr<TVKKRYAlgorithmFactory> factory_;
    std::unique_ptr<TVKKRYSignatureAlgorithm> signer_;
};

class LibcryptoSigner {
public:
    LibcryptoSigner() : key_(bench::readKey(bench::keyFile())) {}

    void work() {
        for (unsigned done = 0; done < signaturesEach; ++done) {
            bench::Crypto<EVP_MD_CTX> const context(EVP_MD_CTX_new());
            std::array<unsigned char, 256> signature{};
            std::size_t size = signature.size();
            bench::requireCrypto(
                EVP_DigestSignInit(context.get(), nullptr, EVP_sha1(), nullptr, key_.get()) == 1 &&
                    EVP_DigestSign(context.get(), signature.data(), &size, message.data(), message.size()) ==
                        1,
                "EVP_DigestSign");
        }
    }

private:
    bench::Crypto<EVP_PKEY> key_;
};

void requireWhole(unsigned found) {
    if (found != certificatesEach) {
        throw std::runtime_error("a walk left out certificates");
    }
}

class ModuleWalker {
public:
    ModuleWalker() : store_(bench::openStore()), iterator_(store_->getCertIterator()) {}

    void work() {
        unsigned found = 0;
        while (std::unique_ptr<TVKCertItem> const item{store_->getNextCertItem(*iterator_)}) {
            benchmark::DoNotOptimize(item->getLabelAsString());
            ++found;
        }
        requireWhole(found);
    }

private:
    std::unique_ptr<TVKCspManager> store_;
    std::unique_ptr<TVKCspManager::Iterator> iterator_;
};

class SqliteWalker {
public:
    explicit SqliteWalker(std::filesystem::path const& home)
        : database_(bench::databaseOf(home)),
          query_(database_, "SELECT encoding FROM certificate ORDER BY id") {}

    void work() {
        unsigned found = 0;
        while (query_.step()) {
            std::span<std::uint8_t const> const encoding = query_.bytes(0);
            bench::Bytes const copy(encoding.begin(), encoding.end());
            benchmark::DoNotOptimize(copy.data());
            ++found;
        }
        requireWhole(found);
    }

private:
    bench::Sqlite database_;
    bench::SqliteStatement query_;
};

// ---- One thread and two ----

constexpr std::size_t threadCount = 2;

// Keeps the calling thread on one of the cores that the process may use, each number on another.
void stayOnCore(std::size_t number) {
    cpu_set_t allowed;
    cpu_set_t chosen;
    CPU_ZERO(&chosen);
    if (::sched_getaffinity(0, sizeof allowed, &allowed) == 0) {
        for (std::size_t core = 0; core < CPU_SETSIZE; ++core) {
            if (CPU_ISSET(core, &allowed) && number-- == 0) {
                CPU_SET(core, &chosen);
            }
        }
    }
    if (::sched_setaffinity(0, sizeof chosen, &chosen) != 0) {
        throw std::runtime_error("there are no two cores to measure on");
    }
}

// How often the kernel took the core from the calling thread though it had more to do.
long timesInterrupted() {
    rusage usage{};
    ::getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nivcsw;
}

// Threads of one kind of work. A slice is timed in the threads, which begin it together: waking up doesn't
// count, and a thread that is done first doesn't wait for the other.
template <class Work>
class Team {
public:
    template <class... Arguments>
    explicit Team(Arguments const&... arguments) {
        for (std::size_t number = 0; number < threadCount; ++number) {
            workers_[number]
                .start([&, number] {
                    stayOnCore(number);
                    works_[number] = std::make_unique<Work>(arguments...);
                    works_[number]->work();
                    return 0.0;
                })
                .get();
        }
    }

    ~Team() {
        for (std::size_t number = 0; number < threadCount; ++number) {
            workers_[number].start([&] { return works_[number].reset(), 0.0; }).wait();
        }
    }

    Team(Team const&) = delete;
    Team& operator=(Team const&) = delete;

    // Slices in a second, of one thread alone; 0 when it was interrupted.
    double rateOfOne() {
        std::size_t const number = turn_++ % threadCount;
        return workers_[number].start([&, number] { return rate(number, 1); }).get();
    }

    // Slices in a second, of all together; 0 when one was interrupted.
    double rateOfAll() {
        std::array<std::future<double>, threadCount> rates;
        for (std::size_t number = 0; number < threadCount; ++number) {
            rates[number] = workers_[number].start([&, number] { return rate(number, threadCount); });
        }
        double sum = 0;
        bool isWhole = true;
        for (std::future<double>& each : rates) {
            double const one = each.get();
            isWhole = isWhole && one > 0;
            sum += one;
        }
        ready_ = 0;
        return isWhole ? sum : 0;
    }

private:
    double rate(std::size_t number, std::size_t expected) {
        works_[number]->work();
        if (expected > 1) {
            ++ready_;
            while (ready_ < expected) {}
        }
        long const interrupted = timesInterrupted();
        bench::Clock::time_point const start = bench::Clock::now();
        works_[number]->work();
        double const seconds = bench::secondsSince(start);
        return timesInterrupted() == interrupted ? 1 / seconds : 0;
    }

    std::atomic<std::size_t> ready_ = 0;
    std::size_t turn_ = 0;
    std::array<std::unique_ptr<Work>, threadCount> works_;
    std::array<bench::Worker, threadCount> workers_;
};

// The turns of one side that weren't interrupted.
template <class Work>
class Scaling {
public:
    template <class... Arguments>
    explicit Scaling(Arguments const&... arguments) : team_(arguments...) {}

    void turn() {
        keep(one_, team_.rateOfOne());
        keep(all_, team_.rateOfAll());
    }

    std::size_t size() const { return std::min(one_.size(), all_.size()); }

    // How many times the work of one thread all did.
    double result() { return bench::medianOf(all_) / bench::medianOf(one_); }

private:
    static void keep(std::vector<double>& rates, double rate) {
        if (rate > 0) {
            rates.push_back(rate);
        }
    }

    Team<Work> team_;
    std::vector<double> one_;
    std::vector<double> all_;
};

constexpr std::size_t turnsNeeded = 30;
constexpr double patience = 10; // seconds

template <class Ours, class Counterpart>
void takeTurns(benchmark::State& state, std::string const& name, Ours& ours, Counterpart& counterpart) {
    while (state.KeepRunning()) {
        bench::Clock::time_point const start = bench::Clock::now();
        while (std::min(ours.size(), counterpart.size()) < turnsNeeded) {
            if (bench::secondsSince(start) > patience) {
                state.SkipWithError("other programs take the cores all the time");
                return;
            }
            ours.turn();
            counterpart.turn();
        }
    }
    state.counters["threads/" + name] = ours.result();
    state.counters["threads/" + name + " plain"] = counterpart.result();
}

void sign(benchmark::State& state) {
    bench::enterHome(bench::keyHome(1));
    Scaling<ModuleSigner> ours;
    Scaling<LibcryptoSigner> counterpart;
    takeTurns(state, "sign", ours, counterpart);
}
BENCHMARK(sign)->Name("threads sign")->UseRealTime()->Iterations(1);

void walk(benchmark::State& state) {
    bench::HomeCopy const copy(bench::certificateHome(certificatesEach), "threads-sqlite");
    bench::enterHome(bench::certificateHome(certificatesEach));
    Scaling<ModuleWalker> ours;
    Scaling<SqliteWalker> counterpart(copy.path());
    takeTurns(state, "walk", ours, counterpart);
}
BENCHMARK(walk)->Name("threads walk")->UseRealTime()->Iterations(1);

} // namespace
