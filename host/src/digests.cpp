#include "digests.h"

#include <algorithm>
#include <array>

namespace tvkstore {

namespace {

using Factory = TVKKRYAlgorithmFactory;

constexpr std::array kDigests{
    Digest{"md5", true, &Factory::make_MD5WithRSA_SignatureAlgorithm,
           &Factory::make_MD5WithRSA_VerificationAlgorithm},
    Digest{"sha1", true, &Factory::make_SHA1WithRSA_SignatureAlgorithm,
           &Factory::make_SHA1WithRSA_VerificationAlgorithm},
    Digest{"sha224", false, &Factory::make_SHA224WithRSA_SignatureAlgorithm,
           &Factory::make_SHA224WithRSA_VerificationAlgorithm},
    Digest{"sha256", false, &Factory::make_SHA256WithRSA_SignatureAlgorithm,
           &Factory::make_SHA256WithRSA_VerificationAlgorithm},
    Digest{"sha384", false, &Factory::make_SHA384WithRSA_SignatureAlgorithm,
           &Factory::make_SHA384WithRSA_VerificationAlgorithm},
    Digest{"sha512", false, &Factory::make_SHA512WithRSA_SignatureAlgorithm,
           &Factory::make_SHA512WithRSA_VerificationAlgorithm},
};

std::string checkDigest(std::string const& name, bool ofProvider) {
    std::string known;
    for (Digest const& digest : kDigests) {
        if (ofProvider && !digest.offeredByProviders) {
            continue;
        }
        if (digest.name == name) {
            return "";
        }
        known.append(known.empty() ? "" : ", ").append(digest.name);
    }
    return "no digest \"" + name + "\": it is one of " + known;
}

} // namespace

Digest const* findDigest(std::string_view name) {
    auto const* const found = std::find_if(kDigests.begin(), kDigests.end(),
                                           [&](Digest const& known) { return known.name == name; });
    return found == kDigests.end() ? nullptr : found;
}

std::string checkAnyDigest(std::string const& name) { return checkDigest(name, false); }

std::string checkProviderDigest(std::string const& name) { return checkDigest(name, true); }

} // namespace tvkstore
