#include "token_module.h"

#include "log.h"
#include "process_locks.h"
#include "token_message.h"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <poll.h>
#include <set>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

extern char** environ;

namespace wincrypt {

// The child of a fork forgets it, as a thread that isn't there may have been using it.
struct TokenModule::Line {
    std::shared_ptr<Line> former; // forgotten before this one
    std::mutex lock;
    std::condition_variable changed;
    bool taken = false;
    bool personAsked = false;

    // Of whoever has the turn; the connection changes under ProcessLock::tokens.
    int connection = -1;
    std::optional<TokenClock::time_point> describingSince;
};

namespace {

// Guarded by ProcessLock::tokens; never destroyed.
std::map<std::string, std::shared_ptr<TokenModule>>& modules() {
    static auto* const all = new std::map<std::string, std::shared_ptr<TokenModule>>;
    return *all;
}

// --- The registry ---

std::vector<std::filesystem::path> registryDirectories() {
    std::vector<std::filesystem::path> found;
    if (char const* const configuration = ::secure_getenv("XDG_CONFIG_HOME");
        configuration != nullptr && *configuration != '\0')
        found.emplace_back(std::filesystem::path(configuration) / "pkcs11/modules");
    else if (char const* const home = ::secure_getenv("HOME"); home != nullptr && *home != '\0')
        found.emplace_back(std::filesystem::path(home) / ".config/pkcs11/modules");
    found.emplace_back(P11_SYSTEM_MODULES);
    found.emplace_back(P11_PACKAGE_MODULES);
    return found;
}

bool holdsTrustAnchors(std::filesystem::path const& file) {
    std::ifstream input(file);
    for (std::string line; std::getline(input, line);) {
        std::erase_if(line, [](char character) { return character == ' ' || character == '\t'; });
        if (line == "trust-policy:yes")
            return true;
    }
    return false;
}

// Every module has a file of its name. Which of them are enabled, and what the files say, is p11-kit's to
// know when a worker asks it to load them.
std::set<std::string> registeredNames() {
    std::set<std::string> names;
    for (std::filesystem::path const& directory : registryDirectories()) {
        std::error_code error;
        for (auto const& entry : std::filesystem::directory_iterator(directory, error))
            if (entry.path().extension() == ".module" && !holdsTrustAnchors(entry.path()))
                names.insert(entry.path().stem());
    }
    return names;
}

// --- Workers ---

class SpawnSettings {
public:
    SpawnSettings() {
        if (::posix_spawn_file_actions_init(&actions) != 0)
            throw std::bad_alloc();
        if (::posix_spawnattr_init(&attributes) != 0) {
            ::posix_spawn_file_actions_destroy(&actions);
            throw std::bad_alloc();
        }
    }
    ~SpawnSettings() {
        ::posix_spawnattr_destroy(&attributes);
        ::posix_spawn_file_actions_destroy(&actions);
    }
    SpawnSettings(SpawnSettings const&) = delete;
    SpawnSettings& operator=(SpawnSettings const&) = delete;

    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
};

// It lies in a folder beside this library.
std::string workerProgram() {
    Dl_info info{};
    if (::dladdr(reinterpret_cast<void*>(&workerProgram), &info) == 0)
        return {};
    std::error_code error;
    auto const library = std::filesystem::canonical(info.dli_fname, error);
    return error ? std::string() : (library.parent_path() / "wincrypt/wincrypt-token").string();
}

int startProcess(std::string const& program, std::string const& module, int connection, pid_t& process) {
    SpawnSettings settings;
    constexpr int workersConnection = 3;
    sigset_t none;
    sigset_t all;
    ::sigemptyset(&none);
    ::sigfillset(&all);
    ::posix_spawnattr_setsigmask(&settings.attributes, &none);
    ::posix_spawnattr_setsigdefault(&settings.attributes, &all);
    ::posix_spawnattr_setflags(&settings.attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    int error = ::posix_spawn_file_actions_adddup2(&settings.actions, connection, workersConnection);
    for (int const stream : {STDIN_FILENO, STDOUT_FILENO})
        if (error == 0)
            error = ::posix_spawn_file_actions_addopen(&settings.actions, stream, "/dev/null", O_RDWR, 0);
    if (error != 0)
        return error;
    std::string arguments[] = {program, module, program_invocation_short_name};
    char* pointers[] = {arguments[0].data(), arguments[1].data(), arguments[2].data(), nullptr};
    return ::posix_spawn(&process, program.c_str(), &settings.actions, &settings.attributes, pointers,
                         environ);
}

// The worker's end that is ours. Called with ProcessLock::tokens held, so that no fork copies an end that its
// child wouldn't know of.
int startWorker(std::string const& module) {
    std::string const program = workerProgram();
    int ends[2];
    if (program.empty() || ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        fail(NTE_PROVIDER_DLL_FAIL);
    pid_t process = 0;
    int const error = startProcess(program, module, ends[1], process);
    ::close(ends[1]);
    if (error != 0) {
        ::close(ends[0]);
        logLine(program, std::strerror(error));
        fail(NTE_PROVIDER_DLL_FAIL);
    }
    // It leaves the worker behind at once. Where the host collects its children by itself there is nothing to
    // collect.
    while (::waitpid(process, nullptr, 0) < 0 && errno == EINTR) {}
    return ends[0];
}

int millisecondsUntil(TokenClock::time_point deadline) {
    auto const left = std::chrono::ceil<std::chrono::milliseconds>(deadline - TokenClock::now()).count();
    return static_cast<int>(std::clamp<long long>(left, 0, 1 << 30));
}

// False at the deadline. A connection that broke is ready for everything.
bool waitUntilReady(std::vector<pollfd>& waited, TokenClock::time_point deadline) {
    LeaseBreak const outside;
    for (;;) {
        int const ready = ::poll(waited.data(), waited.size(), millisecondsUntil(deadline));
        if (ready > 0)
            return true;
        if (ready == 0 && TokenClock::now() >= deadline)
            return false;
        if (ready < 0 && errno != EINTR)
            fail(SCARD_F_COMM_ERROR);
    }
}

void waitUntilReady(int connection, short events, TokenClock::time_point deadline) {
    std::vector<pollfd> waited{{connection, events, 0}};
    if (!waitUntilReady(waited, deadline))
        fail(SCARD_E_TIMEOUT);
}

void receiveAll(int connection, void* buffer, std::size_t size, TokenClock::time_point deadline) {
    auto* octets = static_cast<std::uint8_t*>(buffer);
    while (size != 0) {
        ssize_t const count = ::recv(connection, octets, size, MSG_DONTWAIT);
        if (count > 0) {
            octets += count;
            size -= static_cast<std::size_t>(count);
        } else if (count < 0 && errno == EAGAIN) {
            waitUntilReady(connection, POLLIN, deadline);
        } else if (count == 0 || errno != EINTR) {
            fail(SCARD_F_COMM_ERROR);
        }
    }
}

void sendAll(int connection, ByteView octets, TokenClock::time_point deadline) {
    while (!octets.empty()) {
        ssize_t const count = ::send(connection, octets.data(), octets.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count > 0)
            octets = octets.subspan(static_cast<std::size_t>(count));
        else if (count < 0 && errno == EAGAIN)
            waitUntilReady(connection, POLLOUT, deadline);
        else if (errno != EINTR)
            fail(SCARD_F_COMM_ERROR);
    }
}

// An idle worker owes nothing: what can be read from it is its end.
bool hasEnded(int connection) {
    pollfd waited{connection, POLLIN, 0};
    return ::poll(&waited, 1, 0) > 0;
}

} // namespace

TokenModule::TokenModule(std::string name) : name_(std::move(name)) {}

std::shared_ptr<TokenModule::Line> TokenModule::line() {
    std::lock_guard const lock(processLock(ProcessLock::tokens));
    if (!line_)
        line_ = std::make_shared<Line>();
    return line_;
}

TokenModule::Turn::Turn(TokenModule& module, TokenClock::time_point deadline)
    : module_(&module), line_(module.line()) {
    auto const allowance = deadline - TokenClock::now();
    bool timely = true;
    {
        LeaseBreak const outside;
        std::unique_lock lock(line_->lock);
        while (line_->taken && timely) {
            if (line_->changed.wait_until(lock, deadline) != std::cv_status::timeout)
                continue;
            if (line_->personAsked)
                deadline = TokenClock::now() + allowance;
            else
                timely = !line_->taken;
        }
        if (timely)
            line_->taken = true;
    }
    if (!timely) {
        line_.reset(); // not ours to give back
        logLine("token module " + module.name(), "busy with other calls");
        fail(SCARD_E_TIMEOUT);
    }
}

std::optional<TokenModule::Turn> TokenModule::Turn::takeIfFree(TokenModule& module) {
    auto line = module.line();
    std::lock_guard const lock(line->lock);
    if (std::exchange(line->taken, true))
        return std::nullopt;
    return Turn(module, line);
}

TokenModule::Turn::~Turn() {
    if (!line_)
        return;
    std::lock_guard const lock(line_->lock);
    line_->taken = false;
    line_->personAsked = false;
    line_->changed.notify_one();
}

void TokenModule::Turn::send(ByteView request, TokenClock::time_point deadline) {
    if (line_->connection >= 0 && hasEnded(line_->connection)) {
        logLine("token module " + module_->name(), "its worker ended, another one is started");
        leaveWorker();
    }
    if (line_->connection < 0) {
        std::lock_guard const lock(processLock(ProcessLock::tokens));
        line_->connection = startWorker(module_->name());
    }
    auto const size = static_cast<std::uint32_t>(request.size());
    sendAll(line_->connection, {reinterpret_cast<std::uint8_t const*>(&size), sizeof size}, deadline);
    sendAll(line_->connection, request, deadline);
}

SecureBytes TokenModule::Turn::receive(TokenClock::time_point deadline) {
    waitUntilReady(line_->connection, POLLIN, deadline);
    // It has begun to answer: the rest is on its way, and no part of it is left behind.
    auto const atOnce = std::max(deadline, TokenClock::now() + std::chrono::seconds(1));
    std::uint32_t size = 0;
    receiveAll(line_->connection, &size, sizeof size, atOnce);
    if (size > longestMessage)
        fail(SCARD_F_COMM_ERROR);
    SecureBytes answer(size);
    receiveAll(line_->connection, answer.data(), answer.size(), atOnce);
    return answer;
}

void TokenModule::Turn::leaveWorker() noexcept {
    std::lock_guard const lock(processLock(ProcessLock::tokens));
    if (line_->connection >= 0)
        ::close(std::exchange(line_->connection, -1));
    line_->describingSince.reset();
}

std::optional<TokenClock::time_point> TokenModule::Turn::describingSince() const noexcept {
    return line_->describingSince;
}

void TokenModule::Turn::setDescribing(bool owesAnswer) noexcept {
    line_->describingSince = owesAnswer ? std::optional(TokenClock::now()) : std::nullopt;
}

void TokenModule::Turn::setPersonAsked(bool asked) noexcept {
    std::lock_guard const lock(line_->lock);
    line_->personAsked = asked;
}

bool TokenModule::Turn::waitForAny(std::vector<Turn const*> const& turns, TokenClock::time_point deadline) {
    std::vector<pollfd> waited;
    waited.reserve(turns.size());
    for (Turn const* turn : turns)
        waited.push_back({turn->line_->connection, POLLIN, 0});
    return waitUntilReady(waited, deadline);
}

bool TokenModule::Turn::hasAnswer() const { return line_->connection < 0 || hasEnded(line_->connection); }

std::vector<std::shared_ptr<TokenModule>> registeredModules() {
    std::vector<std::shared_ptr<TokenModule>> found;
    if (discoveryLimit().count() == 0)
        return found;
    auto const names = registeredNames();
    found.reserve(names.size());
    std::lock_guard const lock(processLock(ProcessLock::tokens));
    for (std::string const& name : names) {
        auto& module = modules()[name];
        if (!module)
            module = std::make_shared<TokenModule>(name);
        found.push_back(module);
    }
    return found;
}

void dropTokenWorkersInChild() noexcept {
    for (auto& [name, module] : modules()) {
        if (!module->line_)
            continue;
        if (module->line_->connection >= 0)
            ::close(module->line_->connection);
        // Its lock may be held by a thread that isn't here, so it is never looked at again, and never
        // destroyed.
        module->line_->former = std::move(module->forgotten_);
        module->forgotten_ = std::move(module->line_);
    }
}

} // namespace wincrypt
