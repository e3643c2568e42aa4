// What the long tests share: how long they run, certificates that cost nothing, imported keys.
#pragma once

#include "platform/layer_fixture.h"

#include <chrono>
#include <map>
#include <random>
#include <set>

namespace stress {

using namespace layer_test;
using test_support::InMemory;

// The figure of "make stress", else that of the short form, which runs with the other tests.
template <class Figure>
Figure fullOr(Figure full, Figure shortForm) {
    return std::getenv("TVK_STRESS_FULL") != nullptr ? full : shortForm;
}

// Certificates that differ in their serial numbers and in their signatures, which nobody verifies.
Bytes certificateOf(unsigned high, unsigned low);
std::pair<unsigned, unsigned> numbersOf(Bytes const& encoding);
ContextHandle findIn(StoreHandle const& store, Bytes const& encoding); // by the platform's search

// Puts the shared key of this size into the exchange slot of a container that exists, in place of another.
bool importKey(char const* container, unsigned bits);

// The same numbers for the same seed, everywhere.
class Random {
public:
    explicit Random(unsigned seed) : engine_(seed) {}
    unsigned operator()() { return static_cast<unsigned>(engine_()); }

private:
    std::mt19937 engine_;
};

// What a user has: certificates, and the containers whose names begin with "box", each with the bits of its
// exchange key, 0 without one.
struct Certificate {
    unsigned name = 0; // 0: without
    unsigned container = 0;
    bool operator==(Certificate const&) const = default;
};

struct State {
    std::map<unsigned, Certificate> certificates;
    std::map<std::string, unsigned> boxes;
    bool operator==(State const&) const = default;
};

std::ostream& operator<<(std::ostream& out, State const& state);
State readState();

// Makes one change, in the platform where asked, and in the state that it leads to. Which one, the numbers
// and the state tell.
bool change(Random& numbers, State& state, bool inPlatform);

using Clock = std::chrono::steady_clock;

} // namespace stress
