#pragma once

#include "command.h"

namespace tvkstore {

Work defineProviders(CLI::App& command);
Work defineList(CLI::App& command);
Work defineShow(CLI::App& command);
Work defineFind(CLI::App& command);
Work defineCreate(CLI::App& command);
Work defineImport(CLI::App& command);
Work defineExport(CLI::App& command);
Work defineUpdate(CLI::App& command);
Work defineDelete(CLI::App& command);
Work defineSign(CLI::App& command);
Work defineVerify(CLI::App& command);
Work defineEncrypt(CLI::App& command);
Work defineDecrypt(CLI::App& command);
Work defineRandom(CLI::App& command);

} // namespace tvkstore
