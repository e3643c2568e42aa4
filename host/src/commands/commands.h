#pragma once

#include "command.h"

namespace tvkstore {

Work defineProviders(CLI::App& command);
Work defineList(CLI::App& command);
Work defineShow(CLI::App& command);
Work defineRandom(CLI::App& command);

} // namespace tvkstore
