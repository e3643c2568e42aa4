// Memory for secrets: no core file holds it, it isn't swapped out where the limit on locked memory allows
// that, and it is wiped when it is given back.
#pragma once

#include <cstddef>

namespace wincrypt {

// Error: std::bad_alloc. The memory isn't initialised.
void* allocateSecret(std::size_t size);
void releaseSecret(void* memory, std::size_t size) noexcept; // with the size that was asked for

} // namespace wincrypt
