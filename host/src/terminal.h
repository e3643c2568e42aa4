#pragma once

#include <string>

namespace tvkstore {

// Asks on the terminal of standard input whether to go on; only "y" and "yes" mean so.
bool confirm(std::string const& question);

// Whether somebody can be asked by `confirm`.
bool canConfirm();

} // namespace tvkstore
