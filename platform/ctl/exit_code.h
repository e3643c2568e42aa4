#pragma once

namespace wincryptctl {

// What a run ends with, for scripts.
enum class ExitCode : int {
    done = 0,
    no = 1,    // a plain no: there is no database, the question was answered with no
    usage = 2, // wrong usage, nothing was touched
    failed = 3,
    refused = 4, // permission, cancelled
    damaged = 5
};

} // namespace wincryptctl
