// What the layer asks of a token worker, the process that has one PKCS#11 module loaded, and what the worker
// answers. A request is an operation, the token, and the operation's arguments; an answer is its kind, an
// error value, a line for the log, the token's flags, and the result. There is one answer for each request.
#pragma once

#include "token_message.h"

#include <wincrypt.h>

#include <vector>

namespace wincrypt {

enum class TokenOperation : std::uint32_t {
    describe,        // no token named -> tokens
    listKeys,        // whether a login has to be there, container (empty: all) -> TokenKeys
    login,           // whether a person typed it, PIN (empty: the token asks at its own keypad)
    sign,            // key, value, PIN for the key (empty: none yet) -> signature
    decrypt,         // key, block, PIN for the key -> clear text
    generate,        // new key, bits -> public key
    import,          // new key, RSAPrivateKey
    exportKey,       // key -> integers of the key, none when it stays
    certificates,    // key identifier -> encodings
    setCertificate,  // key identifier, container, encoding, subject, issuer, serial number
    removeKey,       // key
    removeContainer, // container -> whether there was one
    random,          // count -> octets
    askAtTerminal,   // prompt -> PIN
};

enum class TokenAnswer : std::uint32_t {
    done,
    failed,
    lost,       // failed, and what the worker knows of the module is worth nothing any more
    absent,     // lost: the module doesn't show the token, and nothing was begun
    wantsLogin, // the operation needs a login, and was not begun
    wantsPin,   // the key needs the PIN with each use
};

// A token as its module describes it; the same token has the same description again.
struct TokenDescription {
    std::string label;
    std::string manufacturer;
    std::string model;
    std::string serial;

    bool operator==(TokenDescription const&) const = default;
};

enum class TokenKeyAccess : std::uint32_t { hidden, stays, exportable };

struct TokenKeyRecord {
    std::string container; // label, or the identifier in hexadecimal where that is empty or no text
    Bytes id;
    DWORD slot = 0;
    Bytes modulus; // empty when no visible object tells
    Bytes exponent;
    TokenKeyAccess access = TokenKeyAccess::hidden; // of the private half
};

struct TokenKeys {
    std::vector<TokenKeyRecord> keys; // in the order of their identifiers
    bool isWhole = true;              // a login has nothing to add
    bool mayHideMore = false;         // there are signs of keys that only a login shows
};

inline void write(MessageWriter& out, TokenDescription const& token) {
    out.text(token.label).text(token.manufacturer).text(token.model).text(token.serial);
}

inline TokenDescription readTokenDescription(MessageReader& in) {
    TokenDescription token;
    token.label = in.text();
    token.manufacturer = in.text();
    token.model = in.text();
    token.serial = in.text();
    return token;
}

inline void write(MessageWriter& out, TokenKeyRecord const& key) {
    out.text(key.container).bytes(key.id).word(key.slot).bytes(key.modulus).bytes(key.exponent);
    out.word(static_cast<std::uint32_t>(key.access));
}

inline TokenKeyRecord readTokenKey(MessageReader& in) {
    TokenKeyRecord key;
    key.container = in.text();
    key.id = in.copy();
    key.slot = in.word();
    key.modulus = in.copy();
    key.exponent = in.copy();
    key.access = static_cast<TokenKeyAccess>(in.word());
    return key;
}

inline void write(MessageWriter& out, TokenKeys const& all) {
    out.word(all.isWhole).word(all.mayHideMore).word(static_cast<std::uint32_t>(all.keys.size()));
    for (TokenKeyRecord const& key : all.keys)
        write(out, key);
}

inline TokenKeys readTokenKeys(MessageReader& in) {
    TokenKeys all;
    all.isWhole = in.word() != 0;
    all.mayHideMore = in.word() != 0;
    for (std::uint32_t count = in.word(); count != 0; --count)
        all.keys.push_back(readTokenKey(in));
    return all;
}

} // namespace wincrypt
