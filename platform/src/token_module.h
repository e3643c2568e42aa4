// A PKCS#11 module of p11-kit's registry as the layer sees it: a worker process that answers one request at a
// time. A worker that doesn't answer is left behind, and the next request starts another one, so the module
// never runs in this process and nothing of it is copied by a fork.
#pragma once

#include "bytes.h"
#include "token_settings.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace wincrypt {

class TokenModule {
public:
    explicit TokenModule(std::string name);

    std::string const& name() const noexcept { return name_; }

    class Turn;

private:
    struct Line;
    std::shared_ptr<Line> line();

    std::string const name_;
    std::shared_ptr<Line> line_; // guarded by ProcessLock::tokens
    std::shared_ptr<Line> forgotten_;

    friend void dropTokenWorkersInChild() noexcept;
};

// The right to talk to a module's worker, for one thread at a time.
class TokenModule::Turn {
public:
    // Waits for the other calls. Error: SCARD_E_TIMEOUT.
    Turn(TokenModule& module, TokenClock::time_point deadline);
    static std::optional<Turn> takeIfFree(TokenModule& module);
    ~Turn();
    Turn(Turn&&) noexcept = default;
    Turn(Turn const&) = delete;
    Turn& operator=(Turn const&) = delete;
    Turn& operator=(Turn&&) = delete;

    TokenModule& module() const noexcept { return *module_; }

    // Starts the worker where there is none. Errors: NTE_PROVIDER_DLL_FAIL no worker can be started,
    // SCARD_F_COMM_ERROR the worker ended.
    void send(ByteView request, TokenClock::time_point deadline);
    // Errors: SCARD_E_TIMEOUT, after which the worker still owes the answer, and SCARD_F_COMM_ERROR.
    SecureBytes receive(TokenClock::time_point deadline);
    void leaveWorker() noexcept; // it ends, whatever it does

    // The worker was asked for its tokens and still owes the answer, since then.
    std::optional<TokenClock::time_point> describingSince() const noexcept;
    void setDescribing(bool owesAnswer) noexcept;

    // Others wait as long as a person needs.
    void setPersonAsked(bool asked) noexcept;

    // Waits until one of those that were asked for their tokens answers; false at the deadline.
    static bool waitForAny(std::vector<Turn const*> const& turns, TokenClock::time_point deadline);
    bool hasAnswer() const;

private:
    Turn(TokenModule& module, std::shared_ptr<Line> line) noexcept
        : module_(&module), line_(std::move(line)) {}

    TokenModule* module_;
    std::shared_ptr<Line> line_; // null when moved from
};

// The modules that the registry names, in its order; those made before are the same. Nothing of p11-kit is
// loaded for this.
std::vector<std::shared_ptr<TokenModule>> registeredModules();

} // namespace wincrypt
