#include "pkcs11_token.h"

#include "der_cursor.h"
#include "text.h"

#include <algorithm>
#include <unistd.h>

namespace wincrypt {
namespace {

constexpr CK_ATTRIBUTE_TYPE keyIntegers[] = {CKA_MODULUS,    CKA_PUBLIC_EXPONENT, CKA_PRIVATE_EXPONENT,
                                             CKA_PRIME_1,    CKA_PRIME_2,         CKA_EXPONENT_1,
                                             CKA_EXPONENT_2, CKA_COEFFICIENT};

std::string trimmed(unsigned char const* padded, std::size_t size) {
    std::string text(padded, padded + size);
    text.erase(text.find_last_not_of(std::string_view(" \0", 2)) + 1);
    if (!isUtf8(text))
        std::replace_if(
            text.begin(), text.end(), [](char octet) { return (octet & 0x80) != 0; }, '?');
    return text;
}

std::string hexadecimal(ByteView octets) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (std::uint8_t const octet : octets) {
        text += digits[octet >> 4];
        text += digits[octet & 0xF];
    }
    return text;
}

std::string containerOf(ByteView label, ByteView id) {
    std::string name(label.begin(), label.end());
    if (!name.empty() && isUtf8(name) && name.find('\0') == std::string::npos)
        return name;
    return id.empty() ? "unnamed" : hexadecimal(id);
}

// Unsigned, most significant octet first, without the zeros that some tokens put in front.
Bytes integer(std::optional<SecureBytes> const& value) {
    if (!value)
        return {};
    auto const first = std::find_if(value->begin(), value->end(), [](auto octet) { return octet != 0; });
    return {first, value->end()};
}

AttributeTemplate privateTemplate(NewKey const& key) {
    AttributeTemplate made;
    made.add(CKA_TOKEN, true).add(CKA_PRIVATE, true).add(CKA_LABEL, viewOf(key.place.container));
    made.add(CKA_ID, key.place.id).add(CKA_SENSITIVE, !key.exportable).add(CKA_EXTRACTABLE, key.exportable);
    made.add(CKA_DECRYPT, key.place.slot == AT_KEYEXCHANGE).add(CKA_SIGN, true);
    return made;
}

AttributeTemplate publicTemplate(NewKey const& key) {
    AttributeTemplate made;
    made.add(CKA_TOKEN, true).add(CKA_PRIVATE, false).add(CKA_LABEL, viewOf(key.place.container));
    made.add(CKA_ID, key.place.id);
    made.add(CKA_ENCRYPT, key.place.slot == AT_KEYEXCHANGE).add(CKA_VERIFY, true);
    return made;
}

void setKind(AttributeTemplate& made, CK_OBJECT_CLASS kind) {
    made.add(CKA_CLASS, kind).add(CKA_KEY_TYPE, CK_ULONG{CKK_RSA});
}

bool refusesTemplate(CK_RV value) {
    return value == CKR_TEMPLATE_INCONSISTENT || value == CKR_ATTRIBUTE_VALUE_INVALID ||
           value == CKR_ATTRIBUTE_READ_ONLY || value == CKR_ATTRIBUTE_TYPE_INVALID;
}

// Most tokens make only keys that stay. An exportable key is asked for by callers that would do without: they
// get one of these.
template <class Make>
void makeAsWanted(NewKey key, Make make) {
    CK_RV value = make(key);
    if (key.exportable && refusesTemplate(value)) {
        key.exportable = false;
        value = make(key);
    }
    check(value, "making a key");
}

} // namespace

TokenDescription describe(CK_TOKEN_INFO const& info) {
    return {trimmed(info.label, sizeof info.label), trimmed(info.manufacturerID, sizeof info.manufacturerID),
            trimmed(info.model, sizeof info.model), trimmed(info.serialNumber, sizeof info.serialNumber)};
}

// --- Session and login ---

