#include "systemrandom.h"

#include <algorithm>
#include <limits>

#include <windows.h>

#include <bcrypt.h>

namespace tvk {

bool fillWithSystemRandom(unsigned char* bytes, std::size_t count) {
    while (count != 0) {
        std::size_t const most = std::numeric_limits<ULONG>::max();
        auto const now = static_cast<ULONG>(std::min(count, most));
        if (BCryptGenRandom(nullptr, bytes, now, BCRYPT_USE_SYSTEM_PREFERRED_RNG) < 0) {
            return false;
        }
        bytes += now;
        count -= now;
    }
    return true;
}

} // namespace tvk
