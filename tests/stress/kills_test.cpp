// A process that changes its store and is killed, again and again: what it acknowledged is there, and the
// change that it was in took place whole or not at all.
#include "stress.h"

#include "support/run_program.h"

#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <fstream>

namespace {

// Shared with the child, whose memory ends with it.
struct Shared {
    std::atomic<int> callsLeft{0};     // until the child kills itself; 0 for never
    std::atomic<int> callsInChange{0}; // that changed a file, since the change began
};

Shared* shared = nullptr;
bool isCounted = false; // in the child

template <class Function, class... Arguments>
auto countedCall(char const* name, Arguments... arguments) {
    auto const real = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
    auto const result = real(arguments...);
    if (isCounted) {
        ++shared->callsInChange;
        if (shared->callsLeft > 0 && --shared->callsLeft == 0)
            ::kill(::getpid(), SIGKILL);
    }
    return result;
}

} // namespace

// What the layer and SQLite change files with: these definitions stand before those of the system.
#define COUNTED(Result, name, parameters, exception, ...) \
    extern "C" Result name parameters exception { return countedCall<decltype(&name)>(#name, __VA_ARGS__); }
COUNTED(ssize_t, pwrite64, (int file, void const* data, size_t size, off64_t place), , file, data, size,
        place)
COUNTED(ssize_t, write, (int file, void const* data, size_t size), , file, data, size)
COUNTED(int, ftruncate64, (int file, off64_t size), noexcept, file, size)
COUNTED(int, fdatasync, (int file), , file)
COUNTED(int, fsync, (int file), , file)
COUNTED(int, linkat, (int from, char const* path, int to, char const* name, int flags), noexcept, from, path,
        to, name, flags)
COUNTED(int, unlink, (char const* path), noexcept, path)
#undef COUNTED

using namespace stress;

namespace {

namespace fs = std::filesystem;

// Begun and acknowledged changes, one letter each.
struct Progress {
    unsigned begun = 0;
    unsigned acknowledged = 0;
};

// A kill takes nothing from the system's cache, so a disk would only cost time.
class Kills : InMemory, public LayerTest {
protected:
    Kills() {
        certificateOf(0, 0), TestKey::shared(512), TestKey::shared(1024);
        shared =
            new (::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
                Shared;
    }
    ~Kills() override { ::munmap(std::exchange(shared, nullptr), sizeof(Shared)); }

    // A child goes on from the state until it dies, after so many calls or so many microseconds.
    Progress runAndKill(unsigned seed, State state, int calls, unsigned microseconds, bool isWatched) {
        int ends[2];
        EXPECT_EQ(::pipe(ends), 0);
        auto const tell = [&](char letter) {
            // Past the counted calls: what is counted are those of the change.
            return ::syscall(SYS_write, ends[1], &letter, 1) == 1;
        };
        pid_t const child = ::fork();
        if (child == 0) {
            isCounted = true;
            Random numbers(seed);
            for (;;) {
                shared->callsInChange = 0;
                if (calls != 0 && shared->callsLeft == 0)
                    shared->callsLeft = calls;
                if (!tell('b') || !change(numbers, state, true) || !tell('a'))
                    ::_exit(1);
            }
        }
        ::close(ends[1]);
        Progress progress;
        char letters[4096];
        bool const isKilledHere = calls == 0;
        ssize_t count = ::read(ends[0], letters, 1);
        if (isWatched)
            all(openStore("MY")); // so that the database is open elsewhere when the child dies
        if (isKilledHere) {
            ::usleep(microseconds);
            ::kill(child, SIGKILL);
        }
        for (; count > 0; count = ::read(ends[0], letters, sizeof letters))
            for (char const letter : std::string_view(letters, static_cast<std::size_t>(count)))
                ++(letter == 'b' ? progress.begun : progress.acknowledged);
        ::close(ends[0]);
        int status = 0;
        EXPECT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "a change failed: " << status;
        shared->callsLeft = 0;
        return progress;
    }

    // The database is whole, and nothing else lies beside it.
    void expectWhole() {
        auto const checked = test_support::runProgram({{WINCRYPTCTL, "check"}});
        EXPECT_EQ(checked.exitCode, 0) << checked.output << checked.error;
        std::set<std::string> const lasting = {"user.db", "user.db-wal", "user.db-shm", "sealing.key"};
        for (auto const& file : fs::directory_iterator(profile.userHome()))
            EXPECT_TRUE(lasting.contains(file.path().filename())) << "left behind: " << file.path();
    }
};

TEST_F(Kills, NothingAcknowledgedIsLostAndNothingIsHalfDone) {
    unsigned const rounds = fullOr(1000u, 60u);
    unsigned inside = 0;
    unsigned tookPlace = 0;
    unsigned changes = 0;
    std::map<int, unsigned> places; // kills by the calls that the change had made
    Random numbers(20'000);
    State state;
    for (unsigned round = 0; round < rounds && !HasFailure(); ++round) {
        bool const isFirst = round % 10 == 0; // the database itself is made
        if (isFirst) {
            expectWhole();
            fs::remove_all(profile.userHome());
            fs::create_directory(profile.userHome());
            fs::permissions(profile.userHome(), fs::perms::owner_all);
            state = {};
        }
        // By turns at any moment and right after a call; of these some so late that the log is brought in.
        int const most = isFirst ? 60 : round % 8 == 1 ? 5000 : 150;
        int const calls = round % 2 == 0 && !isFirst ? 0 : static_cast<int>(numbers() % unsigned(most)) + 1;
        unsigned const seed = numbers();
        unsigned const pause = numbers() % 8000;
        SCOPED_TRACE("round " + std::to_string(round));
        Progress const progress = runAndKill(seed, state, calls, pause, round % 3 == 0 && !isFirst);
        State before = state;
        Random same(seed);
        for (unsigned i = 0; i < progress.acknowledged; ++i)
            change(same, before, false);
        State after = before;
        change(same, after, false);
        bool const isInside = progress.begun > progress.acknowledged;
        // A change that was on the disk, but not yet told to those who have the database open, shows when the
        // last of them has closed it, which a fork brings about. It never goes back.
        State const first = readState();
        EXPECT_TRUE(inChild([] { return true; }));
        state = readState();
        EXPECT_TRUE(first == state || first == before) << "first " << first;
        inside += isInside;
        tookPlace += isInside && state == after;
        changes += progress.acknowledged;
        places[isInside ? shared->callsInChange.load() : -1]++;
        EXPECT_TRUE(state == before || (isInside && state == after))
            << "found    " << state << "\nexpected " << before << "\nor       " << after;
    }
    expectWhole();
    std::printf(
        "kills: %u, inside a change: %u (it took place: %u), after %zu different numbers of file calls; "
        "acknowledged changes: %u\n",
        rounds, inside, tookPlace, places.size(), changes);
    EXPECT_GT(inside, rounds / 2) << "the kills prove little";
    EXPECT_GT(tookPlace, 0u);
    EXPECT_GT(inside, tookPlace) << "none undid its change";
}

} // namespace