template <class Operation>
auto Pkcs11Token::inSession(Operation operation) {
    for (bool again = false;; again = true) {
        try {
            if (!session_)
                openSession();
            return operation();
        } catch (Pkcs11Failure const& failure) {
            if (failure.value == CKR_USER_NOT_LOGGED_IN) {
                CK_FLAGS const now = flags();
                closeSession(); // whatever it says of itself
                throw WantsPin{false, now};
            }
            if (again || !endsSession(failure.value))
                throw;
            closeSession();
            constexpr useconds_t pause = 30'000; // the token may only just be coming back
            ::usleep(pause);
        }
    }
}

// The slot may hold another token than before, and the token may lie in another slot.
void Pkcs11Token::openSession() {
    for (CK_SLOT_ID const slot : module_.slotsWithTokens()) {
        auto const info = module_.tokenInfoIfThere(slot);
        if (!info || describe(*info) != description_)
            continue;
        slot_ = slot;
        session_ = module_.openSession(slot);
        return;
    }
    throw TokenAbsent{{CKR_TOKEN_NOT_PRESENT, "looking for the token"}};
}

void Pkcs11Token::closeSession() noexcept {
    privateKeys_.clear();
    if (session_)
        module_->C_CloseSession(*session_);
    session_.reset();
}

bool Pkcs11Token::needsLogin() {
    CK_SESSION_INFO info{};
    check(module_->C_GetSessionInfo(*session_, &info), "C_GetSessionInfo");
    bool const isUser = info.state == CKS_RO_USER_FUNCTIONS || info.state == CKS_RW_USER_FUNCTIONS;
    return !isUser && (flags() & CKF_LOGIN_REQUIRED) != 0;
}

void Pkcs11Token::requireLogin() {
    if (needsLogin())
        throw WantsPin{false, flags()};
}

void Pkcs11Token::login(bool byPerson, ByteView pin) {
    inSession([&] {
        if (!byPerson && (flags() & CKF_USER_PIN_FINAL_TRY) != 0)
            fail(SCARD_W_CARD_NOT_AUTHENTICATED);
        CK_RV const value = module_->C_Login(
            *session_, CKU_USER, pin.empty() ? nullptr : const_cast<CK_BYTE*>(pin.data()), pin.size());
        if (value != CKR_USER_ALREADY_LOGGED_IN)
            check(value, "C_Login");
        privateKeys_.clear();
    });
}

// --- Objects ---

std::vector<CK_OBJECT_HANDLE> Pkcs11Token::find(CK_OBJECT_CLASS kind, std::optional<CK_ATTRIBUTE_TYPE> by,
                                                ByteView wanted) {
    AttributeTemplate all;
    all.add(CKA_CLASS, kind);
    if (kind == CKO_CERTIFICATE)
        all.add(CKA_CERTIFICATE_TYPE, CK_ULONG{CKC_X_509});
    else
        all.add(CKA_KEY_TYPE, CK_ULONG{CKK_RSA});
    if (by)
        all.add(*by, wanted);
    return findObjects(module_, *session_, std::move(all));
}

std::optional<SecureBytes> Pkcs11Token::value(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type) {
    return attribute(module_, *session_, object, type);
}

bool Pkcs11Token::isTrue(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type) {
    return booleanAttribute(module_, *session_, object, type);
}

TokenKeyRecord Pkcs11Token::record(CK_OBJECT_HANDLE key, CK_ATTRIBUTE_TYPE decrypts,
                                   CK_ATTRIBUTE_TYPE signs) {
    auto const id = value(key, CKA_ID).value_or(SecureBytes{});
    TokenKeyRecord made;
    made.id.assign(id.begin(), id.end());
    made.container = containerOf(value(key, CKA_LABEL).value_or(SecureBytes{}), id);
    made.slot = isTrue(key, decrypts) ? AT_KEYEXCHANGE : isTrue(key, signs) ? AT_SIGNATURE : 0;
    made.modulus = integer(value(key, CKA_MODULUS));
    made.exponent = integer(value(key, CKA_PUBLIC_EXPONENT));
    return made;
}

