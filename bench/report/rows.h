#pragma once

#include <span>
#include <string>

namespace report {

enum class GoalKind {
    ratio, // at most so many times the counterpart
    time,  // at most so many seconds
    excess // at most so many seconds more than the counterpart
};

// A line of the table. What is measured is named as in the programs.
struct Row {
    char const* title;
    char const* ours;
    char const* counterpart;
    GoalKind kind;
    double goal;
};

std::span<Row const> rows();

// The goal in words.
std::string goalText(Row const& row);

// The longest time that meets the goal, beside a counterpart of the given time.
double goalTime(Row const& row, double counterpart);

// With three significant digits and the unit that fits.
std::string timeText(double seconds);

} // namespace report
