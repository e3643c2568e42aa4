#pragma once

#include "bytes.h"

#include <string>

namespace wincrypt {

// Makes a file of mode 0600, durably, that bears its name only when it is complete. A file of that name is
// left alone, which is no error. Where the file system has files without a name, a process that dies
// meanwhile leaves nothing; elsewhere it leaves one whose name ends with a dot and six characters.
void createFile(std::string const& path, ByteView content);

} // namespace wincrypt
