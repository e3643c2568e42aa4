// What only the tests and tools of the layer itself use. Nothing here is a call of the platform.
#pragma once

#include <wincrypt.h>

#ifdef __cplusplus
extern "C" {
#endif

// Number of objects that the process holds open: provider, key, hash and store handles, and certificate
// contexts. A program that has released all that it was given reads 0.
WINCRYPT_API size_t WincryptLiveObjectCount(void);

#ifdef __cplusplus
}
#endif
