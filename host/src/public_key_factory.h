#pragma once

#include <tvkcore/kry/tvkkryalgorithmfactory.h>

#include <memory>

namespace tvkstore {

// The factory for algorithm objects that work with a public key given as material. Throws Failure where there
// is none.
std::unique_ptr<TVKKRYAlgorithmFactory> makePublicKeyFactory();

} // namespace tvkstore
