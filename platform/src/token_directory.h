// The tokens that are known, and what they are called.
#pragma once

#include "token.h"

namespace wincrypt {

struct NamedToken {
    std::string name; // the label; with the serial number behind it where several have that label
    std::shared_ptr<Token> token;
};

// The tokens that were found, in the order of their names. The process's first call looks for them, and what
// answers late shows later.
std::vector<NamedToken> knownTokens();

// By name, or by a URI (RFC 7512) that fits one token. A name that isn't known is looked for once more. A
// name that fits several is none.
std::optional<NamedToken> findToken(std::string const& name);

// Takes the answer of a worker that was asked for its tokens and still owes it. Error: SCARD_E_TIMEOUT.
void finishDescription(TokenModule::Turn& turn, TokenClock::time_point deadline);

} // namespace wincrypt
