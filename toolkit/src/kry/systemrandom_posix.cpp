#include "systemrandom.h"

#include <cerrno>
#include <sys/random.h>

namespace tvk {

bool fillWithSystemRandom(unsigned char* bytes, std::size_t count) {
    while (count != 0) {
        ssize_t const got = getrandom(bytes, count, 0);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        bytes += got;
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

} // namespace tvk
