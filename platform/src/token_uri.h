// The URI of a token (RFC 7512).
#pragma once

#include "token_protocol.h"

#include <optional>

namespace wincrypt {

struct TokenUri {
    // Each fits every token where it is absent.
    std::optional<std::string> label;
    std::optional<std::string> manufacturer;
    std::optional<std::string> model;
    std::optional<std::string> serial;
    std::optional<std::string> moduleName;
    std::optional<std::string> pinSource; // 2.4: a path, or the URI of a file

    bool fits(TokenDescription const& token, std::string const& module) const;
};

bool isTokenUri(std::string_view name);

// Attributes that say which object of the token is meant are passed by. Nothing for text that isn't such a
// URI, or has an attribute that only some libraries know.
std::optional<TokenUri> parseTokenUri(std::string_view text);

} // namespace wincrypt
