#include "digest.h"

#include "message.h"

#include <openssl/core_names.h>
#include <openssl/params.h>

#include <utility>

namespace tvksoft {
namespace {

constexpr char kFile[] = "./toolkit/soft/src/digest";

unsigned char octet(std::size_t count) { return static_cast<unsigned char>(count); }

} // namespace

std::optional<Digest> Digest::open(DigestName const& name) {
    ErrorMark const errors;
    DigestPtr implementation(EVP_MD_fetch(nullptr, name.name, nullptr));
    if (implementation == nullptr) {
        return std::nullopt;
    }
    return Digest(name, std::move(implementation));
}

void Digest::start() {
    ErrorMark const errors;
    DigestContextPtr context(EVP_MD_CTX_new());
    errors.require(context != nullptr &&
                       EVP_DigestInit_ex(context.get(), implementation_.get(), nullptr) == 1,
                   kFile, __LINE__, "a digest can't be started");
    context_ = std::move(context);
}

void Digest::update(TVKASNCBuffer const& data) {
    if (context_ == nullptr) {
        failNotStarted(kFile, __LINE__);
    }
    ErrorMark const errors;
    errors.require(EVP_DigestUpdate(context_.get(), bytesOf(data), data.length) == 1, kFile, __LINE__,
                   "data can't be digested");
}

TVKBuffer Digest::finish() {
    DigestContextPtr const context = std::exchange(context_, nullptr);
    if (context == nullptr) {
        failNotStarted(kFile, __LINE__);
    }
    ErrorMark const errors;
    TVKBuffer value(static_cast<unsigned int>(EVP_MD_get_size(implementation_.get())), nullptr);
    errors.require(EVP_DigestFinal_ex(context.get(), storageOf(value), nullptr) == 1, kFile, __LINE__,
                   "a digest can't be finished");
    return value;
}

TVKBuffer Digest::digestInfo(TVKBuffer const& value) const {
    // No length comes near 128, so each is one octet.
    std::size_t const idSize = name_->objectId.size();
    std::size_t const valueSize = value.getLength();
    unsigned char const head[] = {0x30,         octet(idSize + valueSize + 8), 0x30, octet(idSize + 4), 0x06,
                                  octet(idSize)};
    unsigned char const tail[] = {0x05, 0x00, 0x04, octet(valueSize)};
    TVKBuffer info(sizeof head, head);
    info.append(octet(idSize), reinterpret_cast<unsigned char const*>(name_->objectId.data()));
    info.append(sizeof tail, tail);
    info.append(octet(valueSize), value.getValue());
    return info;
}

std::optional<Hmac> Hmac::open(DigestName const& name, TVKASNCBuffer const& key) {
    ErrorMark const errors;
    MacPtr const hmac(EVP_MAC_fetch(nullptr, "HMAC", nullptr));
    MacContextPtr keyed(hmac == nullptr ? nullptr : EVP_MAC_CTX_new(hmac.get()));
    OSSL_PARAM const params[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, const_cast<char*>(name.name), 0),
        OSSL_PARAM_construct_end()};
    if (keyed == nullptr || EVP_MAC_init(keyed.get(), bytesOf(key), key.length, params) != 1) {
        return std::nullopt;
    }
    return Hmac(std::move(keyed));
}

void Hmac::start() {
    ErrorMark const errors;
    MacContextPtr context(EVP_MAC_CTX_dup(keyed_.get()));
    errors.require(context != nullptr, kFile, __LINE__, "a keyed digest can't be started");
    context_ = std::move(context);
}

void Hmac::update(TVKASNCBuffer const& data) {
    if (context_ == nullptr) {
        failNotStarted(kFile, __LINE__);
    }
    ErrorMark const errors;
    errors.require(EVP_MAC_update(context_.get(), bytesOf(data), data.length) == 1, kFile, __LINE__,
                   "data can't be digested under the key");
}

TVKBuffer Hmac::finish() {
    MacContextPtr const context = std::exchange(context_, nullptr);
    if (context == nullptr) {
        failNotStarted(kFile, __LINE__);
    }
    ErrorMark const errors;
    std::size_t size = EVP_MAC_CTX_get_mac_size(context.get());
    TVKBuffer value(static_cast<unsigned int>(size), nullptr);
    errors.require(EVP_MAC_final(context.get(), storageOf(value), &size, value.getLength()) == 1 &&
                       size == value.getLength(),
                   kFile, __LINE__, "a keyed digest can't be finished");
    return value;
}

} // namespace tvksoft
