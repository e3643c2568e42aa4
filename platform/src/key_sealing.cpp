#include "key_sealing.h"

#include "database_files.h"
#include "digest.h"
#include "file_descriptor.h"
#include "libcrypto.h"
#include "log.h"
#include "new_file.h"

#include <openssl/rand.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>

namespace wincrypt {
namespace {

constexpr std::size_t keyFileSize = 32;
constexpr std::size_t nonceSize = 12;
constexpr std::size_t tagSize = 16;
constexpr std::size_t identifierSize = 8;
constexpr std::size_t maximumCredential = 64 * 1024;

struct SealingKey {
    SecureBytes key;
    Bytes identifier;
};

std::string keyFilePath(Database const& database) { return database.directory() + "/sealing.key"; }

// The secret may be any text that an administrator supplies, so the key is made from it by a hash of its own.
SealingKey derive(ByteView secret) {
    static constexpr char keyLabel[] = "wincrypt sealing key 1";
    static constexpr char identifierLabel[] = "wincrypt sealing key identifier 1";
    // Both labels with their terminators, which no label's text contains.
    auto const labelled = [](auto const& label, ByteView rest) {
        return digest(CALG_SHA_256, {viewOf(label, sizeof label), rest});
    };
    Bytes key = labelled(keyLabel, secret);
    SealingKey result{SecureBytes(key.begin(), key.end()), {}};
    OPENSSL_cleanse(key.data(), key.size());
    result.identifier = labelled(identifierLabel, result.key);
    result.identifier.resize(identifierSize);
    return result;
}

// A key file of ours belongs to a scope; what a service manager supplies is trusted as it comes.
std::optional<SecureBytes> readSecret(std::string const& path, std::optional<Scope> ours) {
    // Whatever stands in the file's place, opening it must not wait.
    FileDescriptor const file(
        ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | (ours ? O_NOFOLLOW : 0)));
    if (!file) {
        if (errno == ENOENT || errno == ENOTDIR)
            return std::nullopt;
        failErrno(path, "can't be read");
    }
    struct stat status {};
    if (::fstat(file.number(), &status) != 0)
        failErrno(path, "can't be read");
    if (ours)
        requireTrusted(*ours, path, status, S_IRWXG | S_IRWXO);
    // One octet more shows that a file is longer than it should be; what isn't a file has no size.
    std::size_t const room =
        status.st_size > 0 ? static_cast<std::size_t>(status.st_size) + 1 : maximumCredential;
    SecureBytes secret(std::min(room, maximumCredential));
    std::size_t size = 0;
    while (size < secret.size()) {
        ssize_t const count = ::read(file.number(), secret.data() + size, secret.size() - size);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            failErrno(path, "can't be read");
        if (count == 0)
            break;
        size += static_cast<std::size_t>(count);
    }
    if (size < keyFileSize || (ours && size != keyFileSize)) {
        logLine(path, "refused: not a sealing key, which has 32 bytes");
        failLibcrypto(NTE_KEYSET_ENTRY_BAD);
    }
    secret.resize(size);
    return secret;
}

std::optional<SealingKey> credentialKey() {
    char const* directory = ::secure_getenv("CREDENTIALS_DIRECTORY");
    if (directory == nullptr || *directory == '\0')
        return std::nullopt;
    auto const secret = readSecret(std::string(directory) + "/wincrypt-key", std::nullopt);
    return secret ? std::optional(derive(*secret)) : std::nullopt;
}

std::optional<SealingKey> fileKey(Database const& database) {
    auto const secret = readSecret(keyFilePath(database), database.scope());
    return secret ? std::optional(derive(*secret)) : std::nullopt;
}

void makeKeyFile(Database const& database) {
    std::string const path = keyFilePath(database);
    createDirectories(database.directory());
    requireTrustedDirectory(database.directory());
    SecureBytes secret(keyFileSize);
    if (RAND_priv_bytes(secret.data(), static_cast<int>(secret.size())) != 1)
        failLibcrypto(NTE_FAIL);
    createFile(path, secret);
}

bool hasKeys(Database& database) {
    auto use = database.reader();
    return use && (*use)->prepare(Query::anyKey).step();
}

// The one that a key was sealed under.
std::optional<SealingKey> keyNamed(Database const& database, Bytes const& identifier) {
    std::optional<SealingKey> key = credentialKey();
    if (!key || key->identifier != identifier)
        key = fileKey(database);
    return key && key->identifier == identifier ? std::move(key) : std::nullopt;
}

// Encrypts or opens; nothing when the tag doesn't match.
bool transform(bool encrypting, SealingKey const& key, ByteView nonce, ByteView context, ByteView input,
               std::uint8_t* output, std::uint8_t* tag) {
    CipherContextPtr const cipher(EVP_CIPHER_CTX_new());
    int length = 0;
    return cipher &&
           EVP_CipherInit_ex(cipher.get(), EVP_aes_256_gcm(), nullptr, key.key.data(), nonce.data(),
                             encrypting) == 1 &&
           (encrypting || EVP_CIPHER_CTX_ctrl(cipher.get(), EVP_CTRL_GCM_SET_TAG, tagSize, tag) == 1) &&
           EVP_CipherUpdate(cipher.get(), nullptr, &length, context.data(),
                            static_cast<int>(context.size())) == 1 &&
           EVP_CipherUpdate(cipher.get(), output, &length, input.data(), static_cast<int>(input.size())) ==
               1 &&
           EVP_CipherFinal_ex(cipher.get(), output + length, &length) == 1 &&
           (!encrypting || EVP_CIPHER_CTX_ctrl(cipher.get(), EVP_CTRL_GCM_GET_TAG, tagSize, tag) == 1);
}

} // namespace

