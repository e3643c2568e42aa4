#pragma once

#include "failure.h"

#include <string>

namespace tvkstore {

// The failure of a call of the platform on `object`, with the error value that GetLastError gave: refused
// where permissions are the cause.
Failure platformFailure(std::string const& object, unsigned long error);

} // namespace tvkstore
