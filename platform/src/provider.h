// What a provider is: containers with two key slots each.
#pragma once

#include "rsa_key.h"

#include <wincrypt.h>

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace wincrypt {

enum class Scope;

// A key pair in a slot. It stays usable when the container goes.
class Key {
public:
    virtual ~Key() = default;

    virtual RsaPublicKey const& publicKey() const = 0;
    virtual bool isExportable() const = 0;
    // Blocks most significant byte first; errors as RsaPrivateKey's, and those of a PIN where one is needed.
    virtual Bytes sign(ByteView signedValue) = 0;
    virtual SecureBytes decrypt(ByteView block) = 0;
    // RSAPrivateKey. Error: NTE_BAD_KEY_STATE when the key may not leave.
    virtual SecureBytes exportEncoding() = 0;
};

class Container {
public:
    virtual ~Container() = default;

    virtual std::string const& name() const = 0;
    virtual std::shared_ptr<Key> key(DWORD slot) = 0; // null for an empty slot
    virtual std::shared_ptr<Key> generate(DWORD slot, unsigned bits, bool exportable) = 0;
    // Takes an RSAPrivateKey that was checked.
    virtual std::shared_ptr<Key> import(DWORD slot, ByteView encoding, bool exportable) = 0;
    virtual std::optional<Bytes> certificate(DWORD slot) = 0;
    virtual void setCertificate(DWORD slot, ByteView encoding) = 0; // error: NTE_NO_KEY for an empty slot
};

// Whether a person may be asked for a PIN on behalf of a provider handle.
enum class Asking { allowed, silent };

class Provider {
public:
    virtual ~Provider() = default;

    virtual std::string const& name() const = 0;
    virtual DWORD type() const = 0;
    virtual DWORD implementation() const = 0; // CRYPT_IMPL_SOFTWARE or CRYPT_IMPL_HARDWARE

    // An empty name is the default container. What isn't there opens to null: programs ask whether a name is
    // free by opening it.
    // Errors: NTE_BAD_KEYSET for remove, NTE_EXISTS for create, NTE_KEYSET_NOT_DEF for a token without a
    // default container.
    virtual std::shared_ptr<Container> open(Scope scope, std::string const& name, Asking asking) = 0;
    virtual std::shared_ptr<Container> create(Scope scope, std::string const& name, Asking asking) = 0;
    virtual void remove(Scope scope, std::string const& name, Asking asking) = 0;
    virtual std::shared_ptr<Container> temporary() = 0; // holds its keys only while it lives

    // The first container name behind this one; nothing at the end.
    virtual std::optional<std::string> containerAfter(Scope scope, std::string const& name,
                                                      Asking asking) = 0;
    virtual std::size_t longestContainerName(Scope scope, Asking asking) = 0; // octets

    virtual void fillRandom(std::span<std::uint8_t> octets) = 0;
};

// All providers, the software one first. Tokens are waited for no longer than their discovery may take.
std::vector<std::shared_ptr<Provider>> allProviders();

// Null or empty: the first. Another name than the software provider's may be a token's name or its URI.
// Errors: NTE_KEYSET_NOT_DEF for an unknown name, NTE_BAD_PROV_TYPE, NTE_PROV_TYPE_NOT_DEF and
// NTE_PROV_TYPE_NO_MATCH for the type.
std::shared_ptr<Provider> findProvider(char const* name, DWORD type);

inline bool isSlot(DWORD specification) noexcept {
    return specification == AT_KEYEXCHANGE || specification == AT_SIGNATURE;
}

} // namespace wincrypt
