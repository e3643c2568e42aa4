#include "terminal.h"

#include "file_descriptor.h"

#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <iterator>
#include <poll.h>
#include <termios.h>

namespace wincrypt {
namespace {

std::atomic<int> silencedTerminal{-1};
termios shownBefore;
volatile std::sig_atomic_t caught = 0;

void note(int signal) { caught = signal; }

// Signals that would end or stop the process are taken down and looked at once the terminal is as it was.
// They come only while the answer is waited for.
class HeldSignals {
public:
    HeldSignals() {
        caught = 0;
        sigset_t held;
        ::sigemptyset(&held);
        struct sigaction action {};
        action.sa_handler = note;
        ::sigemptyset(&action.sa_mask);
        for (std::size_t i = 0; i < std::size(signals); ++i) {
            ::sigaddset(&held, signals[i]);
            ::sigaction(signals[i], &action, &former_[i]);
        }
        ::pthread_sigmask(SIG_BLOCK, &held, &outside_);
    }
    ~HeldSignals() {
        for (std::size_t i = 0; i < std::size(signals); ++i)
            ::sigaction(signals[i], &former_[i], nullptr);
        ::pthread_sigmask(SIG_SETMASK, &outside_, nullptr);
    }
    HeldSignals(HeldSignals const&) = delete;
    HeldSignals& operator=(HeldSignals const&) = delete;

    // False when a signal came first.
    bool waitForInput(int terminal) const {
        pollfd waited{terminal, POLLIN, 0};
        return ::ppoll(&waited, 1, nullptr, &outside_) > 0;
    }

private:
    static constexpr int signals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};
    struct sigaction former_[std::size(signals)]{};
    sigset_t outside_{};
};

class SilencedTerminal {
public:
    explicit SilencedTerminal(int terminal) {
        ::tcgetattr(terminal, &shownBefore);
        termios silent = shownBefore;
        silent.c_lflag = (silent.c_lflag | ICANON | ECHONL) & ~tcflag_t{ECHO};
        silencedTerminal.store(terminal);
        ::tcsetattr(terminal, TCSAFLUSH, &silent);
    }
    ~SilencedTerminal() { restoreTerminal(); }
    SilencedTerminal(SilencedTerminal const&) = delete;
    SilencedTerminal& operator=(SilencedTerminal const&) = delete;
};

void show(int terminal, std::string_view text) {
    while (!text.empty()) {
        ssize_t const written = ::write(terminal, text.data(), text.size());
        if (written < 0)
            return;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

// The line without its end; nothing at the end of input or after a signal.
std::optional<SecureBytes> readLine(int terminal, HeldSignals const& signals) {
    constexpr std::size_t longest = 255;
    SecureBytes line;
    line.reserve(longest); // so that no copy is left behind
    for (;;) {
        std::uint8_t octet = 0;
        if (!signals.waitForInput(terminal) || ::read(terminal, &octet, 1) != 1)
            return std::nullopt;
        if (octet == '\n')
            return line;
        if (line.size() < longest)
            line.push_back(octet);
    }
}

} // namespace

void restoreTerminal() noexcept {
    int const terminal = silencedTerminal.exchange(-1);
    if (terminal >= 0)
        ::tcsetattr(terminal, TCSAFLUSH, &shownBefore);
}

std::optional<SecureBytes> askAtTerminal(std::string const& prompt) {
    FileDescriptor const terminal(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
    if (!terminal || ::tcgetpgrp(terminal.number()) != ::getpgrp())
        return std::nullopt;
    for (;;) {
        std::optional<SecureBytes> line;
        {
            HeldSignals const signals;
            SilencedTerminal const silent(terminal.number());
            show(terminal.number(), prompt);
            line = readLine(terminal.number(), signals);
        }
        if (caught == SIGTSTP) {
            ::raise(SIGSTOP); // with the whole job, and asked again with it
            continue;
        }
        if (!line || line->empty())
            fail(SCARD_W_CANCELLED_BY_USER);
        return line;
    }
}

} // namespace wincrypt
