// What the fuzz targets have in common. A target is one function for one kind of input from outside; it may
// end in any way that a caller can handle, and must neither crash nor hang nor break what `require` states.
#pragma once

#include "support/bytes.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

namespace fuzz {

using test_support::Bytes;

inline void require(bool holds, char const* what) {
    if (holds)
        return;
    std::cerr << "broken: " << what << std::endl;
    std::abort();
}

template <class Failure, class Body>
void attempt(Body const& body) {
    try {
        body();
    } catch (Failure const&) {}
}

// Parts are read from the front; behind the end all is zero or empty.
struct Input {
    Bytes rest;

    Bytes take(std::size_t wanted) {
        auto const end = rest.begin() + static_cast<std::ptrdiff_t>(std::min(wanted, rest.size()));
        Bytes taken(rest.begin(), end);
        rest.erase(rest.begin(), end);
        return taken;
    }
    unsigned octet() { return rest.empty() ? 0U : take(1)[0]; }
    Bytes part() { return take(octet()); }
};

} // namespace fuzz
