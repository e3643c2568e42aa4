// The format of a database and its versions.
#pragma once

#include "sqlite_connection.h"

namespace wincrypt {

enum class Format { empty, current, older };

// Error: ERROR_FILE_CORRUPT for a database of another program, ERROR_REVISION_MISMATCH for a newer version;
// the connection is of no further use then.
Format examineFormat(Connection& connection);

// Brings an empty or older database to the current version, in one transaction.
void migrate(Connection& connection);

} // namespace wincrypt
