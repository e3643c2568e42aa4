// One token of a module: a session, the login, and the RSA keys and certificates on it.
#pragma once

#include "pkcs11_module.h"
#include "token_protocol.h"

#include <map>

namespace wincrypt {

// The user has to be known to the token first.
struct WantsPin {
    bool forKey;    // the key asks with each use
    CK_FLAGS flags; // of the token, as they stand now
};

// The module doesn't show the token.
struct TokenAbsent : Pkcs11Failure {};

// What makes a use of a private key one: the PIN that goes with it, where the layer has come to know that the
// key wants one.
struct KeyPin {
    bool given = false;
    ByteView pin; // empty: asked for at the token's own keypad
};

struct NewKey {
    TokenKeyRecord place; // container, identifier and slot
    bool exportable;
};

TokenDescription describe(CK_TOKEN_INFO const& info);

// All of these throw Pkcs11Failure, Failure and WantsPin. A session that was lost is made anew once within
// the call.
class Pkcs11Token {
public:
    Pkcs11Token(Pkcs11Module& module, TokenDescription description)
        : module_(module), description_(std::move(description)) {}
    ~Pkcs11Token() { closeSession(); }
    Pkcs11Token(Pkcs11Token const&) = delete;
    Pkcs11Token& operator=(Pkcs11Token const&) = delete;

    // Only a person may use the last try before the PIN is locked; error then SCARD_W_CARD_NOT_AUTHENTICATED.
    void login(bool byPerson, ByteView pin);

    TokenKeys listKeys(bool withLogin, std::string const& container); // an empty name: those of all
    SecureBytes sign(TokenKeyRecord const& key, ByteView value, KeyPin pin);
    SecureBytes decrypt(TokenKeyRecord const& key, ByteView block, KeyPin pin); // padding: NTE_BAD_DATA
    TokenKeyRecord generate(NewKey const& key, unsigned bits);
    TokenKeyRecord import(NewKey const& key, ByteView rsaPrivateKey);
    std::vector<SecureBytes> exportKey(TokenKeyRecord const& key); // nothing for a key that stays
    std::vector<SecureBytes> certificates(ByteView id);
    struct NewCertificate {
        ByteView id;
        std::string container;
        ByteView encoding;
        ByteView subject;
        ByteView issuer;
        ByteView serialNumber; // whole INTEGER
    };
    void setCertificate(NewCertificate const& certificate); // in place of others with that identifier
    void removeKey(TokenKeyRecord const& key);
    bool removeContainer(std::string const& container);
    SecureBytes random(std::size_t count); // nothing when the token has no generator

private:
    struct PrivateKey {
        CK_OBJECT_HANDLE handle;
        bool wantsPinEachTime;
    };
    struct Use;

    template <class Operation>
    auto inSession(Operation operation);
    template <class Make>
    TokenKeyRecord makeKey(NewKey const& key, Make make);
    void openSession();
    void closeSession() noexcept;
    CK_FLAGS flags() { return module_.tokenInfo(slot_).flags; }
    bool needsLogin();
    void requireLogin();

    std::vector<CK_OBJECT_HANDLE> find(CK_OBJECT_CLASS kind, std::optional<CK_ATTRIBUTE_TYPE> by,
                                       ByteView wanted);
    std::vector<CK_OBJECT_HANDLE> findAll(CK_OBJECT_CLASS kind) { return find(kind, std::nullopt, {}); }
    std::vector<CK_OBJECT_HANDLE> findById(CK_OBJECT_CLASS kind, ByteView id) {
        return find(kind, CKA_ID, id);
    }
    std::optional<SecureBytes> value(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type);
    bool isTrue(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type);
    TokenKeyRecord record(CK_OBJECT_HANDLE key, CK_ATTRIBUTE_TYPE decrypts, CK_ATTRIBUTE_TYPE signs);
    TokenKeys visibleKeys(std::string const& container);
    TokenKeys visibleKeys(std::vector<CK_OBJECT_HANDLE> const& publicKeys,
                          std::vector<CK_OBJECT_HANDLE> const& privateKeys);
    bool hasCertificateWithoutKey(std::vector<TokenKeyRecord> const& keys);
    PrivateKey privateKey(TokenKeyRecord const& key);
    SecureBytes use(Use const& kind, TokenKeyRecord const& key, ByteView input, KeyPin pin);
    TokenKeyAccess access(CK_OBJECT_HANDLE privateKey);
    void destroy(CK_OBJECT_HANDLE object);
    void destroyKey(TokenKeyRecord const& key);

    Pkcs11Module& module_;
    TokenDescription const description_;
    CK_SLOT_ID slot_ = 0;
    std::optional<CK_SESSION_HANDLE> session_;
    std::map<std::pair<Bytes, Bytes>, PrivateKey> privateKeys_; // of the session, by identifier and modulus
};

} // namespace wincrypt
