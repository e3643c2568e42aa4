#pragma once

#include <string>

namespace wincrypt {

// Makes the database with its directory. It is complete and durable before it bears its name, and a file that
// came to bear that name meanwhile is never replaced.
void createDatabase(std::string const& path);

} // namespace wincrypt
