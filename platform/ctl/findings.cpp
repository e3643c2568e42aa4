#include "findings.h"

#include "terminal_text.h"

#include <algorithm>
#include <array>
#include <iostream>

namespace wincryptctl {
namespace {

// At the place of its kind.
struct KindText {
    char const* name;
    ExitCode exitCode;
};
constexpr std::array kinds{KindText{"note", ExitCode::done}, KindText{"unreadable", ExitCode::failed},
                           KindText{"refused", ExitCode::refused}, KindText{"damaged", ExitCode::damaged}};

KindText const& textOf(Finding const& finding) { return kinds[static_cast<std::size_t>(finding.kind)]; }

} // namespace

std::string lineOf(Finding const& finding) {
    return std::string(textOf(finding).name) + ": " + finding.object + ": " + finding.text;
}

Json jsonOf(Finding const& finding) {
    return {{"kind", textOf(finding).name}, {"object", finding.object}, {"text", finding.text}};
}

ExitCode exitCodeOf(Findings const& findings) {
    ExitCode worst = ExitCode::done;
    for (Finding const& finding : findings)
        worst = std::max(worst, textOf(finding).exitCode);
    return worst;
}

void reportAll(Findings const& findings) {
    for (Finding const& finding : findings)
        std::cerr << "wincryptctl: " << printable(lineOf(finding)) << '\n';
    std::cerr << std::flush;
}

} // namespace wincryptctl
