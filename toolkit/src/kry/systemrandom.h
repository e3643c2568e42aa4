#pragma once

#include <cstddef>

namespace tvk {

// Fills `bytes` from the operating system's generator. False when it has nothing to give.
bool fillWithSystemRandom(unsigned char* bytes, std::size_t count);

} // namespace tvk
