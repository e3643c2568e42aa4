#include "standard_streams.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <initializer_list>
#include <unistd.h>

namespace tvkstore {

void secureStandardStreams() {
    for (int const stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) >= 0 || errno != EBADF) {
            continue;
        }
        // The lowest free number is the stream's, and the wrong direction makes every use fail.
        if (::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY) != stream) {
            std::abort();
        }
    }
    std::signal(SIGPIPE, SIG_IGN);
}

} // namespace tvkstore
