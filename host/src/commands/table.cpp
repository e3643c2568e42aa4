#include "commands/commands.h"

namespace tvkstore {

namespace {

constexpr Command kCommands[] = {
    {"providers", "list the providers", defineProviders},
    {"list", "list the certificates of a store", defineList},
    {"show", "show all of one certificate", defineShow},
    {"random", "write random bytes", defineRandom},
};

} // namespace

std::span<Command const> commands() { return kCommands; }

} // namespace tvkstore
