#include "rsa_key.h"

#include "der_cursor.h"
#include "der_writer.h"

#include <openssl/core_names.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <array>
#include <bit>
#include <iterator>
#include <span>

namespace wincrypt {
namespace {

constexpr std::size_t paddingSize = 11; // RFC 8017, 7.2.1 and 9.2

// The integers of an RSAPrivateKey in their order there.
enum Part : std::size_t {
    modulus,
    publicExponent,
    privateExponent,
    prime1,
    prime2,
    exponent1,
    exponent2,
    coefficient
};
constexpr std::size_t partCount = 8;

using Parts = std::array<BignumPtr, partCount>;

constexpr std::array<char const*, partCount> partNames = {
    OSSL_PKEY_PARAM_RSA_N,         OSSL_PKEY_PARAM_RSA_E,           OSSL_PKEY_PARAM_RSA_D,
    OSSL_PKEY_PARAM_RSA_FACTOR1,   OSSL_PKEY_PARAM_RSA_FACTOR2,     OSSL_PKEY_PARAM_RSA_EXPONENT1,
    OSSL_PKEY_PARAM_RSA_EXPONENT2, OSSL_PKEY_PARAM_RSA_COEFFICIENT1};

// In the fewest octets (X.690, 8.3.2), of any number of them.
template <class Sink>
void appendInteger(Sink& out, ByteView value) {
    while (value.size() > 1 && value.front() == 0)
        value = value.subspan(1);
    bool const seemsNegative = (value.front() & 0x80) != 0;
    appendDerHeader(out, tag::integer, value.size() + (seemsNegative ? 1 : 0));
    if (seemsNegative)
        out.push_back(0);
    out.insert(out.end(), value.begin(), value.end());
}

Bytes encodePublicKey(BIGNUM const* modulus, BIGNUM const* exponent) {
    Bytes content;
    for (BIGNUM const* value : {modulus, exponent}) {
        Bytes octets(static_cast<std::size_t>(BN_num_bytes(value)));
        BN_bn2bin(value, octets.data());
        appendInteger(content, octets);
    }
    return derElement(tag::sequence, {content});
}

// The RSAPublicKey within an RSAPrivateKey of ours.
Bytes publicPart(ByteView privateKey) {
    DerCursor inside(DerCursor(privateKey).next()->content);
    inside.next(); // version
    ByteView const integers = inside.rest();
    inside.next();
    inside.next();
    return derElement(tag::sequence, {integers.first(integers.size() - inside.rest().size())});
}

bool readParts(ByteView encoding, Parts& parts) {
    DerCursor input(encoding);
    auto const sequence = input.next(tag::sequence);
    if (!sequence || !input.atEnd())
        return false;
    DerCursor inside(sequence->content);
    auto const version = inside.next(tag::integer);
    if (!version || version->content.size() != 1 || version->content[0] != 0)
        return false;
    for (std::size_t i = 0; i < partCount; ++i) {
        auto const integer = inside.next(tag::integer);
        if (!integer || integer->content.empty() || (integer->content[0] & 0x80) != 0 ||
            integer->content.size() > maximumKeyBits / 8 + 1)
            return false;
        parts[i].reset(
            BN_bin2bn(integer->content.data(), static_cast<int>(integer->content.size()), nullptr));
        if (!parts[i] || BN_is_zero(parts[i].get()))
            return false;
        if (i != modulus && i != publicExponent)
            BN_set_flags(parts[i].get(), BN_FLG_CONSTTIME);
    }
    return inside.atEnd();
}

// The relations of RFC 8017, 3.2, which a damaged or hostile key breaks.
bool partsFit(Parts const& parts) {
    auto const part = [&](Part which) { return parts[which].get(); };
    int const bits = BN_num_bits(part(modulus));
    if (bits < static_cast<int>(minimumKeyBits) || bits > static_cast<int>(maximumKeyBits) ||
        !BN_is_odd(part(modulus)) || !BN_is_odd(part(publicExponent)) || BN_is_one(part(publicExponent)) ||
        BN_is_one(part(prime1)) || BN_is_one(part(prime2)) || BN_num_bits(part(publicExponent)) > 64)
        return false;
    BignumContextPtr const context(BN_CTX_secure_new());
    BignumPtr const product(BN_new());
    BignumPtr const less(BN_secure_new());
    BignumPtr const value(BN_secure_new());
    if (!context || !product || !less || !value)
        throw std::bad_alloc();
    if (BN_mul(product.get(), part(prime1), part(prime2), context.get()) != 1 ||
        BN_cmp(product.get(), part(modulus)) != 0)
        return false;
    auto const exponentFits = [&](Part prime, Part exponent) {
        return BN_sub(less.get(), part(prime), BN_value_one()) == 1 &&
               BN_mod_mul(value.get(), part(publicExponent), part(exponent), less.get(), context.get()) ==
                   1 &&
               BN_is_one(value.get()) && BN_cmp(part(exponent), less.get()) < 0 &&
               BN_nnmod(value.get(), part(privateExponent), less.get(), context.get()) == 1 &&
               BN_cmp(value.get(), part(exponent)) == 0;
    };
    return exponentFits(prime1, exponent1) && exponentFits(prime2, exponent2) &&
           BN_cmp(part(privateExponent), part(modulus)) < 0 &&
           BN_mod_mul(value.get(), part(coefficient), part(prime2), part(prime1), context.get()) == 1 &&
           BN_is_one(value.get()) && BN_cmp(part(coefficient), part(prime1)) < 0;
}

// Straight from the integers: the general decoder costs as much as a signature.
PkeyPtr makeKey(Parts const& parts) {
    ParamBuilderPtr const builder(OSSL_PARAM_BLD_new());
    bool good = builder != nullptr;
    for (std::size_t i = 0; i < partCount; ++i)
        good = good && OSSL_PARAM_BLD_push_BN(builder.get(), partNames[i], parts[i].get()) == 1;
    ParamsPtr const params(good ? OSSL_PARAM_BLD_to_param(builder.get()) : nullptr);
    PkeyContextPtr const context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
    EVP_PKEY* key = nullptr;
    unsigned long const before = ERR_peek_last_error();
    good = params && context && EVP_PKEY_fromdata_init(context.get()) == 1 &&
           EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_KEYPAIR, params.get()) == 1;
    for (OSSL_PARAM* each = params.get(); each != nullptr && each->key != nullptr; ++each)
        OPENSSL_cleanse(each->data, each->data_size);
    PkeyPtr result(key);
    if (!good)
        failLibcrypto(NTE_BAD_DATA);
    if (ERR_peek_last_error() != before)
        requireMemory(); // it calls a key good that it left half made
    return result;
}

// All integers are asked for at once, as each answer goes through all of them, and into memory of ours:
// libcrypto's own call for one number leaves it on the stack. None is longer than the modulus.
SecureBytes encodePrivateKey(EVP_PKEY* key) {
    auto const size = static_cast<std::size_t>(EVP_PKEY_get_size(key));
    SecureBytes octets(partCount * size);
    OSSL_PARAM wanted[partCount + 1];
    for (std::size_t i = 0; i < partCount; ++i)
        wanted[i] = OSSL_PARAM_construct_BN(partNames[i], octets.data() + i * size, size);
    wanted[partCount] = OSSL_PARAM_construct_end();
    if (EVP_PKEY_get_params(key, wanted) != 1)
        failLibcrypto(NTE_FAIL);
    static constexpr std::uint8_t version[] = {tag::integer, 1, 0};
    SecureBytes content(std::begin(version), std::end(version));
    content.reserve(octets.size()); // most integers are half as long as the modulus
    for (std::size_t i = 0; i < partCount; ++i) {
        if (wanted[i].return_size > size) // it calls an answer good that it ran out of memory for
            failLibcrypto(NTE_FAIL);
        std::span<std::uint8_t> const value(octets.data() + i * size, wanted[i].return_size);
        if (std::endian::native == std::endian::little)
            std::reverse(value.begin(), value.end());
        appendInteger(content, value);
    }
    return derElement<SecureBytes>(tag::sequence, {content});
}

PkeyContextPtr contextOf(EVP_PKEY* key) {
    PkeyContextPtr context(EVP_PKEY_CTX_new_from_pkey(nullptr, key, nullptr));
    if (!context)
        throw std::bad_alloc();
    return context;
}

} // namespace

