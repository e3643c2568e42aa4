#include "provider_name.h"

namespace tvkstore {

// The URI of a token (RFC 7512).
bool isMatchedByLayer(std::string_view provider) { return provider.starts_with("pkcs11:"); }

} // namespace tvkstore
