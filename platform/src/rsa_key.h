// RSA on libcrypto (RFC 8017). Integers and blocks stand most significant byte first here.
#pragma once

#include "bytes.h"
#include "libcrypto.h"

namespace wincrypt {

// A public key, ready for use; the first use's preparations stay with it.
class RsaPublicKey {
public:
    RsaPublicKey(EVP_PKEY* key, Bytes encoding); // shares the key, which outlives this

    std::size_t blockSize() const noexcept { return blockSize_; }
    DWORD bits() const noexcept { return bits_; }
    ByteView encoding() const noexcept { return encoding_; } // RSAPublicKey, A.1.1

    // 8.2.2, over a whole DigestInfo or a bare value.
    bool verifies(ByteView signedValue, ByteView signature) const;

    // 7.2.1. Error: NTE_BAD_LEN for more than fits the block.
    void requireRoom(std::size_t size) const;
    Bytes encrypt(ByteView data) const;

private:
    EVP_PKEY* key_;
    Bytes encoding_;
    std::size_t blockSize_;
    DWORD bits_;
};

// A public key whose private half lies elsewhere.
struct LonePublicKey {
    PkeyPtr key;
    RsaPublicKey publicKey;

    // Error: NTE_BAD_PUBLIC_KEY for integers that are no key.
    static LonePublicKey from(ByteView modulus, ByteView exponent);
};

class RsaPrivateKey {
public:
    // From an RSAPrivateKey (A.1.2) whose values are checked against each other; primality isn't.
    // Error: NTE_BAD_DATA.
    static RsaPrivateKey fromEncoding(ByteView encoding);
    struct Encoded;
    static Encoded generate(unsigned bits);

    RsaPrivateKey(PkeyPtr key, Bytes publicEncoding);

    RsaPublicKey const& publicKey() const noexcept { return public_; }

    // Written anew each time, with no octet more than each integer needs: what isn't kept isn't found.
    SecureBytes encoding() const;

    Bytes sign(ByteView signedValue) const;    // 8.2.1; error NTE_BAD_LEN for more than fits
    SecureBytes decrypt(ByteView block) const; // 7.2.2; error NTE_BAD_DATA, whatever is wrong

private:
    PkeyPtr key_;
    RsaPublicKey public_;
};

struct RsaPrivateKey::Encoded {
    RsaPrivateKey key;
    SecureBytes encoding; // as encoding() writes it
};

inline constexpr unsigned minimumKeyBits = 512;
inline constexpr unsigned maximumKeyBits = 16384;

} // namespace wincrypt
