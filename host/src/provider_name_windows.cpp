#include "provider_name.h"

namespace tvkstore {

bool isMatchedByLayer(std::string_view) { return false; }

} // namespace tvkstore
