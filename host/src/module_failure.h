#pragma once

#include "failure.h"

#include <tvkcore/base/tvkexception.h>

#include <cstdint>
#include <optional>
#include <string>

namespace tvkstore {

// The platform's error value behind a failure of the module: the one it carries, or the one that its text
// tells.
std::optional<std::uint32_t> systemCodeOf(TVKException const& exception);

// What the user is told when the module failed while doing `what` ("can't open store MY").
Failure moduleFailure(std::string const& what, TVKException const& exception);

// Runs `work` and has a failure of the module in it say what could not be done.
template <typename Work>
auto attempt(std::string const& what, Work&& work) -> decltype(work()) {
    try {
        return work();
    } catch (TVKException const& exception) {
        throw moduleFailure(what, exception);
    }
}

} // namespace tvkstore
