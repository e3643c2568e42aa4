#pragma once

#include <cstddef>

namespace wincrypt {

// Counts the handles and certificate contexts that the process holds open.
void addLiveObject() noexcept;
void removeLiveObject() noexcept;

} // namespace wincrypt
