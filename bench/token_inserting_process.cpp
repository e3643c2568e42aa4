// One of several processes that insert into a token at once: bench_token_inserting_process NAME DIRECTORY
// FIRST COUNT. Says with a byte that it is ready and the user logged in, and starts when its standard input
// ends. Inserts that fail aren't tried again: who starts it counts what is there.

#include "support/token.h"

#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <iostream>

int main(int argc, char** argv) try {
    if (argc != 5) {
        std::cerr << "usage: bench_token_inserting_process NAME DIRECTORY FIRST COUNT\n";
        return 2;
    }
    auto const first = static_cast<std::uint32_t>(std::strtoul(argv[3], nullptr, 10));
    auto const count = static_cast<std::uint32_t>(std::strtoul(argv[4], nullptr, 10));
    std::vector<bench::Attributes> certificates;
    bench::CertificateSeries const series;
    for (std::uint32_t number = first; number < first + count; ++number) {
        certificates.push_back(bench::certificateObject(series.certificate(number), number));
    }
    bench::Token const token(argv[1], argv[2]);
    bench::TokenSession session(token);
    session.logIn();
    char byte = 0;
    if (::write(STDOUT_FILENO, &byte, 1) != 1 || ::read(STDIN_FILENO, &byte, 1) != 0) {
        return 1;
    }
    for (bench::Attributes& certificate : certificates) {
        CK_OBJECT_HANDLE made = 0;
        session.tryToCreate(certificate, made);
    }
    return 0;
} catch (std::exception const& failure) {
    std::cerr << "bench_token_inserting_process: " << failure.what() << '\n';
    return 1;
}