RsaPublicKey::RsaPublicKey(EVP_PKEY* key, Bytes encoding)
    : key_(key), encoding_(std::move(encoding)), blockSize_(static_cast<std::size_t>(EVP_PKEY_get_size(key))),
      bits_(static_cast<DWORD>(EVP_PKEY_get_bits(key))) {}

bool RsaPublicKey::verifies(ByteView signedValue, ByteView signature) const {
    if (signature.size() != blockSize_)
        return false;
    ErrorQueueGuard const errors;
    PkeyContextPtr const context = contextOf(key_);
    // Without a digest the context takes the signed value whole, and its default padding is that of PKCS#1
    // v1.5.
    if (EVP_PKEY_verify_init(context.get()) == 1 &&
        EVP_PKEY_verify(context.get(), signature.data(), signature.size(), signedValue.data(),
                        signedValue.size()) == 1)
        return true;
    requireMemory();
    return false;
}

void RsaPublicKey::requireRoom(std::size_t size) const {
    if (size + paddingSize > blockSize_)
        fail(NTE_BAD_LEN);
}

Bytes RsaPublicKey::encrypt(ByteView data) const {
    requireRoom(data.size());
    ErrorQueueGuard const errors;
    PkeyContextPtr const context = contextOf(key_);
    Bytes block(blockSize_);
    std::size_t size = block.size();
    static constexpr std::uint8_t nothing = 0; // an empty message still has an address
    if (EVP_PKEY_encrypt_init(context.get()) != 1 ||
        EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) != 1 ||
        EVP_PKEY_encrypt(context.get(), block.data(), &size, data.empty() ? &nothing : data.data(),
                         data.size()) != 1 ||
        size != block.size())
        failLibcrypto(NTE_FAIL);
    return block;
}

