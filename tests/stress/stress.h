// What the long tests share: how long they run, certificates that cost nothing, imported keys.
#pragma once

#include "platform/layer_fixture.h"

#include <chrono>
#include <map>
#include <random>
#include <set>

namespace stress {

using namespace layer_test;

// The figure of "make stress", else that of the short form, which runs with the other tests.
template <class Figure>
Figure fullOr(Figure full, Figure shortForm) {
    return std::getenv("TVK_STRESS_FULL") != nullptr ? full : shortForm;
}

// The directory for temporary files, while the object lives: in memory where the machine has a place for it.
struct InMemory {
    explicit InMemory(bool isWanted = true) {
        if (isWanted && std::filesystem::is_directory("/dev/shm"))
            place.emplace("TMPDIR", "/dev/shm");
    }
    std::optional<test_support::EnvironmentVariable> place;
};

// Certificates that differ in their serial numbers and in their signatures, which nobody verifies.
Bytes certificateOf(unsigned high, unsigned low);
std::pair<unsigned, unsigned> numbersOf(Bytes const& encoding);
ContextHandle findIn(StoreHandle const& store, Bytes const& encoding); // by issuer and serial number

// Puts the shared key of this size into the exchange slot of a container that exists, in place of another.
bool importKey(char const* container, unsigned bits);

// The names that begin with "box", each with the size of its exchange key, 0 without one.
std::map<std::string, unsigned> boxes();

// The same numbers for the same seed, everywhere.
class Random {
public:
    explicit Random(unsigned seed) : engine_(seed) {}
    unsigned operator()() { return static_cast<unsigned>(engine_()); }

private:
    std::mt19937 engine_;
};

using Clock = std::chrono::steady_clock;

} // namespace stress