TokenKeyAccess Pkcs11Token::access(CK_OBJECT_HANDLE privateKey) {
    return !isTrue(privateKey, CKA_SENSITIVE) && isTrue(privateKey, CKA_EXTRACTABLE)
               ? TokenKeyAccess::exportable
               : TokenKeyAccess::stays;
}

// A certificate that isn't an authority's shows that there is a key with its identifier.
bool Pkcs11Token::hasCertificateWithoutKey(std::vector<TokenKeyRecord> const& keys) {
    for (CK_OBJECT_HANDLE const certificate : findAll(CKO_CERTIFICATE)) {
        auto const id = value(certificate, CKA_ID).value_or(SecureBytes{});
        constexpr CK_ULONG authority = 2;
        auto const category = value(certificate, CKA_CERTIFICATE_CATEGORY);
        bool const isAuthority = category && category->size() == sizeof authority &&
                                 std::memcmp(category->data(), &authority, sizeof authority) == 0;
        if (!id.empty() && !isAuthority &&
            std::none_of(keys.begin(), keys.end(), [&](auto const& key) { return equal(key.id, id); }))
            return true;
    }
    return false;
}

// Before the login most tokens show no private keys: the public halves speak for them, though what one is
// said to be for need not be what the private key may do. Afterwards a public key alone is somebody else's.
TokenKeys Pkcs11Token::visibleKeys(std::vector<CK_OBJECT_HANDLE> const& publicKeys,
                                   std::vector<CK_OBJECT_HANDLE> const& privateKeys) {
    TokenKeys found;
    std::vector<TokenKeyRecord> halves;
    halves.reserve(publicKeys.size());
    for (CK_OBJECT_HANDLE const key : publicKeys)
        halves.push_back(record(key, CKA_ENCRYPT, CKA_VERIFY));
    for (CK_OBJECT_HANDLE const key : privateKeys) {
        TokenKeyRecord made = record(key, CKA_DECRYPT, CKA_SIGN);
        made.access = access(key);
        for (TokenKeyRecord const& half : halves)
            if (half.id == made.id && !half.id.empty() &&
                (made.modulus.empty() || half.modulus == made.modulus)) {
                made.modulus = half.modulus;
                made.exponent = half.exponent;
            }
        if (made.exponent.empty() && !made.id.empty())
            for (CK_OBJECT_HANDLE const half : findById(CKO_PUBLIC_KEY, made.id)) // under another label
                made.exponent = integer(value(half, CKA_PUBLIC_EXPONENT));
        found.keys.push_back(std::move(made));
    }
    found.isWhole = !needsLogin();
    if (!found.isWhole)
        for (TokenKeyRecord& half : halves)
            if (std::none_of(found.keys.begin(), found.keys.end(),
                             [&](auto const& key) { return key.id == half.id; }))
                found.keys.push_back(std::move(half));
    std::erase_if(found.keys, [](TokenKeyRecord const& key) { return key.slot == 0; });
    std::stable_sort(found.keys.begin(), found.keys.end(),
                     [](auto const& a, auto const& b) { return a.id < b.id; });
    return found;
}

TokenKeys Pkcs11Token::visibleKeys(std::string const& container) {
    TokenKeys found;
    if (!container.empty()) {
        found = visibleKeys(find(CKO_PUBLIC_KEY, CKA_LABEL, viewOf(container)),
                            find(CKO_PRIVATE_KEY, CKA_LABEL, viewOf(container)));
        if (!found.keys.empty())
            return found;
    }
    // All keys, as a name may also stand for an identifier.
    found = visibleKeys(findAll(CKO_PUBLIC_KEY), findAll(CKO_PRIVATE_KEY));
    found.mayHideMore = !found.isWhole && (found.keys.empty() || hasCertificateWithoutKey(found.keys));
    if (!container.empty())
        std::erase_if(found.keys, [&](TokenKeyRecord const& key) { return key.container != container; });
    return found;
}

