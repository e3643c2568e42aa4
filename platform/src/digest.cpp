#include "digest.h"

#include <atomic>
#include <iterator>

namespace wincrypt {
namespace {

constexpr std::uint8_t md5Prefix[] = {0x30, 0x20, 0x30, 0x0C, 0x06, 0x08, 0x2A, 0x86, 0x48,
                                      0x86, 0xF7, 0x0D, 0x02, 0x05, 0x05, 0x00, 0x04, 0x10};
constexpr std::uint8_t sha1Prefix[] = {0x30, 0x21, 0x30, 0x09, 0x06, 0x05, 0x2B, 0x0E,
                                       0x03, 0x02, 0x1A, 0x05, 0x00, 0x04, 0x14};
constexpr std::uint8_t sha256Prefix[] = {0x30, 0x31, 0x30, 0x0D, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01,
                                         0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00, 0x04, 0x20};
constexpr std::uint8_t sha384Prefix[] = {0x30, 0x41, 0x30, 0x0D, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01,
                                         0x65, 0x03, 0x04, 0x02, 0x02, 0x05, 0x00, 0x04, 0x30};
constexpr std::uint8_t sha512Prefix[] = {0x30, 0x51, 0x30, 0x0D, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01,
                                         0x65, 0x03, 0x04, 0x02, 0x03, 0x05, 0x00, 0x04, 0x40};

DigestAlgorithm const algorithms[] = {
    {CALG_MD5, "MD5", 16, md5Prefix},           {CALG_SHA1, "SHA1", 20, sha1Prefix},
    {CALG_SSL3_SHAMD5, "MD5-SHA1", 36, {}},     {CALG_SHA_256, "SHA256", 32, sha256Prefix},
    {CALG_SHA_384, "SHA384", 48, sha384Prefix}, {CALG_SHA_512, "SHA512", 64, sha512Prefix},
};

constinit std::atomic<EVP_MD*> implementations[std::size(algorithms)]{};

} // namespace

DigestAlgorithm const* findDigest(ALG_ID id) noexcept {
    for (DigestAlgorithm const& algorithm : algorithms)
        if (algorithm.id == id)
            return &algorithm;
    return nullptr;
}

EVP_MD const* implementationOf(DigestAlgorithm const& algorithm) {
    std::atomic<EVP_MD*>& known = implementations[&algorithm - algorithms];
    if (EVP_MD* found = known.load(std::memory_order_acquire); found != nullptr)
        return found;
    ErrorQueueGuard const errors;
    EVP_MD* fetched = EVP_MD_fetch(nullptr, algorithm.name, nullptr);
    if (fetched == nullptr)
        failLibcrypto(NTE_FAIL);
    EVP_MD* none = nullptr;
    if (known.compare_exchange_strong(none, fetched))
        return fetched;
    EVP_MD_free(fetched);
    return none;
}

Bytes digest(ALG_ID id, std::initializer_list<ByteView> parts) {
    DigestAlgorithm const& algorithm = *findDigest(id);
    ErrorQueueGuard const errors;
    DigestContextPtr const context(EVP_MD_CTX_new());
    bool good = context && EVP_DigestInit_ex(context.get(), implementationOf(algorithm), nullptr) == 1;
    for (ByteView const part : parts)
        good = good && EVP_DigestUpdate(context.get(), part.data(), part.size()) == 1;
    Bytes value(algorithm.size);
    if (!good || EVP_DigestFinal_ex(context.get(), value.data(), nullptr) != 1)
        failLibcrypto(NTE_FAIL);
    return value;
}

} // namespace wincrypt
