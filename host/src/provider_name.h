#pragma once

#include <string_view>

namespace tvkstore {

// True for a name that no list of providers holds, which the layer under the module matches to one of them.
bool isMatchedByLayer(std::string_view provider);

} // namespace tvkstore