TokenKeys Pkcs11Token::listKeys(bool withLogin, std::string const& container) {
    return inSession([&] {
        if (withLogin)
            requireLogin();
        return visibleKeys(container);
    });
}

Pkcs11Token::PrivateKey Pkcs11Token::privateKey(TokenKeyRecord const& key) {
    auto const name = std::pair(key.id, key.modulus);
    auto const known = privateKeys_.find(name);
    if (known != privateKeys_.end())
        return known->second;
    for (CK_OBJECT_HANDLE const each : findById(CKO_PRIVATE_KEY, key.id)) {
        Bytes const modulus = integer(value(each, CKA_MODULUS));
        if (!modulus.empty() && !key.modulus.empty() && modulus != key.modulus)
            continue;
        PrivateKey const found{each, isTrue(each, CKA_ALWAYS_AUTHENTICATE)};
        privateKeys_.emplace(name, found);
        return found;
    }
    requireLogin();
    fail(NTE_NO_KEY);
}

struct Pkcs11Token::Use {
    CK_C_SignInit begin;
    char const* beginCall;
    CK_C_Sign finish;
    char const* finishCall;
};

SecureBytes Pkcs11Token::use(Use const& kind, TokenKeyRecord const& key, ByteView input, KeyPin pin) {
    PrivateKey const own = privateKey(key);
    if (own.wantsPinEachTime && !pin.given) {
        requireLogin();
        throw WantsPin{true, flags()};
    }
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    CK_RV result = kind.begin(*session_, &mechanism, own.handle);
    check(result, kind.beginCall);
    if (pin.given) {
        result = module_->C_Login(*session_, CKU_CONTEXT_SPECIFIC,
                                  pin.pin.empty() ? nullptr : const_cast<CK_BYTE*>(pin.pin.data()),
                                  pin.pin.size());
        if (result != CKR_OK) {
            closeSession(); // ends the operation that was begun
            check(result, "C_Login for the key");
        }
    }
    constexpr std::size_t longestBlock = 16384 / 8;
    SecureBytes output(longestBlock);
    CK_ULONG size = output.size();
    result = kind.finish(*session_, const_cast<CK_BYTE*>(input.data()), input.size(), output.data(), &size);
    check(result, kind.finishCall);
    if (size > output.size())
        throw Pkcs11Failure{CKR_GENERAL_ERROR, kind.finishCall};
    output.resize(size);
    return output;
}

SecureBytes Pkcs11Token::sign(TokenKeyRecord const& key, ByteView value, KeyPin pin) {
    Use const kind{module_->C_SignInit, "C_SignInit", module_->C_Sign, "C_Sign"};
    return inSession([&] { return use(kind, key, value, pin); });
}

SecureBytes Pkcs11Token::decrypt(TokenKeyRecord const& key, ByteView block, KeyPin pin) {
    Use const kind{module_->C_DecryptInit, "C_DecryptInit", module_->C_Decrypt, "C_Decrypt"};
    try {
        return inSession([&] { return use(kind, key, block, pin); });
    } catch (Pkcs11Failure const& failure) {
        // Tokens tell of a wrong padding in many ways. Whoever sends blocks must not learn which.
        static constexpr CK_RV wrongData[] = {CKR_ENCRYPTED_DATA_INVALID, CKR_ENCRYPTED_DATA_LEN_RANGE,
                                              CKR_DATA_INVALID,           CKR_DATA_LEN_RANGE,
                                              CKR_GENERAL_ERROR,          CKR_FUNCTION_FAILED};
        if (failure.call == kind.finishCall &&
            std::find(std::begin(wrongData), std::end(wrongData), failure.value) != std::end(wrongData))
            fail(NTE_BAD_DATA);
        throw;
    }
}

// --- Changes ---

