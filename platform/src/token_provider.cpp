#include "token_provider.h"

#include "boundary.h"
#include "certificate_fields.h"
#include "database.h"
#include "der_cursor.h"
#include "der_writer.h"
#include "log.h"
#include "login_name.h"
#include "object_id.h"
#include "software_provider.h"

#include <algorithm>
#include <atomic>
#include <ctime>

namespace wincrypt {
namespace {

constexpr std::size_t placeOf(DWORD slot) noexcept { return slot == AT_KEYEXCHANGE ? 0 : 1; }

MessageWriter withKey(TokenKeyRecord const& key) {
    MessageWriter arguments;
    write(arguments, key);
    return arguments;
}

// Identifiers of keys that are made later come later in their order, behind the short ones that tools give,
// so a token's default container stays the same. The random half keeps those apart that two processes make at
// once.
Bytes newIdentifier() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    auto const microseconds =
        static_cast<std::uint64_t>(now.tv_sec) * 1'000'000 + static_cast<std::uint64_t>(now.tv_nsec) / 1000;
    Bytes id(16);
    id[0] = 0xC0;
    for (std::size_t i = 1; i < 8; ++i)
        id[i] = static_cast<std::uint8_t>(microseconds >> (8 * (7 - i)));
    fillWithRandom(std::span(id).subspan(8));
    return id;
}

Bytes withoutZeros(ByteView integer) {
    auto const first = std::find_if(integer.begin(), integer.end(), [](auto octet) { return octet != 0; });
    return {first, integer.end()};
}

// The integers of an RSAPublicKey.
std::optional<std::pair<ByteView, ByteView>> integersOf(ByteView rsaPublicKey) {
    DerCursor outer(rsaPublicKey);
    auto const sequence = outer.next(tag::sequence);
    DerCursor inside(sequence ? sequence->content : ByteView{});
    auto const modulus = inside.next(tag::integer);
    auto const exponent = inside.next(tag::integer);
    return modulus && exponent ? std::optional(std::pair(modulus->content, exponent->content)) : std::nullopt;
}

// --- Keys ---

class TokenKey final : public Key {
public:
    TokenKey(std::shared_ptr<Token> token, TokenKeyRecord record, LonePublicKey publicKey, Asking asking)
        : token_(std::move(token)), record_(std::move(record)), public_(std::move(publicKey)),
          asking_(asking) {}

    TokenKeyRecord const& record() const noexcept { return record_; }
    RsaPublicKey const& publicKey() const override { return public_.publicKey; }
    bool isExportable() const override { return record_.access == TokenKeyAccess::exportable; }

    Bytes sign(ByteView signedValue) override {
        publicKey().requireRoom(signedValue.size());
        TokenReply const reply =
            token_->call(TokenOperation::sign, withKey(record_).bytes(signedValue), asking_);
        Bytes signature = reply.result().copy();
        // A faulty token's wrong signature can give its key away, and another key's would be believed to be
        // this.
        if (!publicKey().verifies(signedValue, signature)) {
            logLine("token " + token_->description().label,
                    "its signature isn't one of the key " + record_.container);
            fail(NTE_FAIL);
        }
        return signature;
    }

    SecureBytes decrypt(ByteView block) override {
        if (block.size() != publicKey().blockSize())
            fail(NTE_BAD_DATA);
        TokenReply const reply =
            token_->call(TokenOperation::decrypt, withKey(record_).bytes(block), asking_);
        ByteView const clear = reply.result().bytes();
        if (clear.size() > block.size())
            fail(NTE_FAIL);
        return {clear.begin(), clear.end()};
    }

