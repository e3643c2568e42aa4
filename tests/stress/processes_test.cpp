// Many processes write and walk one user's store at once: nobody fails, waits long, or misses what is there.
#include "stress.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

using namespace stress;

namespace {

constexpr unsigned writers = 64;
constexpr unsigned walkers = 8;
constexpr unsigned held = 3; // certificates that a writer has in the store at a time

// How far a writer is, told before and after the call that adds or deletes its certificate of that number.
struct Progress {
    std::atomic<unsigned> added{0};
    std::atomic<unsigned> deleting{0};
    std::atomic<unsigned> deleted{0};
};

struct Shared {
    std::atomic<bool> isOver{false};
    std::atomic<long> longest{0}; // wait for a call, microseconds
    std::atomic<unsigned> changes{0};
    std::atomic<unsigned> walks{0};
    std::atomic<unsigned> longestWalk{0}; // certificates
    Progress progress[writers];
    char failure[256]{};

    bool fail(std::string const& text) {
        // Of many failures one will do.
        std::strncpy(failure, (text + ", " + std::to_string(GetLastError())).c_str(), sizeof failure - 1);
        isOver = true;
        return false;
    }
};

template <class Value>
void raise(std::atomic<Value>& most, Value value) {
    Value known = most;
    while (known < value && !most.compare_exchange_weak(known, value)) {}
}

class Processes : InMemory, public LayerTest {
protected:
    Processes()
        : InMemory(fullOr(false, true)), shared(*new (::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                                                             MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Shared) {
        certificateOf(0, 0);
    }
    ~Processes() override { ::munmap(&shared, sizeof shared); }

    template <class Call>
    auto timed(Call&& call) {
        auto const begin = Clock::now();
        auto result = call();
        auto const time = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin);
        raise(shared.longest, static_cast<long>(time.count()));
        ++shared.changes;
        return result;
    }

    bool write(unsigned writer) {
        Progress& own = shared.progress[writer];
        std::string const box = "box" + std::to_string(writer);
        StoreHandle const store = openStore("MY");
        for (unsigned number = 1; !shared.isOver; ++number) {
            ContextHandle const context = timed([&] { return add(store, certificateOf(writer, number)); });
            if (!context)
                return shared.fail("adding");
            own.added = number;
            if (!timed([&] { return setFriendlyName(context.get(), std::to_wstring(number)); }))
                return shared.fail("naming");
            if (number > held) {
                own.deleting = number - held;
                ContextHandle old = findIn(store, certificateOf(writer, number - held));
                if (!old || friendlyName(old.get()) != std::to_wstring(number - held))
                    return shared.fail("lost: what was added or its name");
                if (!timed([&] { return CertDeleteCertificateFromStore(old.release()); }))
                    return shared.fail("deleting");
                own.deleted = number - held;
            }
            if (number % 8 == 0 && !changeBox(box.c_str()))
                return shared.fail("changing a container");
        }
        return true;
    }

    bool changeBox(char const* name) {
        HCRYPTPROV none = 0;
        return timed([&] { return openContainer(name, CRYPT_NEWKEYSET); }) &&
               timed([&] { return importKey(name, 512); }) && timed([&] {
                   return CryptAcquireContextA(&none, name, MS_ENHANCED_PROV_A, 1, CRYPT_DELETEKEYSET);
               });
    }

    // One walk sees all that was there before it and is still there after it, and nothing that was gone.
    bool walk() {
        unsigned added[writers];
        unsigned deleted[writers];
        for (unsigned i = 0; i < writers; ++i) {
            deleted[i] = shared.progress[i].deleted;
            added[i] = shared.progress[i].added;
        }
        StoreHandle const store = openStore("MY");
        std::set<std::pair<unsigned, unsigned>> seen;
        for (PCCERT_CONTEXT context = nullptr;
             (context = CertEnumCertificatesInStore(store.get(), context)) != nullptr;)
            if (!seen.insert(numbersOf(encodingOf(context))).second)
                return shared.fail("seen twice in one walk");
        if (!store || GetLastError() != code(CRYPT_E_NOT_FOUND))
            return shared.fail("walking");
        for (unsigned i = 0; i < writers; ++i)
            for (unsigned number = shared.progress[i].deleting + 1; number <= added[i]; ++number)
                if (!seen.contains({i, number}))
                    return shared.fail("not seen by the next walk of another process");
        for (auto const& [writer, number] : seen)
            if (number <= deleted[writer])
                return shared.fail("seen after it was deleted");
        raise(shared.longestWalk, static_cast<unsigned>(seen.size()));
        ++shared.walks;
        return true;
    }

    Shared& shared;
};

TEST_F(Processes, WriteAndWalkOneStoreWithoutAFailure) {
    std::vector<pid_t> children;
    for (unsigned i = 0; i < writers + walkers; ++i)
        if (children.push_back(::fork()); children.back() == 0) {
            bool good = true;
            if (i < writers)
                good = write(i);
            // With pauses: where walks keep every processor busy, a virtual machine's disk may take a second
            // to answer, and nobody changes anything.
            for (; i >= writers && good && !shared.isOver; ::usleep(5000))
                good = walk();
            ::_exit(good ? 0 : 1);
        }
    auto const end = Clock::now() + std::chrono::seconds(fullOr(60, 4));
    while (Clock::now() < end && !shared.isOver)
        ::usleep(10'000);
    shared.isOver = true;
    for (pid_t const child : children) {
        int status = -1;
        EXPECT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0) << shared.failure;
    }
    std::printf("%u writing and %u walking processes: %u changes, %u walks of up to %u certificates, longest "
                "call %.2f s\n",
                writers, walkers, shared.changes.load(), shared.walks.load(), shared.longestWalk.load(),
                static_cast<double>(shared.longest) / 1e6);
    EXPECT_LT(shared.longest, 10'000'000);
    EXPECT_GT(shared.walks, 10u);
    // What is left is what nobody deleted.
    std::set<std::pair<unsigned, unsigned>> left;
    for (unsigned i = 0; i < writers; ++i)
        for (unsigned number = shared.progress[i].deleted + 1; number <= shared.progress[i].added; ++number)
            left.emplace(i, number);
    std::set<std::pair<unsigned, unsigned>> found;
    for (Bytes const& encoding : all(openStore("MY")))
        found.insert(numbersOf(encoding));
    EXPECT_EQ(found, left);
    EXPECT_GT(shared.progress[0].added, 0u);
    EXPECT_TRUE(readState().boxes.empty());
}

} // namespace
