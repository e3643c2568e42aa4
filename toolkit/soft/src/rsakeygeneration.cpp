#include "rsakey.h"

namespace tvksoft {
namespace {

constexpr char kFile[] = "./toolkit/soft/src/rsakeygeneration";

TVKKRYKey encode(ErrorMark const& errors, EVP_PKEY* key, int selection, char const* structure) {
    EncoderContextPtr const encoder(OSSL_ENCODER_CTX_new_for_pkey(key, selection, "DER", structure, nullptr));
    std::size_t size = 0;
    errors.require(encoder != nullptr && OSSL_ENCODER_to_data(encoder.get(), nullptr, &size) == 1, kFile,
                   __LINE__, "a new key can't be encoded");
    TVKBuffer blob(static_cast<unsigned int>(size), nullptr);
    unsigned char* next = storageOf(blob);
    // Counts down to what is left of the room.
    errors.require(OSSL_ENCODER_to_data(encoder.get(), &next, &size) == 1 && size == 0, kFile, __LINE__,
                   "a new key can't be encoded");
    TVKKRYKey encoded;
    encoded.setAlgorithm(TVKKRYKey::RSA);
    encoded.setKeyBlob(blob);
    return encoded;
}

} // namespace

TVKKRYKeyPair generateRsaKeyPair(unsigned int bits) {
    ErrorMark const errors;
    PkeyPtr const key(EVP_RSA_gen(bits));
    errors.require(key != nullptr, kFile, __LINE__, "a key pair can't be generated");
    TVKKRYKey publicKey = encode(errors, key.get(), EVP_PKEY_PUBLIC_KEY, "SubjectPublicKeyInfo");
    publicKey.setType(TVKKRYKey::Public);
    publicKey.setFormat(TVKKRYKey::SubjectPublicKeyInfo);
    TVKKRYKey privateKey = encode(errors, key.get(), EVP_PKEY_KEYPAIR, "PrivateKeyInfo");
    privateKey.setType(TVKKRYKey::Private);
    privateKey.setFormat(TVKKRYKey::PrivateKeyInfo);
    return {publicKey, privateKey};
}

} // namespace tvksoft
