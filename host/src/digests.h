#pragma once

#include <tvkcore/kry/tvkkryalgorithmfactory.h>

#include <string>
#include <string_view>

namespace tvkstore {

// A digest that signatures are made over, and the factory's operations for it with an RSA key.
struct Digest {
    std::string_view name;
    bool offeredByProviders; // else only for keys given as material
    TVKKRYSignatureAlgorithm* (TVKKRYAlgorithmFactory::*makeSignature)(TVKKRYKey const&) const;
    TVKKRYVerificationAlgorithm* (TVKKRYAlgorithmFactory::*makeVerification)(TVKKRYKey const&) const;
};

constexpr char kDefaultDigest[] = "sha1";

// Null for a name that isn't known.
Digest const* findDigest(std::string_view name);

// For an option's value: what is wrong with it, or nothing.
std::string checkAnyDigest(std::string const& name);
std::string checkProviderDigest(std::string const& name);

} // namespace tvkstore
