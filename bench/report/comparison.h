#pragma once

#include "rows.h"

#include <optional>

namespace report {

// A row with what was measured for it.
struct Comparison {
    Row const* row;
    std::optional<double> ours;        // seconds
    std::optional<double> counterpart; // seconds

    bool isMeasured() const { return ours && counterpart; }
    bool isMet() const { return isMeasured() && *ours <= goalTime(*row, *counterpart); }
    char const* verdict() const { return !isMeasured() ? "no result" : isMet() ? "ok" : "short"; }
};

} // namespace report
