#pragma once

#include "exit_code.h"
#include "output.h"

#include <string>
#include <vector>

namespace wincryptctl {

// What was found to be wrong, or worth telling.
struct Finding {
    enum class Kind { note, unreadable, refused, damaged };
    Kind kind;
    std::string object;
    std::string text;
};

using Findings = std::vector<Finding>;

std::string lineOf(Finding const& finding);
Json jsonOf(Finding const& finding);

// The worst of them as exit code; notes are none.
ExitCode exitCodeOf(Findings const& findings);

// On standard error, for commands whose result is something else.
void reportAll(Findings const& findings);

} // namespace wincryptctl
