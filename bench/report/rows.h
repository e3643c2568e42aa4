#pragma once

#include <span>
#include <string>

namespace report {

enum class GoalKind {
    ratio,  // at most so many times the counterpart
    figure, // at most so much
    excess, // at most so much more than the counterpart
    least   // at least so much
};

enum class Unit { seconds, bytes, times };

// A line of the table. What is measured is named as in the programs.
struct Row {
    char const* title;
    char const* ours;
    char const* counterpart;
    GoalKind kind;
    double goal;
    Unit unit = Unit::seconds; // of both figures
};

std::span<Row const> rows();

// The goal in words.
std::string goalText(Row const& row);

// The worst figure that meets the goal, beside the counterpart's.
double goalFigure(Row const& row, double counterpart);

// With three significant digits and the unit that fits.
std::string timeText(double seconds);

// Without decimals, for scales.
std::string roundTimeText(double seconds);

// A figure of the row.
std::string figureText(Row const& row, double figure);

} // namespace report