    // Whether a hidden key may leave is asked where that needs no person.
    SecureBytes exportEncoding() override {
        if (record_.access == TokenKeyAccess::stays ||
            (record_.access == TokenKeyAccess::hidden && !token_->hasPinWithoutPerson()))
            fail(NTE_BAD_KEY_STATE);
        auto const integers =
            token_->call(TokenOperation::exportKey, withKey(record_), Asking::silent).values();
        if (integers.empty())
            fail(NTE_BAD_KEY_STATE);
        static constexpr std::uint8_t version[] = {tag::integer, 1, 0};
        SecureBytes content(std::begin(version), std::end(version));
        for (SecureBytes const& each : integers) {
            static constexpr std::uint8_t sign[] = {0};
            SecureBytes const integer = derElement<SecureBytes>(tag::integer, {sign, each});
            content.insert(content.end(), integer.begin(), integer.end());
        }
        return RsaPrivateKey::fromEncoding(derElement<SecureBytes>(tag::sequence, {content})).encoding();
    }

private:
    std::shared_ptr<Token> const token_;
    TokenKeyRecord const record_;
    LonePublicKey const public_;
    Asking const asking_;
};

// --- What is on the token ---

TokenKeys listKeys(Token& token, std::string const& container, Asking asking, bool withLogin) {
    TokenReply const reply =
        token.call(TokenOperation::listKeys, MessageWriter().word(withLogin).text(container), asking);
    MessageReader in = reply.result();
    return readTokenKeys(in);
}

bool isOfPin(DWORD error) {
    static constexpr HRESULT values[] = {NTE_SILENT_CONTEXT, SCARD_W_WRONG_CHV, SCARD_W_CHV_BLOCKED,
                                         SCARD_W_CARD_NOT_AUTHENTICATED};
    return std::any_of(std::begin(values), std::end(values),
                       [&](HRESULT value) { return errorValue(value) == error; });
}

// The keys of a container, or all of them for an empty name. Only the private halves tell what a key is for,
// so a login goes before the list where that takes no person. A person is asked where something shows that
// there are keys behind the login; what everybody may see is enough otherwise, and when the PIN isn't right.
std::vector<TokenKeyRecord> keysOf(Token& token, std::string const& container, Asking asking) {
    TokenKeys found = listKeys(token, container, asking, false);
    if (!found.isWhole && (found.mayHideMore || token.hasPinWithoutPerson())) {
        bool const hasEnough = !found.mayHideMore;
        DWORD const error = outcome([&] { found = listKeys(token, container, asking, true); });
        if (error != ERROR_SUCCESS && !(hasEnough && isOfPin(error)))
            fail(error);
    }
    return std::move(found.keys);
}

// --- Containers ---

class TokenContainer final : public Container {
public:
    TokenContainer(std::shared_ptr<Token> token, std::string name, Asking asking)
        : token_(std::move(token)), name_(std::move(name)), asking_(asking) {}

    std::string const& name() const override { return name_; }

    // A key that was found serves this container until it is replaced: what happened to it elsewhere shows
    // when it is used.
    std::shared_ptr<Key> key(DWORD slot) override { return tokenKey(slot); }

    std::shared_ptr<Key> generate(DWORD slot, unsigned bits, bool exportable) override {
        return put(TokenOperation::generate, slot, exportable, MessageWriter().word(bits),
                   keyGenerationLimit());
    }

    std::shared_ptr<Key> import(DWORD slot, ByteView encoding, bool exportable) override {
        return put(TokenOperation::import, slot, exportable, MessageWriter().bytes(encoding), callLimit());
    }

    std::optional<Bytes> certificate(DWORD slot) override {
        auto const key = tokenKey(slot);
        if (!key || key->record().id.empty())
            return std::nullopt;
        auto const found = certificatesOf(key->record());
        if (found.empty())
            return std::nullopt;
        // Where a renewed certificate lies beside that of a former key, the one that fits goes first.
        auto const fitting = std::find_if(found.begin(), found.end(), [&](SecureBytes const& each) {
            CertificateFields fields;
            return parseCertificate(each, fields) &&
                   equal(fields.publicKey.key.bits, key->publicKey().encoding());
        });
        SecureBytes const& chosen = fitting != found.end() ? *fitting : found.front();
        return Bytes(chosen.begin(), chosen.end());
    }

    void setCertificate(DWORD slot, ByteView encoding) override {
        auto const key = tokenKey(slot);
        if (!key)
            fail(NTE_NO_KEY);
        CertificateFields fields;
        if (key->record().id.empty() || !parseCertificate(encoding, fields))
            fail(NTE_BAD_DATA);
        MessageWriter arguments;
        arguments.bytes(key->record().id)
            .text(name_)
            .bytes(encoding)
            .bytes(fields.subject)
            .bytes(fields.issuer);
        arguments.bytes(derElement(tag::integer, {fields.serialNumber}));
        token_->call(TokenOperation::setCertificate, arguments, asking_);
    }

private:
    std::shared_ptr<TokenKey> tokenKey(DWORD slot) {
        auto& place = keys_[placeOf(slot)];
        auto known = place.load();
        if (known)
            return known;
        auto keys = keysOf(*token_, name_, asking_);
        for (TokenKeyRecord& record : keys) {
            if (record.slot == slot) {
                known = made(std::move(record));
                place.store(known);
                return known;
            }
        }
        if (keys.empty() && !token_->hasPending(name_))
            fail(NTE_BAD_KEYSET);
        return nullptr;
    }

    std::shared_ptr<TokenKey> made(TokenKeyRecord record) {
        if (record.modulus.empty() || record.exponent.empty())
            completeFromCertificate(record);
        auto publicKey = LonePublicKey::from(record.modulus, record.exponent);
        return std::make_shared<TokenKey>(token_, std::move(record), std::move(publicKey), asking_);
    }

    // Some cards tell a key's public half only by its certificate.
    void completeFromCertificate(TokenKeyRecord& record) {
        for (SecureBytes const& each : certificatesOf(record)) {
            CertificateFields fields;
            if (!parseCertificate(each, fields) ||
                !equal(fields.publicKey.algorithm.objectId, oid::rsaEncryption))
                continue;
            if (auto const integers = integersOf(fields.publicKey.key.bits)) {
                if (record.modulus.empty() || record.modulus == withoutZeros(integers->first)) {
                    record.modulus = withoutZeros(integers->first);
                    record.exponent = withoutZeros(integers->second);
                    return;
                }
            }
        }
    }

