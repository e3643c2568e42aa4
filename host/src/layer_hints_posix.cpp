#include "layer_hints.h"

namespace tvkstore {

char const* const kHintHome = "set HOME, XDG_DATA_HOME or WINCRYPT_USER_HOME";
char const* const kHintFile =
    "if a line of the layer above names a file: it must be yours, and nobody else may have rights to it";
char const* const kHintRestore =
    "nothing was overwritten: restore what the layer's line above names from a backup";
char const* const kHintPin = "docs/tokens.md tells where the PIN is taken from";
char const* const kHintTokenUri = "the URI must fit one token: providers lists their labels";
char const* const kHintToken = "docs/tokens.md tells what may be wrong with a token";

} // namespace tvkstore
