#pragma once

#include <string>

namespace tvkstore {

// The encoding of the one certificate in a file, PEM or DER, as it stands there. Throws Failure for a file
// that can't be read or doesn't hold exactly one.
std::string readCertificateFile(std::string const& path);

// The same for a SubjectPublicKeyInfo; "PUBLIC KEY" in PEM.
std::string readPublicKeyFile(std::string const& path);

} // namespace tvkstore
