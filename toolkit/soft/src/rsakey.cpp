#include "rsakey.h"

#include <tvksoft/tvksoftalgorithmfactory.h>

#include <tvkcore/base/tvkexception.h>

#include <openssl/core_names.h>
#include <openssl/params.h>
#include <openssl/rsa.h>

#include <cstring>

namespace tvksoft {
namespace {

constexpr char kFile[] = "./toolkit/soft/src/rsakey";

constexpr unsigned int kPaddingSize = 11; // 7.2.1 and 9.2

PkeyPtr decode(TVKKRYKey const& key) {
    TVKASNCBuffer const blob = key.getKeyBlob().get();
    unsigned char const* next = bytesOf(blob);
    unsigned char const* const end = next + blob.length;
    PkeyPtr decoded;
    if (key.getFormat() == TVKKRYKey::SubjectPublicKeyInfo && key.getType() == TVKKRYKey::Public) {
        decoded.reset(d2i_PUBKEY(nullptr, &next, static_cast<long>(blob.length)));
    } else if (key.getFormat() == TVKKRYKey::PrivateKeyInfo && key.getType() == TVKKRYKey::Private) {
        PrivateKeyInfoPtr const info(d2i_PKCS8_PRIV_KEY_INFO(nullptr, &next, static_cast<long>(blob.length)));
        decoded.reset(info == nullptr ? nullptr : EVP_PKCS82PKEY(info.get()));
    }
    return next == end ? std::move(decoded) : nullptr;
}

BignumPtr numberOf(EVP_PKEY const* key, char const* name) {
    BIGNUM* number = nullptr;
    EVP_PKEY_get_bn_param(key, name, &number);
    return BignumPtr(number);
}

// An exponent of 1 would leave the message as it is, and libcrypto doesn't bound what it works through with a
// private key.
bool isUsable(BIGNUM const* modulus, BIGNUM const* exponent) {
    return BN_num_bits(modulus) >= static_cast<int>(minimumKeyBits) &&
           BN_num_bits(modulus) <= static_cast<int>(maximumKeyBits) && BN_is_odd(modulus) == 1 &&
           BN_is_odd(exponent) == 1 && BN_is_one(exponent) == 0 && BN_ucmp(exponent, modulus) < 0;
}

// A context for one operation, readied by `init`, with the padding set.
PkeyContextPtr contextFor(ErrorMark const& errors, EVP_PKEY* key, int (*init)(EVP_PKEY_CTX*), int padding) {
    PkeyContextPtr context(EVP_PKEY_CTX_new_from_pkey(nullptr, key, nullptr));
    errors.require(context != nullptr && init(context.get()) == 1 &&
                       EVP_PKEY_CTX_set_rsa_padding(context.get(), padding) == 1,
                   kFile, __LINE__, "an RSA operation can't be started");
    return context;
}

} // namespace

std::optional<RsaKey> RsaKey::of(TVKKRYKey const& key) {
    ErrorMark const errors;
    if (key.getAlgorithm() != TVKKRYKey::RSA) {
        return std::nullopt;
    }
    PkeyPtr decoded = decode(key);
    if (decoded == nullptr || EVP_PKEY_is_a(decoded.get(), "RSA") != 1) {
        return std::nullopt;
    }
    BignumPtr modulus = numberOf(decoded.get(), OSSL_PKEY_PARAM_RSA_N);
    BignumPtr const exponent = numberOf(decoded.get(), OSSL_PKEY_PARAM_RSA_E);
    if (modulus == nullptr || exponent == nullptr || !isUsable(modulus.get(), exponent.get())) {
        return std::nullopt;
    }
    return RsaKey(std::move(decoded), std::move(modulus));
}

std::optional<RsaKey> RsaKey::privateOf(TVKKRYKey const& key) {
    return key.getType() == TVKKRYKey::Private ? of(key) : std::nullopt;
}

unsigned int RsaKey::blockSize() const { return static_cast<unsigned int>(BN_num_bytes(modulus_.get())); }

unsigned int RsaKey::messageLimit() const { return blockSize() - kPaddingSize; }

TVKBuffer RsaKey::sign(Digest const& digest, TVKBuffer const& value) const {
    std::optional<TVKBuffer> const expected = encodedMessage(digest.digestInfo(value));
    if (!expected) {
        throw TVKException(kFile, __LINE__, TVKSOFT_TOO_LONG,
                           "the key is too short for a signature over this digest");
    }
    ErrorMark const errors;
    PkeyContextPtr const context = contextFor(errors, key_.get(), EVP_PKEY_sign_init, RSA_PKCS1_PADDING);
    TVKBuffer signature(blockSize(), nullptr);
    std::size_t size = blockSize();
    errors.require(EVP_PKEY_CTX_set_signature_md(context.get(), digest.implementation()) == 1 &&
                       EVP_PKEY_sign(context.get(), storageOf(signature), &size, value.getValue(),
                                     value.getLength()) == 1,
                   kFile, __LINE__, "the data can't be signed");
    if (size != blockSize() || !verifies(*expected, signature.get())) {
        throw TVKException(kFile, __LINE__, TVKSOFT_LIBRARY_FAILURE,
                           "the data can't be signed: the numbers of the key don't belong together");
    }
    return signature;
}

bool RsaKey::verifies(Digest const& digest, TVKBuffer const& value, TVKASNCBuffer const& signature) const {
    std::optional<TVKBuffer> const expected = encodedMessage(digest.digestInfo(value));
    return expected && verifies(*expected, signature);
}

// 9.2: 00 01 FF ... FF 00 DigestInfo. Nothing when the block is too short for it.
std::optional<TVKBuffer> RsaKey::encodedMessage(TVKBuffer const& digestInfo) const {
    unsigned int const infoSize = static_cast<unsigned int>(digestInfo.getLength());
    if (infoSize > messageLimit()) {
        return std::nullopt;
    }
    TVKBuffer message(blockSize() - infoSize, nullptr);
    unsigned char* const head = storageOf(message);
    head[1] = 0x01;
    std::memset(head + 2, 0xFF, message.getLength() - 3);
    message.append(infoSize, digestInfo.getValue());
    return message;
}

// By 8.2.2 the message is encoded and compared, so nothing of what the signature holds is interpreted; and
// once length and range are right, only the library itself can fail.
bool RsaKey::verifies(TVKBuffer const& encodedMessage, TVKASNCBuffer const& signature) const {
    if (signature.length != blockSize()) {
        return false;
    }
    ErrorMark const errors;
    BignumPtr const number(BN_bin2bn(signature.data, static_cast<int>(signature.length), nullptr));
    errors.require(number != nullptr, kFile, __LINE__, "a signature can't be read");
    if (BN_ucmp(number.get(), modulus_.get()) >= 0) {
        return false;
    }
    PkeyContextPtr const context =
        contextFor(errors, key_.get(), EVP_PKEY_verify_recover_init, RSA_NO_PADDING);
    TVKBuffer recovered(blockSize(), nullptr);
    std::size_t size = blockSize();
    errors.require(EVP_PKEY_verify_recover(context.get(), storageOf(recovered), &size, signature.data,
                                           signature.length) == 1,
                   kFile, __LINE__, "a signature can't be verified");
    return size == blockSize() && recovered.compare(encodedMessage) == 0;
}

TVKBuffer RsaKey::encrypt(TVKBuffer const& message) const {
    ErrorMark const errors;
    PkeyContextPtr const context = contextFor(errors, key_.get(), EVP_PKEY_encrypt_init, RSA_PKCS1_PADDING);
    TVKBuffer block(blockSize(), nullptr);
    std::size_t size = blockSize();
    errors.require(EVP_PKEY_encrypt(context.get(), storageOf(block), &size, bytesOf(message.get()),
                                    message.getLength()) == 1 &&
                       size == blockSize(),
                   kFile, __LINE__, "the data can't be encrypted");
    return block;
}

TVKBuffer RsaKey::decrypt(TVKBuffer const& block) const {
    ErrorMark const errors;
    PkeyContextPtr const context = contextFor(errors, key_.get(), EVP_PKEY_decrypt_init, RSA_PKCS1_PADDING);
    // Where libcrypto knows it, it would answer a damaged block with random bytes, which nobody who stores
    // data can tell from the message. Where it doesn't, the parameter has no effect.
    unsigned int implicitRejection = 0;
    OSSL_PARAM const params[] = {OSSL_PARAM_construct_uint("implicit-rejection", &implicitRejection),
                                 OSSL_PARAM_construct_end()};
    errors.require(EVP_PKEY_CTX_set_params(context.get(), params) == 1, kFile, __LINE__,
                   "a decryption can't be started");
    TVKBuffer clear(blockSize(), nullptr);
    std::size_t size = blockSize();
    // libcrypto removes the padding in constant time. What went wrong isn't asked: the single result decides,
    // and neither the error queue nor the length is looked at on the way to the exception.
    if (EVP_PKEY_decrypt(context.get(), storageOf(clear), &size, bytesOf(block.get()), block.getLength()) !=
        1) {
        throw TVKException(kFile, __LINE__, TVKSOFT_DECRYPTION_FAILED, "the block can't be decrypted");
    }
    return {static_cast<unsigned int>(size), clear.getValue()};
}

} // namespace tvksoft
