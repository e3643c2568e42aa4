#pragma once

#include "comparison.h"

#include <string>
#include <vector>

namespace report {

// The comparisons as an SVG drawing: two bars a row, on a logarithmic scale of time, and a mark where the
// goal lies.
std::string chart(std::vector<Comparison> const& comparisons);

} // namespace report
