#include "commands/commands.h"

namespace tvkstore {

namespace {

constexpr Command kCommands[] = {
    {"providers", "list the providers", defineProviders},
    {"list", "list the certificates of a store", defineList},
    {"show", "show all of one certificate", defineShow},
    {"find", "find certificates by one of the store's indexes", defineFind},
    {"create", "make a key and a certificate signed by itself", defineCreate},
    {"import", "add certificates and private keys from files", defineImport},
    {"export", "write a certificate or a key to a file", defineExport},
    {"update", "give an item another label", defineUpdate},
    {"delete", "delete certificates with their private keys", defineDelete},
    {"sign", "sign data with an item's private key", defineSign},
    {"verify", "verify a signature with an item's key or a certificate's", defineVerify},
    {"encrypt", "encrypt one block with an item's key or a certificate's", defineEncrypt},
    {"decrypt", "decrypt one block with an item's private key", defineDecrypt},
    {"random", "write random bytes", defineRandom},
};

} // namespace

std::span<Command const> commands() { return kCommands; }

} // namespace tvkstore
