// A long mixed load in one process: nothing grows.
#include "stress.h"

#include <unistd.h>

#include <fstream>

using namespace stress;

namespace {

namespace fs = std::filesystem;

// Octets that the process has in memory.
long resident() {
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    return pages * ::sysconf(_SC_PAGESIZE);
}

long descriptors() { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); }

class Load : InMemory, public LayerTest {
protected:
    // One operation; the cheap ones are most.
    bool operate(Random& numbers) {
        unsigned const choice = numbers() % 1000;
        if (choice < 350)
            return sign(signer) == 0;
        if (choice < 700) {
            StoreHandle const store = openStore("MY");
            findIn(store, certificateOf(0, choice % 10 + 1));
            return static_cast<bool>(store);
        }
        if (choice < 900)
            return sign(openContainer("signer")) == 0;
        if (choice < 950)
            return all(openStore("MY")).size() == state.certificates.size();
        return change(numbers, state, true);
    }

    ProviderHandle signer;
    State state;
};

TEST_F(Load, LeavesNothingBehind) {
    unsigned const operations = fullOr(1'000'000u, 30'000u);
    signer = openContainer("signer", CRYPT_NEWKEYSET);
    ASSERT_TRUE(importKey("signer", 512));
    signer = openContainer("signer");
    Random numbers(5);
    unsigned const warm = fullOr(100'000u, 20'000u);
    long residentBefore = 0;
    long descriptorsBefore = 0;
    std::size_t const objects = WincryptLiveObjectCount();
    auto const begin = Clock::now();
    for (unsigned done = 0; done < operations; ++done) {
        if (done == warm) {
            residentBefore = resident();
            descriptorsBefore = descriptors();
        }
        ASSERT_TRUE(operate(numbers)) << "operation " << done << ", error " << GetLastError();
    }
    long const grown = resident() - residentBefore;
    std::printf(
        "%u operations in %.1f s: %ld kB resident after warming up, %+ld kB since; %ld descriptors, %+ld "
        "since; %zu live objects, %+ld since\n",
        operations, std::chrono::duration<double>(Clock::now() - begin).count(), residentBefore / 1024,
        grown / 1024, descriptorsBefore, descriptors() - descriptorsBefore, objects,
        static_cast<long>(WincryptLiveObjectCount() - objects));
    EXPECT_EQ(descriptors(), descriptorsBefore);
    EXPECT_EQ(WincryptLiveObjectCount(), objects);
    EXPECT_EQ(readState(), state) << "certificates, containers and keys are those that were made";
#ifndef __SANITIZE_ADDRESS__ // which keeps what is freed for a while
    EXPECT_LT(grown, 512 * 1024);
#endif
    signer.reset();
}

} // namespace
