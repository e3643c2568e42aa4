#pragma once

#include "sqlite_connection.h"

#include <string>

namespace wincrypt {

// Copies the database as it stands at one moment into an empty file, while others may go on changing it: they
// wait for nothing where it has a write-ahead log. The copy's bytes aren't made durable here. Error:
// ERROR_CANCELLED when a signal that would end the process is pending.
void copyDatabase(Connection& from, std::string const& path);

} // namespace wincrypt
