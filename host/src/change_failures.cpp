#include "change_failures.h"

#include "module_failure.h"

#include <algorithm>

namespace tvkstore {

void ChangeFailures::add(std::string const& what, TVKException const& exception) {
    ++count_;
    Failure const failure = moduleFailure(what, exception);
    worst_ = std::max(worst_, failure.exitCode());
    if (++causes_[exception.what()] == 1) {
        session_.relayLayerLog();
        report(failure);
    }
}

ExitCode ChangeFailures::finish() {
    for (auto const& [cause, count] : causes_) {
        if (count > 1) {
            report(Failure(worst_, "the same for " + std::to_string(count - 1) + " more: " + cause));
        }
    }
    causes_.clear();
    return worst_;
}

} // namespace tvkstore
