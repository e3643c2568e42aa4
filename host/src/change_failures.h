#pragma once

#include "failure.h"
#include "session.h"

#include <tvkcore/base/tvkexception.h>

#include <map>
#include <string>

namespace tvkstore {

// The failures of one change after another, where one that fails doesn't keep the others from being made. The
// same cause is told once, and how often it came at the end.
class ChangeFailures {
public:
    explicit ChangeFailures(Session& session) : session_(session) {}

    // `what` names the change: "can't delete alice".
    void add(std::string const& what, TVKException const& exception);

    // Tells what is still to be told. The worst exit code of all, done when there was none.
    ExitCode finish();

    std::size_t count() const { return count_; }

private:
    Session& session_;
    std::map<std::string, std::size_t> causes_;
    std::size_t count_ = 0;
    ExitCode worst_ = ExitCode::done;
};

} // namespace tvkstore
