#include "token_directory.h"

#include "log.h"
#include "process_locks.h"
#include "token_uri.h"

#include <wincrypt.h>

#include <algorithm>

namespace wincrypt {
namespace {

// Guarded by ProcessLock::tokens; never destroyed.
struct Directory {
    std::vector<std::shared_ptr<Token>> tokens;
    std::set<TokenModule const*> described;
    bool wasFilled = false;
};

Directory& directory() {
    static auto* const instance = new Directory;
    return *instance;
}

std::unique_lock<std::mutex> lockTokens() { return std::unique_lock(processLock(ProcessLock::tokens)); }

void takeDescription(TokenModule& module, TokenReply const& reply) {
    std::vector<TokenDescription> found;
    if (reply.kind == TokenAnswer::done) {
        MessageReader in = reply.result();
        for (std::uint32_t count = in.word(); count != 0; --count)
            found.push_back(readTokenDescription(in));
    } else if (!reply.detail.empty()) {
        logLine("token module " + module.name(), reply.detail);
    }
    auto const all = registeredModules();
    auto const self =
        std::find_if(all.begin(), all.end(), [&](auto const& each) { return each.get() == &module; });
    auto const lock = lockTokens();
    Directory& known = directory();
    known.described.insert(&module);
    for (auto const& token : known.tokens)
        if (&token->module() == &module)
            token->isPresent = false;
    for (TokenDescription& description : found) {
        // A token that two modules show is one.
        auto const same = std::find_if(known.tokens.begin(), known.tokens.end(), [&](auto const& token) {
            return token->description() == description;
        });
        if (same != known.tokens.end() && (&(*same)->module() == &module || (*same)->isPresent))
            (*same)->isPresent = true;
        else if (self != all.end())
            known.tokens.push_back(std::make_shared<Token>(*self, std::move(description)));
    }
}

// Asks the module for its tokens, or goes on waiting for what it was asked before.
bool beginDescription(TokenModule::Turn& turn, TokenClock::time_point deadline) {
    if (auto const since = turn.describingSince(); since && TokenClock::now() - *since > callLimit())
        turn.leaveWorker();
    if (turn.describingSince())
        return true;
    try {
        MessageWriter request;
        turn.send(request.word(static_cast<std::uint32_t>(TokenOperation::describe)).view(), deadline);
        turn.setDescribing(true);
        return true;
    } catch (Failure const&) {
        turn.leaveWorker();
        logLine("token module " + turn.module().name(), "no worker can be started for it");
        return false;
    }
}

void awaitDescriptions(std::vector<TokenModule::Turn>& turns, TokenClock::time_point deadline) {
    for (;;) {
        std::vector<TokenModule::Turn const*> waited;
        for (TokenModule::Turn& turn : turns)
            if (turn.describingSince()) {
                if (turn.hasAnswer())
                    finishDescription(turn, deadline);
                else
                    waited.push_back(&turn);
            }
        if (waited.empty())
            return;
        if (!TokenModule::Turn::waitForAny(waited, deadline)) {
            for (TokenModule::Turn const* turn : waited)
                logLine("token module " + turn->module().name(), "hasn't said in time which tokens it has");
            return;
        }
    }
}

void discover() {
    auto const deadline = TokenClock::now() + discoveryLimit();
    std::vector<TokenModule::Turn> asked;
    std::vector<std::shared_ptr<TokenModule>> busy;
    for (auto const& module : registeredModules()) {
        auto turn = TokenModule::Turn::takeIfFree(*module);
        if (!turn)
            busy.push_back(module);
        else if (beginDescription(*turn, deadline))
            asked.push_back(std::move(*turn));
    }
    awaitDescriptions(asked, deadline);
    asked.clear();
    // What another thread uses or asks just now was described, or will be.
    for (auto const& module : busy) {
        if (auto const lock = lockTokens(); directory().described.count(module.get()) != 0)
            continue;
        try {
            TokenModule::Turn turn(*module, deadline);
        } catch (Failure const&) {
            break; // the deadline
        }
    }
    auto const lock = lockTokens();
    directory().wasFilled = true;
}

// True when this call looked for them.
bool fillDirectory() {
    if (auto const lock = lockTokens(); directory().wasFilled)
        return false;
    discover();
    return true;
}

void takeLateAnswers() {
    for (auto const& module : registeredModules()) {
        auto turn = TokenModule::Turn::takeIfFree(*module);
        if (turn && turn->describingSince() && turn->hasAnswer())
            finishDescription(*turn, TokenClock::now());
    }
}

bool competes(Token const& other, Token const& token) {
    return &other != &token && other.description().label == token.description().label &&
           (other.isPresent || !token.isPresent);
}

std::string withSerial(TokenDescription const& token) {
    return token.label.empty() ? token.serial : token.label + " " + token.serial;
}

// Called with the lock held.
std::string nameOf(Token const& token) {
    TokenDescription const& description = token.description();
    auto const& all = directory().tokens;
    bool const isAmbiguous =
        description.label.empty() || description.label == MS_ENHANCED_PROV_A ||
        std::any_of(all.begin(), all.end(), [&](auto const& other) { return competes(*other, token); });
    return isAmbiguous ? withSerial(description) : description.label;
}

std::optional<NamedToken> match(std::string const& name, std::optional<TokenUri> const& uri) {
    auto const lock = lockTokens();
    std::vector<NamedToken> fitting;
    for (bool const present : {true, false}) {
        for (auto const& token : directory().tokens) {
            std::string own = nameOf(*token);
            if (token->isPresent == present &&
                (uri ? uri->fits(token->description(), token->module().name())
                     : own == name || withSerial(token->description()) == name))
                fitting.push_back({std::move(own), token});
        }
        if (!fitting.empty())
            break; // one that is there goes before those that were
    }
    if (fitting.size() > 1)
        logLine(name, "fits several tokens");
    return fitting.size() == 1 ? std::optional(fitting.front()) : std::nullopt;
}

} // namespace

void finishDescription(TokenModule::Turn& turn, TokenClock::time_point deadline) {
    auto const since = turn.describingSince();
    if (!since)
        return;
    try {
        TokenReply const reply(turn.receive(deadline));
        turn.setDescribing(false);
        takeDescription(turn.module(), reply);
        if (reply.kind != TokenAnswer::done)
            turn.leaveWorker();
    } catch (Failure const& failure) {
        bool const late = failure.code() == errorValue(SCARD_E_TIMEOUT);
        if (!late || TokenClock::now() - *since > callLimit())
            turn.leaveWorker();
        if (late)
            throw;
        logLine("token module " + turn.module().name(), "its worker ended");
    }
}

std::vector<NamedToken> knownTokens() {
    if (!fillDirectory())
        takeLateAnswers();
    auto const lock = lockTokens();
    std::vector<NamedToken> named;
    for (auto const& token : directory().tokens)
        if (token->isPresent)
            named.push_back({nameOf(*token), token});
    std::sort(named.begin(), named.end(), [](auto const& a, auto const& b) { return a.name < b.name; });
    return named;
}

std::optional<NamedToken> findToken(std::string const& name) {
    std::optional<TokenUri> uri;
    if (isTokenUri(name)) {
        uri = parseTokenUri(name);
        if (!uri) {
            logLine(name, "isn't the URI of a token");
            return std::nullopt;
        }
    }
    bool const isNew = fillDirectory();
    auto found = match(name, uri);
    if (!found && !isNew) {
        discover();
        found = match(name, uri);
    }
    if (found && uri && uri->pinSource)
        found->token->setPinSource(*uri->pinSource);
    return found;
}

} // namespace wincrypt
