#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace tvkstore {

// Tells on the terminal of standard error, if it is one, how far long work has come, and takes that away at
// the end.
class Progress {
public:
    Progress(std::string what, std::size_t whole);
    ~Progress();
    Progress(Progress const&) = delete;
    Progress& operator=(Progress const&) = delete;

    // One more is about to be done.
    void step();

    // Clears the line, so that something else can be written.
    void hide();

private:
    std::string what_;
    std::size_t whole_;
    std::size_t done_ = 0;
    bool isTerminal_;
    bool isShown_ = false;
    std::chrono::steady_clock::time_point next_;
};

} // namespace tvkstore