// The identifier is the new key's alone: what bears it before this try, or after the last one, is half a key.
template <class Make>
TokenKeyRecord Pkcs11Token::makeKey(NewKey const& key, Make make) {
    auto const discard = [&] {
        for (CK_OBJECT_CLASS const kind : {CKO_PUBLIC_KEY, CKO_PRIVATE_KEY})
            for (CK_OBJECT_HANDLE const each : findById(kind, key.place.id))
                destroy(each);
    };
    try {
        return inSession([&] {
            requireLogin();
            discard();
            return make();
        });
    } catch (Pkcs11Failure const&) {
        try {
            inSession(discard);
        } catch (Pkcs11Failure const&) { // it stays under its label, by which it can be deleted
        } catch (WantsPin const&) {}
        throw;
    }
}

TokenKeyRecord Pkcs11Token::generate(NewKey const& key, unsigned bits) {
    return makeKey(key, [&] {
        CK_OBJECT_HANDLE publicKey = 0;
        CK_OBJECT_HANDLE privateKey = 0;
        makeAsWanted(key, [&](NewKey const& wanted) {
            static constexpr std::uint8_t exponent[] = {1, 0, 1};
            AttributeTemplate publicPart = publicTemplate(wanted);
            publicPart.add(CKA_MODULUS_BITS, CK_ULONG{bits}).add(CKA_PUBLIC_EXPONENT, ByteView(exponent));
            AttributeTemplate privatePart = privateTemplate(wanted);
            CK_MECHANISM mechanism{CKM_RSA_PKCS_KEY_PAIR_GEN, nullptr, 0};
            return module_->C_GenerateKeyPair(*session_, &mechanism, publicPart.data(), publicPart.size(),
                                              privatePart.data(), privatePart.size(), &publicKey,
                                              &privateKey);
        });
        TokenKeyRecord made = key.place;
        made.modulus = integer(value(publicKey, CKA_MODULUS));
        made.exponent = integer(value(publicKey, CKA_PUBLIC_EXPONENT));
        made.access = access(privateKey);
        return made;
    });
}

TokenKeyRecord Pkcs11Token::import(NewKey const& key, ByteView rsaPrivateKey) {
    DerCursor outer(rsaPrivateKey);
    auto const sequence = outer.next(tag::sequence);
    DerCursor inside(sequence ? sequence->content : ByteView{});
    inside.next(tag::integer); // version
    std::vector<ByteView> integers;
    for (std::size_t i = 0; i < std::size(keyIntegers); ++i) {
        auto const each = inside.next(tag::integer);
        if (!each)
            fail(NTE_BAD_DATA);
        ByteView octets = each->content;
        while (octets.size() > 1 && octets[0] == 0)
            octets = octets.subspan(1);
        integers.push_back(octets);
    }
    return makeKey(key, [&] {
        CK_OBJECT_HANDLE privateKey = 0;
        makeAsWanted(key, [&](NewKey const& wanted) {
            AttributeTemplate part = privateTemplate(wanted);
            for (std::size_t i = 0; i < std::size(keyIntegers); ++i)
                part.add(keyIntegers[i], integers[i]);
            setKind(part, CKO_PRIVATE_KEY);
            return module_->C_CreateObject(*session_, part.data(), part.size(), &privateKey);
        });
        AttributeTemplate part = publicTemplate(key);
        part.add(CKA_MODULUS, integers[0]).add(CKA_PUBLIC_EXPONENT, integers[1]);
        setKind(part, CKO_PUBLIC_KEY);
        CK_OBJECT_HANDLE publicKey = 0;
        check(module_->C_CreateObject(*session_, part.data(), part.size(), &publicKey), "C_CreateObject");
        TokenKeyRecord made = key.place;
        made.modulus.assign(integers[0].begin(), integers[0].end());
        made.exponent.assign(integers[1].begin(), integers[1].end());
        made.access = access(privateKey);
        return made;
    });
}

