#pragma once

namespace tvkstore {

// What may help when the layer under the module failed; null where nothing can be said of it.
extern char const* const kHintHome;     // there is no place for its files
extern char const* const kHintFile;     // a file was refused
extern char const* const kHintRestore;  // a file is damaged
extern char const* const kHintPin;      // a PIN is wrong, or couldn't be asked for
extern char const* const kHintToken;    // a token doesn't work
extern char const* const kHintTokenUri; // none has that name

} // namespace tvkstore
