#include "passphrase_prompt.h"

#include "failure.h"
#include "text.h"

#include <openssl/err.h>
#include <openssl/evp.h>

#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace tvkstore {

namespace {

constexpr int kLongestPassphrase = 1024;

bool hasTerminal() {
    int const terminal = ::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal >= 0) {
        ::close(terminal);
    }
    return terminal >= 0;
}

} // namespace

SecretBytes askPassphrase(std::string const& object) {
    if (!hasTerminal()) {
        throw Failure(ExitCode::refused, object + ": needs a passphrase, and nobody can be asked",
                      {"--passphrase-source file:PATH or env:NAME gives it"});
    }
    SecretBytes passphrase(kLongestPassphrase);
    // It sets the terminal right again when a signal comes in between.
    if (EVP_read_pw_string(passphrase.data(), kLongestPassphrase - 1,
                           ("passphrase for " + printable(object) + ": ").c_str(), 0) != 0) {
        ERR_clear_error();
        throw Failure(ExitCode::refused, object + ": no passphrase was given");
    }
    passphrase.resize(std::string_view(passphrase.data()).size());
    return passphrase;
}

} // namespace tvkstore