std::vector<SecureBytes> Pkcs11Token::exportKey(TokenKeyRecord const& key) {
    return inSession([&] {
        std::vector<SecureBytes> integers;
        CK_OBJECT_HANDLE const object = privateKey(key).handle;
        if (access(object) == TokenKeyAccess::stays)
            return integers;
        for (CK_ATTRIBUTE_TYPE const type : keyIntegers) {
            auto octets = value(object, type);
            if (!octets)
                return std::vector<SecureBytes>{};
            integers.push_back(std::move(*octets));
        }
        return integers;
    });
}

std::vector<SecureBytes> Pkcs11Token::certificates(ByteView id) {
    return inSession([&] {
        std::vector<SecureBytes> encodings;
        for (CK_OBJECT_HANDLE const each : findById(CKO_CERTIFICATE, id))
            if (auto encoding = value(each, CKA_VALUE))
                encodings.push_back(std::move(*encoding));
        return encodings;
    });
}

void Pkcs11Token::setCertificate(NewCertificate const& certificate) {
    inSession([&] {
        requireLogin();
        auto const former = findById(CKO_CERTIFICATE, certificate.id);
        AttributeTemplate made;
        made.add(CKA_CLASS, CK_ULONG{CKO_CERTIFICATE}).add(CKA_CERTIFICATE_TYPE, CK_ULONG{CKC_X_509});
        made.add(CKA_TOKEN, true).add(CKA_PRIVATE, false).add(CKA_LABEL, viewOf(certificate.container));
        made.add(CKA_ID, certificate.id).add(CKA_VALUE, certificate.encoding);
        made.add(CKA_SUBJECT, certificate.subject).add(CKA_ISSUER, certificate.issuer);
        made.add(CKA_SERIAL_NUMBER, certificate.serialNumber);
        CK_OBJECT_HANDLE object = 0;
        check(module_->C_CreateObject(*session_, made.data(), made.size(), &object), "C_CreateObject");
        for (CK_OBJECT_HANDLE const each : former)
            destroy(each);
    });
}

void Pkcs11Token::destroy(CK_OBJECT_HANDLE object) {
    check(module_->C_DestroyObject(*session_, object), "C_DestroyObject");
}

// The private key goes last: as long as it is there the container can be found, and its deletion tried again.
void Pkcs11Token::destroyKey(TokenKeyRecord const& key) {
    std::vector<CK_OBJECT_HANDLE> own;
    bool isShared = false;
    for (CK_OBJECT_HANDLE const each : findById(CKO_PRIVATE_KEY, key.id)) {
        if (integer(value(each, CKA_MODULUS)) == key.modulus || key.modulus.empty())
            own.push_back(each);
        else
            isShared = true;
    }
    for (CK_OBJECT_HANDLE const each : findById(CKO_PUBLIC_KEY, key.id))
        if (!isShared || integer(value(each, CKA_MODULUS)) == key.modulus)
            destroy(each);
    if (!isShared && !key.id.empty())
        for (CK_OBJECT_HANDLE const each : findById(CKO_CERTIFICATE, key.id))
            destroy(each);
    for (CK_OBJECT_HANDLE const each : own)
        destroy(each);
    privateKeys_.clear();
}

void Pkcs11Token::removeKey(TokenKeyRecord const& key) {
    inSession([&] {
        requireLogin();
        destroyKey(key);
    });
}

bool Pkcs11Token::removeContainer(std::string const& container) {
    return inSession([&] {
        requireLogin();
        bool found = false;
        for (TokenKeyRecord const& key : visibleKeys(container).keys) {
            destroyKey(key);
            found = true;
        }
        return found;
    });
}

SecureBytes Pkcs11Token::random(std::size_t count) {
    return inSession([&] {
        SecureBytes octets;
        if ((flags() & CKF_RNG) == 0)
            return octets;
        octets.resize(count);
        check(module_->C_GenerateRandom(*session_, octets.data(), octets.size()), "C_GenerateRandom");
        return octets;
    });
}

} // namespace wincrypt
