// RSA with PKCS#1 v1.5 (RFC 8017) under a key given as material. Blocks stand most significant byte first.
#pragma once

#include "digest.h"
#include "libcrypto.h"

#include <tvkcore/kry/tvkkrykey.h>

#include <optional>

namespace tvksoft {

inline constexpr unsigned int minimumKeyBits = 512;
inline constexpr unsigned int maximumKeyBits = 16384;

class RsaKey {
public:
    // Nothing for another format or algorithm, a type that doesn't go with the format, or a blob that isn't a
    // usable key.
    static std::optional<RsaKey> of(TVKKRYKey const& key);

    // As above, of private keys alone.
    static std::optional<RsaKey> privateOf(TVKKRYKey const& key);

    unsigned int blockSize() const;
    unsigned int messageLimit() const; // bytes that fit a block beside the padding (7.2.1)

    TVKBuffer sign(Digest const& digest, TVKBuffer const& value) const;
    bool verifies(Digest const& digest, TVKBuffer const& value, TVKASNCBuffer const& signature) const;
    TVKBuffer encrypt(TVKBuffer const& message) const;
    TVKBuffer decrypt(TVKBuffer const& block) const;

private:
    RsaKey(PkeyPtr key, BignumPtr modulus) : key_(std::move(key)), modulus_(std::move(modulus)) {}

    std::optional<TVKBuffer> encodedMessage(TVKBuffer const& digestInfo) const;
    bool verifies(TVKBuffer const& encodedMessage, TVKASNCBuffer const& signature) const;

    PkeyPtr key_;
    BignumPtr modulus_;
};

// A new pair as material: SubjectPublicKeyInfo and PrivateKeyInfo.
TVKKRYKeyPair generateRsaKeyPair(unsigned int bits);

} // namespace tvksoft
