#pragma once

#include <string>
#include <utility>
#include <vector>

namespace test_support {

struct ProgramRun {
    // Program and arguments; a program without a slash is looked up in PATH.
    std::vector<std::string> arguments;
    // Added to the environment of this process, in place of what has the same name there.
    std::vector<std::pair<std::string, std::string>> environment{};
};

struct ProgramResult {
    int exitCode = -1; // -1 when a signal ended the program
    std::string output;
    std::string error;
};

// Runs a program to its end without input and collects what it writes; after a minute its alarm ends it.
// The outputs are files, not pipes or terminals, so the amounts are not bounded and neither side waits for
// the other. Throws std::system_error when no process can be made; a program that can't be started ends
// with 127.
ProgramResult runProgram(ProgramRun const& run);

} // namespace test_support
