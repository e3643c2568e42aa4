#include "public_key_factory.h"

#include "failure.h"

namespace tvkstore {

std::unique_ptr<TVKKRYAlgorithmFactory> makePublicKeyFactory() {
    throw Failure(
        ExitCode::failed, "--cert: this build has no algorithms for the key of a certificate's file",
        {"--label, or --serial with --issuer, names an item with a private key, whose provider works"});
}

} // namespace tvkstore