LonePublicKey LonePublicKey::from(ByteView modulus, ByteView exponent) {
    ErrorQueueGuard const errors;
    constexpr std::size_t longest = maximumKeyBits / 8;
    if (modulus.size() > longest || exponent.size() > longest)
        failLibcrypto(NTE_BAD_PUBLIC_KEY);
    auto const read = [](ByteView octets) {
        return BignumPtr(BN_bin2bn(octets.data(), static_cast<int>(octets.size()), nullptr));
    };
    BignumPtr const n = read(modulus);
    BignumPtr const e = read(exponent);
    if (!n || !e)
        throw std::bad_alloc();
    if (BN_num_bits(n.get()) < static_cast<int>(minimumKeyBits) || !BN_is_odd(n.get()) ||
        !BN_is_odd(e.get()) || BN_is_one(e.get()))
        failLibcrypto(NTE_BAD_PUBLIC_KEY);
    ParamBuilderPtr const builder(OSSL_PARAM_BLD_new());
    bool good = builder && OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_N, n.get()) == 1 &&
                OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_E, e.get()) == 1;
    ParamsPtr const params(good ? OSSL_PARAM_BLD_to_param(builder.get()) : nullptr);
    PkeyContextPtr const context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
    EVP_PKEY* made = nullptr;
    unsigned long const before = ERR_peek_last_error();
    good = params && context && EVP_PKEY_fromdata_init(context.get()) == 1 &&
           EVP_PKEY_fromdata(context.get(), &made, EVP_PKEY_PUBLIC_KEY, params.get()) == 1;
    PkeyPtr key(made);
    if (!good)
        failLibcrypto(NTE_BAD_PUBLIC_KEY);
    if (ERR_peek_last_error() != before)
        requireMemory();
    RsaPublicKey publicKey(key.get(), encodePublicKey(n.get(), e.get()));
    return {std::move(key), std::move(publicKey)};
}

RsaPrivateKey::RsaPrivateKey(PkeyPtr key, Bytes publicEncoding)
    : key_(std::move(key)), public_(key_.get(), std::move(publicEncoding)) {}

RsaPrivateKey RsaPrivateKey::fromEncoding(ByteView encoding) {
    ErrorQueueGuard const errors;
    Parts parts;
    if (!readParts(encoding, parts) || !partsFit(parts))
        failLibcrypto(NTE_BAD_DATA);
    return {makeKey(parts), encodePublicKey(parts[modulus].get(), parts[publicExponent].get())};
}

RsaPrivateKey::Encoded RsaPrivateKey::generate(unsigned bits) {
    ErrorQueueGuard const errors;
    PkeyContextPtr const context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
    EVP_PKEY* made = nullptr;
    unsigned long const before = ERR_peek_last_error();
    if (!context || EVP_PKEY_keygen_init(context.get()) != 1 ||
        EVP_PKEY_CTX_set_rsa_keygen_bits(context.get(), static_cast<int>(bits)) != 1 ||
        EVP_PKEY_generate(context.get(), &made) != 1)
        failLibcrypto(NTE_FAIL);
    PkeyPtr key(made);
    if (ERR_peek_last_error() != before)
        requireMemory(); // it calls a key good that it left half made
    SecureBytes encoding = encodePrivateKey(key.get());
    return {RsaPrivateKey(std::move(key), publicPart(encoding)), std::move(encoding)};
}

SecureBytes RsaPrivateKey::encoding() const {
    ErrorQueueGuard const errors;
    return encodePrivateKey(key_.get());
}

Bytes RsaPrivateKey::sign(ByteView signedValue) const {
    public_.requireRoom(signedValue.size());
    ErrorQueueGuard const errors;
    PkeyContextPtr const context = contextOf(key_.get());
    Bytes signature(public_.blockSize());
    std::size_t size = signature.size();
    if (EVP_PKEY_sign_init(context.get()) != 1 ||
        EVP_PKEY_sign(context.get(), signature.data(), &size, signedValue.data(), signedValue.size()) != 1 ||
        size != signature.size())
        failLibcrypto(NTE_FAIL);
    return signature;
}

SecureBytes RsaPrivateKey::decrypt(ByteView block) const {
    if (block.size() != public_.blockSize())
        failLibcrypto(NTE_BAD_DATA);
    ErrorQueueGuard const errors;
    PkeyContextPtr const context = contextOf(key_.get());
    SecureBytes clear(block.size());
    std::size_t size = clear.size();
    if (EVP_PKEY_decrypt_init(context.get()) != 1 ||
        EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) != 1 ||
        EVP_PKEY_decrypt(context.get(), clear.data(), &size, block.data(), block.size()) != 1)
        failLibcrypto(NTE_BAD_DATA);
    clear.resize(size);
    return clear;
}

} // namespace wincrypt
