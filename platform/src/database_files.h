// Where the databases lie and which files are trusted.
#pragma once

#include "database.h"

#include <string>

namespace wincrypt {

// Path of the scope's database. WINCRYPT_USER_HOME and WINCRYPT_MACHINE_HOME name the directory, set-uid
// programs ignore them; else $XDG_DATA_HOME/wincrypt (~/.local/share/wincrypt) and /var/lib/wincrypt. Error:
// ERROR_PATH_NOT_FOUND without a home directory.
std::string databasePath(Scope scope);

enum class FileState { absent, readOnly, writable };

// Refuses what isn't a regular file of this user (or of root, for the machine's) or what others may write,
// with ERROR_ACCESS_DENIED and a log line. The same rules hold for a key file, which others may not even
// read.
FileState examineFile(Scope scope, const std::string& path);

// Makes the directory (0700) and an empty file (0600) whatever the umask, and makes both durable. A file that
// stands there meanwhile is left alone.
void createFile(const std::string& path);
void createDirectories(const std::string& directory);
void syncDirectory(const std::string& directory);

// True where the file system can't share memory between machines, which a write-ahead log needs.
bool isOnNetwork(const std::string& path);

// Published value of an errno that a file call left.
DWORD errorOfErrno(int number) noexcept;
[[noreturn]] void failErrno(const std::string& path, const char* what);

} // namespace wincrypt
