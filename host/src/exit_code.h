#pragma once

namespace tvkstore {

// What a run ends with, for scripts.
enum class ExitCode : int {
    done = 0,
    no = 1,    // a plain no: not found, does not verify
    usage = 2, // wrong usage, nothing was touched
    failed = 3,
    refused = 4, // permission, PIN, cancelled
    damaged = 5
};

} // namespace tvkstore
