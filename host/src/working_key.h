#pragma once

#include "failure.h"
#include "item_name.h"
#include "session.h"

#include <tvkcore/kry/tvkkryalgorithmfactory.h>

#include <memory>
#include <string>

namespace tvkstore {

// A key to work with, the factory that makes algorithm objects for it, and the certificate that it belongs
// to.
struct WorkingKey {
    std::unique_ptr<TVKKRYAlgorithmFactory> factory;
    TVKKRYKey key;
    std::string certificate; // DER

    // Length of the modulus in bytes. Throws Failure when it can't be told.
    std::size_t blockLength() const;
};

// A reference to the private key of the one item of the session's store that is named. It is looked for by a
// walk: the store's index of labels would give an exportable key in clear. Throws Failure: no when there is
// none, usage when there are several.
WorkingKey findPrivateKey(Session& session, ItemName const& name);

// What verifies and encrypts: the public key, as material, of the certificate that names the item, be it in
// the store or not; else what findPrivateKey gives. Throws Failure.
WorkingKey findPublicKey(Session& session, ItemName const& name);

// Takes over what a factory made. Throws Failure with `what` when it made nothing, as the key isn't of a kind
// that it works with.
template <typename Algorithm>
std::unique_ptr<Algorithm> own(Algorithm* made, std::string const& what) {
    if (made == nullptr) {
        throw Failure(ExitCode::failed, what + ": no algorithm takes this key",
                      {"the key has to be an RSA key"});
    }
    return std::unique_ptr<Algorithm>(made);
}

} // namespace tvkstore
