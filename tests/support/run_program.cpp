#include "support/run_program.h"

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>
#include <string_view>
#include <system_error>

extern char** environ;

namespace test_support {

namespace {

void check(int error, std::string const& what) {
    if (error != 0)
        throw std::system_error(error, std::generic_category(), what);
}

class Descriptor {
public:
    Descriptor(int number, char const* what) : number_(number) {
        if (number_ < 0)
            check(errno, what);
    }
    ~Descriptor() { ::close(number_); }
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;
    int number() const { return number_; }

private:
    int number_;
};

// A nameless file that the program inherits as one of its three standard streams.
class StreamFile {
public:
    explicit StreamFile(char const* name) : file_(::memfd_create(name, MFD_CLOEXEC), "memfd_create") {}

    int number() const { return file_.number(); }

    void write(std::string_view text) const {
        while (!text.empty()) {
            ssize_t const count = ::write(number(), text.data(), text.size());
            if (count < 0 && errno != EINTR)
                check(errno, "write to standard input");
            if (count > 0)
                text.remove_prefix(static_cast<std::size_t>(count));
        }
        if (::lseek(number(), 0, SEEK_SET) != 0)
            check(errno, "lseek");
    }

    std::string read() const {
        std::string text;
        std::array<char, 16384> part{};
        for (;;) {
            ssize_t const count =
                ::pread(number(), part.data(), part.size(), static_cast<off_t>(text.size()));
            if (count == 0)
                return text;
            if (count > 0)
                text.append(part.data(), static_cast<std::size_t>(count));
            else if (errno != EINTR)
                check(errno, "pread");
        }
    }

private:
    Descriptor file_;
};

class SpawnSettings {
public:
    SpawnSettings() {
        check(::posix_spawn_file_actions_init(&actions_), "posix_spawn_file_actions_init");
        check(::posix_spawnattr_init(&attributes_), "posix_spawnattr_init");
    }
    ~SpawnSettings() {
        ::posix_spawnattr_destroy(&attributes_);
        ::posix_spawn_file_actions_destroy(&actions_);
    }
    SpawnSettings(SpawnSettings const&) = delete;
    SpawnSettings& operator=(SpawnSettings const&) = delete;

    void stream(StreamFile const& file, int target) {
        check(::posix_spawn_file_actions_adddup2(&actions_, file.number(), target), "adddup2");
    }

    void ownProcessGroup() {
        check(::posix_spawnattr_setpgroup(&attributes_, 0), "posix_spawnattr_setpgroup");
        check(::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETPGROUP), "posix_spawnattr_setflags");
    }

    pid_t start(std::vector<std::string> arguments, std::vector<std::string> environment) {
        std::vector<char*> argv = pointers(arguments);
        std::vector<char*> envp = pointers(environment);
        pid_t process = 0;
        check(::posix_spawnp(&process, argv[0], &actions_, &attributes_, argv.data(), envp.data()),
              arguments.front());
        return process;
    }

private:
    static std::vector<char*> pointers(std::vector<std::string>& texts) {
        std::vector<char*> result;
        result.reserve(texts.size() + 1);
        for (std::string& text : texts)
            result.push_back(text.data());
        result.push_back(nullptr);
        return result;
    }

    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

std::vector<std::string> environmentWith(std::vector<std::pair<std::string, std::string>> const& added) {
    std::vector<std::string> result;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        std::string_view const text = *entry;
        std::string_view const name = text.substr(0, text.find('='));
        if (std::none_of(added.begin(), added.end(), [&](auto const& pair) { return pair.first == name; }))
            result.emplace_back(text);
    }
    for (auto const& [name, value] : added)
        result.push_back(name + "=" + value);
    return result;
}

// False when the limit passed first.
bool waitForEnd(pid_t process, std::chrono::milliseconds limit) {
    using Clock = std::chrono::steady_clock;
    // The library's own declaration of pidfd_open lacks C linkage in glibc 2.36.
    Descriptor const handle(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)), "pidfd_open");
    Clock::time_point const deadline = Clock::now() + limit;
    for (;;) {
        auto const left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd waited{handle.number(), POLLIN, 0};
        int const ready = ::poll(&waited, 1, static_cast<int>(std::clamp<long long>(left, 0, 1'000'000)));
        if (ready > 0)
            return true;
        if (ready < 0 && errno != EINTR)
            check(errno, "poll");
        if (ready == 0 && Clock::now() >= deadline)
            return false;
    }
}

int collect(pid_t process) {
    int status = 0;
    while (::waitpid(process, &status, 0) < 0) {
        if (errno != EINTR)
            check(errno, "waitpid");
    }
    return status;
}

} // namespace

ProgramResult runProgram(ProgramRun const& run) {
    if (run.arguments.empty())
        throw std::invalid_argument("runProgram needs a program");
    StreamFile const input("input");
    StreamFile const output("output");
    StreamFile const error("error");
    input.write(run.input);

    SpawnSettings settings;
    settings.stream(input, STDIN_FILENO);
    settings.stream(output, STDOUT_FILENO);
    settings.stream(error, STDERR_FILENO);
    settings.ownProcessGroup();
    pid_t const process = settings.start(run.arguments, environmentWith(run.environment));

    ProgramResult result;
    try {
        result.timedOut = !waitForEnd(process, run.limit);
    } catch (...) {
        ::kill(-process, SIGKILL);
        collect(process);
        throw;
    }
    if (result.timedOut)
        ::kill(-process, SIGKILL);
    int const status = collect(process);
    if (WIFEXITED(status))
        result.exitCode = WEXITSTATUS(status);
    else
        result.signal = WTERMSIG(status);
    result.output = output.read();
    result.error = error.read();
    return result;
}

} // namespace test_support
