#include "commands/commands.h"

namespace tvkstore {

namespace {

constexpr Command kCommands[] = {
    {"providers", "list the providers", defineProviders},
    {"list", "list the certificates of a store", defineList},
    {"show", "show all of one certificate", defineShow},
    {"find", "find certificates by one of the store's indexes", defineFind},
    {"sign", "sign data with an item's private key", defineSign},
    {"verify", "verify a signature with an item's key or a certificate's", defineVerify},
    {"encrypt", "encrypt one block with an item's key or a certificate's", defineEncrypt},
    {"decrypt", "decrypt one block with an item's private key", defineDecrypt},
    {"random", "write random bytes", defineRandom},
};

} // namespace

std::span<Command const> commands() { return kCommands; }

} // namespace tvkstore
