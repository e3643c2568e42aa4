#include "core_file.h"
#include "program.h"
#include "terminal_text.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace {

// Something stands behind each standard stream that the caller closed, on which every use then fails, so that
// the database doesn't get its number and a message isn't written into it.
void secureStandardStreams() {
    for (int const stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (::fcntl(stream, F_GETFD) < 0 && errno == EBADF &&
            ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY) != stream)
            std::abort();
    std::signal(SIGPIPE, SIG_IGN);
}

} // namespace

int main(int argc, char** argv) {
    secureStandardStreams();
    wincrypt::leaveNoCoreFile(); // it could hold a sealing key
    wincryptctl::useUtf8();
    // Path and cause stand in the layer's log alone.
    if (::setenv("WINCRYPT_LOG", "stderr", 0) != 0)
        return static_cast<int>(wincryptctl::ExitCode::failed);
    return static_cast<int>(wincryptctl::runProgram(argc, argv));
}
