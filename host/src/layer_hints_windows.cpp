#include "layer_hints.h"

namespace tvkstore {

// The platform keeps its files where it will, and asks for PINs by itself.
char const* const kHintHome = nullptr;
char const* const kHintFile = nullptr;
char const* const kHintRestore = nullptr;
char const* const kHintPin = nullptr;
char const* const kHintToken = nullptr;
char const* const kHintTokenUri = nullptr;

} // namespace tvkstore
