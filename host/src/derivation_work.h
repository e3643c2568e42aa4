// How long a file may have its passphrase hashed.
#pragma once

#include <openssl/x509.h>

#include <cstdint>
#include <string>

namespace tvkstore {

// What a file asks for in all. Programs write files with a thousand to a million rounds; a file with more
// than five million would only hold the program for minutes, or for ever.
class DerivationWork {
public:
    explicit DerivationWork(std::string object) : object_(std::move(object)) {}

    // Adds what an encryption by passphrase of RFC 8018, RFC 7292 or RFC 7914 needs; a scheme that isn't one
    // of these adds nothing. Throws Failure when it is too much.
    void add(X509_ALGOR const* scheme);

    void addRounds(ASN1_INTEGER const* rounds);

private:
    void addFunction(X509_ALGOR const* function);
    void addRounds(std::uint64_t rounds);

    std::string object_;
    std::uint64_t rounds_ = 0;
};

} // namespace tvkstore
