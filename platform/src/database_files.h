// Where the databases lie and which files are trusted.
#pragma once

#include "database.h"

#include <string>

struct stat;

namespace wincrypt {

// Path of the scope's database. WINCRYPT_USER_HOME and WINCRYPT_MACHINE_HOME name the directory, set-uid
// programs ignore them; else $XDG_DATA_HOME/wincrypt (~/.local/share/wincrypt) and /var/lib/wincrypt. Error:
// ERROR_PATH_NOT_FOUND without a home directory.
std::string databasePath(Scope scope);

enum class FileState { absent, readOnly, writable };

// Refuses what isn't a regular file of this user (or of root, for the machine's) or what others may write,
// with ERROR_ACCESS_DENIED and a log line; also what lies in a directory that isn't trusted. An empty file is
// ERROR_FILE_CORRUPT.
FileState examineFile(Scope scope, std::string const& path);

// For a database that isn't there: fails with ERROR_FILE_CORRUPT when a log of one is. A log isn't bound to
// its database, so what it says of the former one's pages would go into a new one.
void refuseLogAlone(std::string const& path);

// The rule for files, for one that is open. `forbidden` are the mode bits that it must not have.
void requireTrusted(Scope scope, std::string const& path, struct stat const& status, unsigned forbidden);

// Whoever may write the directory may put another file in the place of each: it has to belong to this user or
// to root, and nobody else may write it. Error: ERROR_ACCESS_DENIED.
void requireTrustedDirectory(std::string const& directory);

std::string directoryOf(std::string const& path);
void createDirectories(std::string const& directory); // 0700 whatever the umask, and durable
void syncDirectory(std::string const& directory);     // makes the names in it durable

// True where the file system can't share memory between machines, which a write-ahead log needs.
bool isOnNetwork(std::string const& path);

// A log that SQLite made while the database was write-protected has inherited that, and would keep every
// later change out: gives back the owner's right.
void unprotectLogs(std::string const& path);

// Published value of an errno that a file call left.
DWORD errorOfErrno(int number) noexcept;
[[noreturn]] void failErrno(std::string const& path, char const* what);

} // namespace wincrypt
