#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace test_support {

struct ProgramRun {
    // Program and arguments; a program without a slash is looked up in PATH.
    std::vector<std::string> arguments;
    std::string input{};
    // Added to the environment of this process, in place of what has the same name there.
    std::vector<std::pair<std::string, std::string>> environment{};
    std::chrono::milliseconds limit = std::chrono::seconds(60);
};

struct ProgramResult {
    int exitCode = -1; // -1 when a signal ended the program
    int signal = 0;    // 0 when the program ended by itself
    bool timedOut = false;
    std::string output;
    std::string error;
};

// Runs a program to its end with the input on its standard input, and collects what it writes. After the
// limit it is ended with all the processes it started. Standard input and outputs are files, not pipes or
// terminals, so the amounts are not bounded and neither side waits for the other. Throws std::system_error
// when the program can't be started, std::invalid_argument without a program.
ProgramResult runProgram(ProgramRun const& run);

} // namespace test_support
