#include "public_key_factory.h"

#include <tvksoft/tvksoftalgorithmfactory.h>

namespace tvkstore {

std::unique_ptr<TVKKRYAlgorithmFactory> makePublicKeyFactory() {
    return std::make_unique<TVKSoftAlgorithmFactory>();
}

} // namespace tvkstore
