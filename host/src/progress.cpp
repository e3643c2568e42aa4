#include "progress.h"

#include "descriptors.h"

#include <iostream>

namespace tvkstore {

namespace {

constexpr std::chrono::milliseconds kInterval(100);

} // namespace

Progress::Progress(std::string what, std::size_t whole)
    : what_(std::move(what)), whole_(whole), isTerminal_(canRewriteLine(kStandardError)),
      next_(std::chrono::steady_clock::now() + kInterval) {}

Progress::~Progress() { hide(); }

void Progress::step() {
    ++done_;
    if (!isTerminal_ || std::chrono::steady_clock::now() < next_) {
        return;
    }
    std::cerr << '\r' << what_ << ' ' << done_ << " of " << whole_ << "\x1B[K" << std::flush;
    isShown_ = true;
    next_ = std::chrono::steady_clock::now() + kInterval;
}

void Progress::hide() {
    if (isShown_) {
        std::cerr << "\r\x1B[K" << std::flush;
        isShown_ = false;
    }
}

} // namespace tvkstore