Bytes sealingContext(std::string const& container, DWORD slot, DWORD flags) {
    static constexpr char label[] = "wincrypt key 1";
    Bytes context(label, label + sizeof label);
    for (DWORD const number : {lengthOf(container.size()), slot, flags})
        for (int shift = 24; shift >= 0; shift -= 8)
            context.push_back(static_cast<std::uint8_t>(number >> shift));
    context.insert(context.end(), container.begin(), container.end());
    return context;
}

SealedKey sealKey(Database& database, ByteView context, ByteView clear) {
    ErrorQueueGuard const errors;
    std::optional<SealingKey> key = credentialKey();
    if (!key)
        key = fileKey(database);
    if (!key) {
        bool const isLost = hasKeys(database);
        key = fileKey(database); // which another process may have made meanwhile, and sealed a key under it
        if (!key && isLost) {
            logLine(keyFilePath(database), "is missing, and private keys are sealed under it: restore it");
            fail(NTE_KEYSET_ENTRY_BAD);
        }
    }
    if (!key) {
        makeKeyFile(database);
        key = fileKey(database);
    }
    if (!key)
        fail(ERROR_FILE_NOT_FOUND);
    SealedKey result{key->identifier, Bytes(nonceSize), Bytes(clear.size() + tagSize)};
    if (RAND_bytes(result.nonce.data(), static_cast<int>(nonceSize)) != 1 ||
        !transform(true, *key, result.nonce, context, clear, result.sealed.data(),
                   result.sealed.data() + clear.size()))
        failLibcrypto(NTE_FAIL);
    return result;
}

bool hasSealingKey(Database const& database, SealedKey const& key) {
    ErrorQueueGuard const errors;
    return keyNamed(database, key.sealedUnder).has_value();
}

SecureBytes openKey(Database const& database, ByteView context, SealedKey const& sealed) {
    ErrorQueueGuard const errors;
    auto const refuse = [&](char const* why) {
        logLine(database.path(), why);
        failLibcrypto(NTE_KEYSET_ENTRY_BAD);
    };
    std::optional<SealingKey> const key = keyNamed(database, sealed.sealedUnder);
    if (!key)
        refuse("a private key is sealed under a sealing key that isn't there");
    if (sealed.nonce.size() != nonceSize || sealed.sealed.size() <= tagSize)
        refuse("a private key was altered");
    std::size_t const size = sealed.sealed.size() - tagSize;
    SecureBytes clear(size);
    Bytes tag(sealed.sealed.end() - tagSize, sealed.sealed.end());
    if (!transform(false, *key, sealed.nonce, context, ByteView(sealed.sealed).first(size), clear.data(),
                   tag.data()))
        refuse("a private key was altered or moved");
    return clear;
}

} // namespace wincrypt
