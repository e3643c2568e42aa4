#pragma once

#include <sys/resource.h>

namespace wincrypt {

// For programs that hold secrets; a library doesn't change its host. With a limit of nothing a program that
// takes core files in by a pipe would get it nevertheless; one byte is refused in both ways. Where no core
// file may be written anyway the limit can't be raised to that, and stays.
inline void leaveNoCoreFile() noexcept {
    rlimit const limit{1, 1};
    ::setrlimit(RLIMIT_CORE, &limit);
}

} // namespace wincrypt
