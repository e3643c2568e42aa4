// A token that was found: how it is called upon, with the login that it wants.
#pragma once

#include "provider.h"
#include "token_module.h"
#include "token_pin.h"
#include "token_protocol.h"

#include <set>

namespace wincrypt {

class TokenReply {
public:
    // Error: SCARD_F_COMM_ERROR for what is no answer, such as a failure without an error value.
    explicit TokenReply(SecureBytes message);

    TokenAnswer kind;
    DWORD error;
    std::string detail;
    std::uint32_t flags; // of the token, when it wants a PIN

    MessageReader result() const& noexcept { return MessageReader(ByteView(message_).subspan(head_)); }
    MessageReader result() && = delete;      // what is read are views into the reply
    std::vector<SecureBytes> values() const; // of an operation that gives a list

private:
    SecureBytes message_;
    std::size_t head_;
};

// One request and its answer. A worker that doesn't give it in time, or ends, is left behind. Errors:
// SCARD_E_TIMEOUT, SCARD_F_COMM_ERROR, NTE_PROVIDER_DLL_FAIL.
TokenReply exchange(TokenModule::Turn& turn, ByteView request, TokenClock::time_point deadline);

class Token {
public:
    Token(std::shared_ptr<TokenModule> module, TokenDescription description)
        : module_(std::move(module)), description_(std::move(description)) {}
    Token(Token const&) = delete;
    Token& operator=(Token const&) = delete;

    TokenDescription const& description() const noexcept { return description_; }
    TokenModule& module() const noexcept { return *module_; }

    // Has the worker do it, after the login where one is needed. A wrong PIN isn't tried a second time.
    // Errors: those of exchange and of the operation, SCARD_W_REMOVED_CARD, and for the PIN
    // SCARD_W_WRONG_CHV, SCARD_W_CHV_BLOCKED, SCARD_W_CANCELLED_BY_USER, SCARD_W_CARD_NOT_AUTHENTICATED there
    // is none or it isn't to be used up, NTE_SILENT_CONTEXT nobody can be asked.
    TokenReply call(TokenOperation operation, MessageWriter const& arguments, Asking asking,
                    std::chrono::milliseconds limit = callLimit());

    bool hasPinWithoutPerson();
    void setPinSource(std::string const& source); // of the URI that named the token

    // Containers that were made and hold no key yet; they are the process's own.
    bool hasPending(std::string const& container);
    void addPending(std::string const& container);
    void removePending(std::string const& container);
    std::set<std::string> pending();

    // For the directory, under ProcessLock::tokens.
    bool isPresent = true;

private:
    struct Pin {
        SecureBytes octets; // empty: typed at the token's own keypad
        bool byPerson;
    };
    Pin obtainPin(TokenModule::Turn& turn, std::uint32_t flags, Asking asking);
    SecureBytes askPerson(TokenModule::Turn& turn, std::uint32_t flags, Asking asking);
    void login(TokenModule::Turn& turn, std::uint32_t flags, Asking asking);
    void keep(Pin const& pin);
    void noteFailedPin(Pin const& pin, DWORD error);
    std::string name() const { return "token " + description_.label; }

    std::shared_ptr<TokenModule> const module_;
    TokenDescription const description_;

    // Guarded by ProcessLock::tokens.
    PinMemory pin_;
    PinMemory refused_;
    std::string pinSource_;
    std::set<std::string> pending_;
};

} // namespace wincrypt
