#include "program.h"
#include "standard_streams.h"

int main(int argc, char** argv) {
    tvkstore::secureStandardStreams();
    return static_cast<int>(tvkstore::runProgram(argc, argv));
}
