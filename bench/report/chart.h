#pragma once

#include "comparison.h"

#include <string>
#include <vector>

namespace report {

// The comparisons of times as an SVG drawing: two bars a row, on a logarithmic scale of time, and a mark
// where the goal lies.
std::string chart(std::vector<Comparison> comparisons);

} // namespace report
