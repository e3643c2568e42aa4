#pragma once

#include "results.h"

#include <string>

namespace report {

// What each operation takes at growing numbers of certificates or containers, as a Markdown table.
std::string scaleTable(Results const& results);

// The same as an SVG drawing, both scales logarithmic. What is independent of the number lies flat.
std::string scaleChart(Results const& results);

} // namespace report
