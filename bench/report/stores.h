#pragma once

#include "results.h"

#include <string>

namespace report {

// What other stores take for the same work, as a Markdown table. The column of one that isn't installed stays
// empty.
std::string storesTable(Results const& results);

} // namespace report
