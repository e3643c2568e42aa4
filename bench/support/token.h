#pragma once

#include "support/certificate_series.h"

#include <p11-kit/pkcs11.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

// The attributes of an object that is made or looked for, with their values.
class Attributes {
public:
    Attributes& add(CK_ATTRIBUTE_TYPE type, Bytes value);
    Attributes& add(CK_ATTRIBUTE_TYPE type, std::string_view text);
    Attributes& add(CK_ATTRIBUTE_TYPE type, CK_ULONG number);
    Attributes& addFlag(CK_ATTRIBUTE_TYPE type, bool isSet);

    // As the calls take them; they show the values of this object.
    std::vector<CK_ATTRIBUTE> list();

private:
    struct Entry {
        CK_ATTRIBUTE_TYPE type;
        Bytes value;
    };
    std::vector<Entry> entries_;
};

// A token of another store, reached through its PKCS#11 module, in a directory of its own. One at a time in a
// process.
class Token {
public:
    // Those that are known: "SoftHSM" and "NSS".
    static bool isInstalled(std::string const& name);

    // Starts the module on the token in the directory, and makes the token when it isn't there. Throws
    // std::runtime_error.
    Token(std::string const& name, std::filesystem::path const& directory);
    ~Token();
    Token(Token const&) = delete;
    Token& operator=(Token const&) = delete;

    CK_FUNCTION_LIST& calls() const { return *calls_; }
    CK_SLOT_ID slot() const { return slot_; }
    std::string version() const;

private:
    void start(std::string const& name, std::filesystem::path const& directory);
    void choose(bool isInitialised);
    void setPins(std::string const& name);

    CK_FUNCTION_LIST* calls_ = nullptr;
    CK_SLOT_ID slot_ = 0;
};

// A read-write session of the token.
class TokenSession {
public:
    explicit TokenSession(Token const& token);
    ~TokenSession();
    TokenSession(TokenSession const&) = delete;
    TokenSession& operator=(TokenSession const&) = delete;

    // As the user, for all of the process's sessions of the token as long as this one is open; does nothing
    // where that isn't asked for.
    void logIn();

    CK_OBJECT_HANDLE create(Attributes attributes);
    // CKR_OK, or why it wasn't made.
    CK_RV tryToCreate(Attributes& attributes, CK_OBJECT_HANDLE& made);
    void destroy(CK_OBJECT_HANDLE object);

    std::vector<CK_OBJECT_HANDLE> find(Attributes attributes);

    // RSA with SHA-1, PKCS#1 v1.5.
    Bytes sign(CK_OBJECT_HANDLE key, Bytes message);
    void verify(CK_OBJECT_HANDLE key, Bytes message, Bytes signature);

private:
    CK_FUNCTION_LIST& calls_;
    CK_SESSION_HANDLE session_ = 0;
};

// A certificate as an object of a token.
Attributes certificateObject(Bytes encoding, std::uint32_t number);

} // namespace bench
