#include "token.h"

#include "log.h"
#include "process_locks.h"
#include "token_directory.h"

#include <p11-kit/pkcs11.h>

#include <utility>

namespace wincrypt {
namespace {

std::unique_lock<std::mutex> lockTokens() { return std::unique_lock(processLock(ProcessLock::tokens)); }

bool usesPrivateKey(TokenOperation operation) {
    return operation == TokenOperation::sign || operation == TokenOperation::decrypt;
}

// A label comes from outside, and a terminal obeys what it is shown.
std::string printable(std::string text) {
    for (char& character : text)
        if (static_cast<unsigned char>(character) < 0x20 || character == 0x7F)
            character = '?';
    return text;
}

class PersonAsked {
public:
    explicit PersonAsked(TokenModule::Turn& turn) : turn_(turn) { turn_.setPersonAsked(true); }
    ~PersonAsked() { turn_.setPersonAsked(false); }
    PersonAsked(PersonAsked const&) = delete;
    PersonAsked& operator=(PersonAsked const&) = delete;

private:
    TokenModule::Turn& turn_;
};

} // namespace

TokenReply::TokenReply(SecureBytes message) : message_(std::move(message)) {
    MessageReader in(message_);
    kind = static_cast<TokenAnswer>(in.word());
    error = in.word();
    detail = in.text();
    flags = in.word();
    bool const failed =
        kind == TokenAnswer::failed || kind == TokenAnswer::lost || kind == TokenAnswer::absent;
    if (kind > TokenAnswer::wantsPin || (failed && error == ERROR_SUCCESS))
        fail(SCARD_F_COMM_ERROR);
    head_ = 4 * sizeof(std::uint32_t) + detail.size();
}

std::vector<SecureBytes> TokenReply::values() const {
    MessageReader in = result();
    std::vector<SecureBytes> all;
    for (std::uint32_t count = in.word(); count != 0; --count) {
        ByteView const octets = in.bytes();
        all.emplace_back(octets.begin(), octets.end());
    }
    return all;
}

TokenReply exchange(TokenModule::Turn& turn, ByteView request, TokenClock::time_point deadline) {
    try {
        turn.send(request, deadline);
        return TokenReply(turn.receive(deadline));
    } catch (Failure const& failure) {
        bool const late = failure.code() == errorValue(SCARD_E_TIMEOUT);
        logLine("token module " + turn.module().name(), late ? "no answer in time; its worker is left behind"
                                                             : "its worker ended, or can't be started");
        turn.leaveWorker();
        throw;
    }
}

TokenReply Token::call(TokenOperation operation, MessageWriter const& arguments, Asking asking,
                       std::chrono::milliseconds limit) {
    auto deadline = TokenClock::now() + limit;
    TokenModule::Turn turn(*module_, deadline);
    finishDescription(turn, deadline);
    bool loggedIn = false;
    bool startedAgain = false;
    std::optional<Pin> keyPin;
    for (;;) {
        MessageWriter request;
        request.word(static_cast<std::uint32_t>(operation));
        write(request, description_);
        request.append(arguments);
        if (usesPrivateKey(operation))
            request.word(keyPin.has_value()).bytes(keyPin ? ByteView(keyPin->octets) : ByteView{});
        TokenReply reply = exchange(turn, request.view(), deadline);
        switch (reply.kind) {
        case TokenAnswer::done:
            if (keyPin)
                keep(*keyPin);
            return reply;
        case TokenAnswer::absent:
            turn.leaveWorker();
            loggedIn = false;
            if (!std::exchange(startedAgain, true))
                break; // some modules show only the tokens that were there when they started
            [[fallthrough]];
        case TokenAnswer::lost:
            turn.leaveWorker();
            [[fallthrough]];
        case TokenAnswer::failed:
            if (!reply.detail.empty())
                logLine(name(), reply.detail);
            if (keyPin)
                noteFailedPin(*keyPin, reply.error);
            fail(reply.error);
        case TokenAnswer::wantsLogin:
            if (std::exchange(loggedIn, true))
                fail(SCARD_W_CARD_NOT_AUTHENTICATED);
            login(turn, reply.flags, asking);
            break;
        case TokenAnswer::wantsPin:
            if (keyPin)
                fail(SCARD_W_CARD_NOT_AUTHENTICATED);
            keyPin = obtainPin(turn, reply.flags, asking);
            break;
        }
        deadline = TokenClock::now() + limit; // a person may have been asked
        if (keyPin && keyPin->octets.empty())
            deadline += personLimit;
    }
}

// --- The PIN ---

void Token::login(TokenModule::Turn& turn, std::uint32_t flags, Asking asking) {
    Pin const pin = obtainPin(turn, flags, asking);
    MessageWriter request;
    request.word(static_cast<std::uint32_t>(TokenOperation::login));
    write(request, description_);
    request.word(pin.byPerson).bytes(pin.octets);
    bool const atKeypad = pin.octets.empty();
    std::optional<PersonAsked> asked;
    if (atKeypad)
        asked.emplace(turn);
    TokenReply const reply =
        exchange(turn, request.view(), TokenClock::now() + (atKeypad ? personLimit : callLimit()));
    if (reply.kind == TokenAnswer::done)
        return keep(pin);
    if (reply.kind == TokenAnswer::lost || reply.kind == TokenAnswer::absent)
        turn.leaveWorker();
    logLine(name(), reply.detail.empty() ? "refused to log in" : reply.detail);
    noteFailedPin(pin, reply.error);
    fail(reply.error);
}

Token::Pin Token::obtainPin(TokenModule::Turn& turn, std::uint32_t flags, Asking asking) {
    if ((flags & CKF_USER_PIN_LOCKED) != 0) {
        logLine(name(), "its PIN is blocked");
        fail(SCARD_W_CHV_BLOCKED);
    }
    if ((flags & CKF_PROTECTED_AUTHENTICATION_PATH) != 0) {
        if (asking == Asking::silent)
            fail(NTE_SILENT_CONTEXT);
        return {{}, true};
    }
    bool const lastTry = (flags & CKF_USER_PIN_FINAL_TRY) != 0;
    PinSource source{};
    {
        auto const lock = lockTokens();
        if (!pin_.empty() && !lastTry)
            return {pin_.copy(), false};
        source = PinSource::inUse(pinSource_);
    }
    if (source.kind == PinSource::Kind::person)
        return {askPerson(turn, flags, asking), true};
    Pin pin{source.read(), false};
    if (auto const lock = lockTokens(); refused_.holds(pin.octets)) {
        logLine(name(), "the PIN was wrong before and isn't tried again");
        fail(SCARD_W_WRONG_CHV);
    }
    if (lastTry) {
        logLine(name(),
                "one try is left before its PIN is blocked; that one is for a person at the terminal");
        fail(SCARD_W_CARD_NOT_AUTHENTICATED);
    }
    return pin;
}

SecureBytes Token::askPerson(TokenModule::Turn& turn, std::uint32_t flags, Asking asking) {
    if (asking == Asking::silent)
        fail(NTE_SILENT_CONTEXT);
    PersonAsked const asked(turn);
    MessageWriter request;
    request.word(static_cast<std::uint32_t>(TokenOperation::askAtTerminal));
    request.text("PIN of token \"" + printable(description_.label) + "\"" +
                 ((flags & CKF_USER_PIN_FINAL_TRY) != 0   ? " (last try before it is blocked)"
                  : (flags & CKF_USER_PIN_COUNT_LOW) != 0 ? " (few tries are left)"
                                                          : "") +
                 ": ");
    TokenReply const reply = exchange(turn, request.view(), TokenClock::now() + personLimit);
    if (reply.kind != TokenAnswer::done)
        fail(reply.error);
    auto answers = reply.values();
    if (answers.empty()) {
        logLine(name(), "needs a PIN; WINCRYPT_PIN_SOURCE names none and there is no terminal to ask at");
        fail(NTE_SILENT_CONTEXT);
    }
    return std::move(answers.front());
}

void Token::keep(Pin const& pin) {
    auto const lock = lockTokens();
    pin_.set(pin.octets);
    refused_.set({});
}

void Token::noteFailedPin(Pin const& pin, DWORD error) {
    if (error != errorValue(SCARD_W_WRONG_CHV) && error != errorValue(SCARD_W_CHV_BLOCKED))
        return;
    auto const lock = lockTokens();
    pin_.set({});
    refused_.set(pin.byPerson ? ByteView{} : ByteView(pin.octets));
}

bool Token::hasPinWithoutPerson() {
    auto const lock = lockTokens();
    return !pin_.empty() || PinSource::inUse(pinSource_).kind != PinSource::Kind::person;
}

void Token::setPinSource(std::string const& source) {
    auto const lock = lockTokens();
    pinSource_ = source;
}

// --- Containers without a key ---

bool Token::hasPending(std::string const& container) {
    auto const lock = lockTokens();
    return pending_.count(container) != 0;
}

void Token::addPending(std::string const& container) {
    auto const lock = lockTokens();
    pending_.insert(container);
}

void Token::removePending(std::string const& container) {
    auto const lock = lockTokens();
    pending_.erase(container);
}

std::set<std::string> Token::pending() {
    auto const lock = lockTokens();
    return pending_;
}

} // namespace wincrypt
