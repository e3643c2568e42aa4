#include "database_files.h"

#include "file_descriptor.h"
#include "log.h"
#include "user_record.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>
#include <utility>

namespace wincrypt {
namespace {

std::string environment(char const* name) {
    char const* value = ::secure_getenv(name);
    return value != nullptr ? value : "";
}

std::string homeDirectory() {
    if (std::string home = environment("HOME"); !home.empty() && home.front() == '/')
        return home;
    auto record = userRecord(::geteuid());
    if (record && record->home.starts_with('/'))
        return std::move(record->home);
    logLine("uid " + std::to_string(::geteuid()), "no home directory: set HOME or XDG_DATA_HOME");
    fail(ERROR_PATH_NOT_FOUND);
}

[[noreturn]] void refuse(std::string const& path, char const* why) {
    logLine(path, why);
    fail(ERROR_ACCESS_DENIED);
}

} // namespace

std::string databasePath(Scope scope) {
    if (scope == Scope::machine) {
        std::string const home = environment("WINCRYPT_MACHINE_HOME");
        return (home.empty() ? "/var/lib/wincrypt" : home) + "/machine.db";
    }
    if (std::string const home = environment("WINCRYPT_USER_HOME"); !home.empty())
        return home + "/user.db";
    std::string data = environment("XDG_DATA_HOME");
    if (data.empty() || data.front() != '/')
        data = homeDirectory() + "/.local/share";
    return data + "/wincrypt/user.db";
}

DWORD errorOfErrno(int number) noexcept {
    switch (number) {
    case EACCES:
    case EPERM:
    case EROFS:
    case ELOOP:
        return ERROR_ACCESS_DENIED;
    case ENOENT:
    case ENOTDIR:
        return ERROR_PATH_NOT_FOUND;
    case ENOSPC:
    case EDQUOT:
        return ERROR_DISK_FULL;
    case ENOMEM:
        return ERROR_NOT_ENOUGH_MEMORY;
    default:
        return ERROR_IO_DEVICE;
    }
}

void failErrno(std::string const& path, char const* what) {
    int const number = errno;
    logLine(path, std::string(what) + ": " + std::strerror(number));
    fail(errorOfErrno(number));
}

FileState examineFile(Scope scope, std::string const& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        if (errno == ENOENT || errno == ENOTDIR)
            return FileState::absent;
        failErrno(path, "can't be reached");
    }
    requireTrusted(scope, path, status, S_IWGRP | S_IWOTH);
    requireTrustedDirectory(directoryOf(path));
    // To SQLite it would be a new database, and the log of the former one would be removed.
    if (status.st_size == 0) {
        logLine(path, "damaged: it is empty");
        fail(ERROR_FILE_CORRUPT);
    }
    return ::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0 ? FileState::writable
                                                                      : FileState::readOnly;
}

void refuseLogAlone(std::string const& path) {
    for (char const* suffix : {"-wal", "-journal"}) {
        struct stat status {};
        std::string const name = path + suffix;
        // Another process may have made both meanwhile.
        if (::stat(name.c_str(), &status) != 0 || status.st_size == 0 || ::access(path.c_str(), F_OK) == 0)
            continue;
        logLine(name, "holds changes of a database that is missing");
        fail(ERROR_FILE_CORRUPT);
    }
}

void requireTrusted(Scope scope, std::string const& path, struct stat const& status, unsigned forbidden) {
    if (!S_ISREG(status.st_mode))
        refuse(path, "refused: not a regular file");
    if (status.st_uid != ::geteuid() && !(scope == Scope::machine && status.st_uid == 0))
        refuse(path, "refused: it belongs to another user");
    if ((status.st_mode & forbidden) != 0)
        refuse(path, "refused: others have rights to it");
}

void requireTrustedDirectory(std::string const& directory) {
    struct stat status {};
    if (::stat(directory.c_str(), &status) != 0)
        failErrno(directory, "can't be reached");
    if (status.st_uid != ::geteuid() && status.st_uid != 0)
        refuse(directory, "refused: it belongs to another user");
    // The sticky bit doesn't help: others could still make the files that aren't there yet.
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        refuse(directory, "refused: others may write it");
}

std::string directoryOf(std::string const& path) {
    auto const slash = path.find_last_of('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

void syncDirectory(std::string const& directory) {
    FileDescriptor const file(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!file || ::fsync(file.number()) != 0)
        failErrno(directory, "can't be made durable");
}

void createDirectories(std::string const& directory) {
    struct stat status {};
    if (::stat(directory.c_str(), &status) == 0)
        return;
    if (errno != ENOENT)
        failErrno(directory, "can't be reached");
    std::string const parent = directoryOf(directory);
    if (parent != directory)
        createDirectories(parent);
    if (::mkdir(directory.c_str(), 0700) != 0) {
        if (errno == EEXIST)
            return;
        failErrno(directory, "can't be made");
    }
    if (::chmod(directory.c_str(), 0700) != 0)
        failErrno(directory, "its mode can't be set");
    syncDirectory(parent);
}

void unprotectLogs(std::string const& path) {
    for (char const* suffix : {"-wal", "-shm"}) {
        std::string const name = path + suffix;
        struct stat status {};
        if (::lstat(name.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid() &&
            (status.st_mode & S_IWUSR) == 0 && ::chmod(name.c_str(), 0600) != 0)
            failErrno(name, "its mode can't be set");
    }
}

bool isOnNetwork(std::string const& path) {
    struct statfs system {};
    if (::statfs(path.c_str(), &system) != 0)
        return false;
    switch (static_cast<unsigned long>(system.f_type) & 0xFFFFFFFF) {
    case 0x6969:     // NFS
    case 0x517B:     // SMB
    case 0xFF534D42: // CIFS
    case 0xFE534D42: // SMB2
    case 0x5346414F: // AFS
    case 0x00C36400: // Ceph
    case 0x01021997: // 9P
    case 0x0BD00BD0: // Lustre
    case 0x47504653: // GPFS
    case 0x7461636F: // OCFS2
    case 0x01161970: // GFS2
    case 0x65735546: // FUSE, behind which anything may stand
        return true;
    default:
        return false;
    }
}

} // namespace wincrypt
