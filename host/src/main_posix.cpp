#include "libcrypto_memory.h"
#include "program.h"
#include "standard_streams.h"

#include <sys/resource.h>

int main(int argc, char** argv) {
    tvkstore::secureStandardStreams();
    // A core file would hold keys and passphrases. With a limit of nothing a program that takes core files in
    // by a pipe would get it nevertheless; one byte is refused in both ways.
    rlimit const limit{1, 1};
    ::setrlimit(RLIMIT_CORE, &limit);
    tvkstore::wipeLibcryptoMemory();
    return static_cast<int>(tvkstore::runProgram(argc, argv));
}