    std::vector<SecureBytes> certificatesOf(TokenKeyRecord const& record) {
        return token_->call(TokenOperation::certificates, MessageWriter().bytes(record.id), asking_).values();
    }

    // The former key of the slot goes when the new one is there.
    std::shared_ptr<Key> put(TokenOperation operation, DWORD slot, bool exportable, MessageWriter const& how,
                             std::chrono::milliseconds limit) {
        auto const former = keysOf(*token_, name_, asking_);
        TokenKeyRecord place;
        place.container = name_;
        place.id = newIdentifier();
        place.slot = slot;
        TokenReply const reply =
            token_->call(operation, withKey(place).word(exportable).append(how), asking_, limit);
        MessageReader result = reply.result();
        auto key = made(readTokenKey(result));
        keys_[placeOf(slot)].store(key);
        token_->removePending(name_);
        for (TokenKeyRecord const& each : former)
            if (each.slot == slot)
                token_->call(TokenOperation::removeKey, withKey(each), asking_);
        return key;
    }

    std::shared_ptr<Token> const token_;
    std::string const name_;
    Asking const asking_;
    std::atomic<std::shared_ptr<TokenKey>> keys_[2];
};

class TokenProvider final : public Provider {
public:
    explicit TokenProvider(NamedToken token) : token_(std::move(token.token)), name_(std::move(token.name)) {}

    std::string const& name() const override { return name_; }
    DWORD type() const override { return PROV_RSA_FULL; }
    DWORD implementation() const override { return CRYPT_IMPL_HARDWARE; }

    std::shared_ptr<Container> open(Scope, std::string const& name, Asking asking) override {
        auto const found = existing(name, asking);
        if (!found && name.empty())
            fail(NTE_KEYSET_NOT_DEF);
        return found ? std::make_shared<TokenContainer>(token_, *found, asking) : nullptr;
    }

    std::shared_ptr<Container> create(Scope, std::string const& name, Asking asking) override {
        if (existing(name, asking))
            fail(NTE_EXISTS);
        std::string const made = name.empty() ? loginName() : name;
        token_->addPending(made);
        return std::make_shared<TokenContainer>(token_, made, asking);
    }

    void remove(Scope, std::string const& name, Asking asking) override {
        auto const found = existing(name, asking);
        if (!found)
            fail(NTE_BAD_KEYSET);
        // One that is only remembered may have got a key all the same, by a call that failed later on.
        if (!token_->hasPending(*found) || !keysOf(*token_, *found, asking).empty())
            token_->call(TokenOperation::removeContainer, MessageWriter().text(*found), asking);
        token_->removePending(*found);
    }

    // Its keys would have to leave no trace on the token: they are the software's.
    std::shared_ptr<Container> temporary() override { return temporaryContainer(); }

    std::optional<std::string> containerAfter(Scope, std::string const& name, Asking asking) override {
        auto const all = names(asking);
        auto const next = all.upper_bound(name);
        return next != all.end() ? std::optional(*next) : std::nullopt;
    }

    std::size_t longestContainerName(Scope, Asking asking) override {
        std::size_t longest = 0;
        for (std::string const& each : names(asking))
            longest = std::max(longest, each.size());
        return longest;
    }

    // The token's octets and libcrypto's together are as good as the better of both.
    void fillRandom(std::span<std::uint8_t> octets) override {
        fillWithRandom(octets);
        constexpr std::size_t most = 1024; // in one call: cards have little memory
        while (!octets.empty()) {
            std::size_t const part = std::min(octets.size(), most);
            TokenReply const reply =
                token_->call(TokenOperation::random, MessageWriter().word(static_cast<std::uint32_t>(part)),
                             Asking::silent);
            ByteView const own = reply.result().bytes();
            for (std::size_t i = 0; i < std::min(own.size(), part); ++i)
                octets[i] ^= own[i];
            octets = octets.subspan(part);
        }
    }

private:
    std::set<std::string> names(Asking asking) {
        std::set<std::string> all = token_->pending();
        for (TokenKeyRecord const& key : keysOf(*token_, "", asking))
            all.insert(key.container);
        return all;
    }

    // The name of the container; of the default one, the first in the order of identifiers, for an empty
    // name.
    std::optional<std::string> existing(std::string const& name, Asking asking) {
        if (!name.empty() && token_->hasPending(name))
            return name;
        auto const keys = keysOf(*token_, name, asking);
        return !keys.empty() ? std::optional(keys.front().container) : std::nullopt;
    }

    std::shared_ptr<Token> const token_;
    std::string const name_;
};

} // namespace

std::shared_ptr<Provider> tokenProvider(NamedToken token) {
    return std::make_shared<TokenProvider>(std::move(token));
}

} // namespace wincrypt
