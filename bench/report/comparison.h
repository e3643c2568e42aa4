#pragma once

#include "rows.h"

#include <optional>

namespace report {

// A row with what was measured for it.
struct Comparison {
    Row const* row;
    std::optional<double> ours;        // in the row's unit
    std::optional<double> counterpart; // in the row's unit

    bool isMeasured() const { return ours && counterpart; }
    bool isMet() const {
        if (!isMeasured()) {
            return false;
        }
        double const goal = goalFigure(*row, *counterpart);
        return row->kind == GoalKind::least ? *ours >= goal : *ours <= goal;
    }
    char const* verdict() const { return !isMeasured() ? "no result" : isMet() ? "ok" : "short"; }
};

} // namespace report
