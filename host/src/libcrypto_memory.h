#pragma once

namespace tvkstore {

// From here on what libcrypto frees is wiped: its decoders leave keys in what they give back. For the start
// of the program, before libcrypto has any memory.
void wipeLibcryptoMemory();

} // namespace tvkstore
